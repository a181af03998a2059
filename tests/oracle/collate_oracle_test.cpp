// Collation of the shipped locales against glibc: the same source and
// charmap compiled by glibc's localedef, loaded with newlocale, and
// strcoll_l asked about the same strings as vl_full_mbscoll. Beside it, two
// properties of the library alone: sort keys order as the comparison does,
// and a single-byte path gives the general engine's sign.
//
// The corpus of a locale: every character of the codeset alone (a sample
// of a few thousand in a multibyte codeset), every pair of a small alphabet
// of the locale's letters, words in case, accent and punctuation variants,
// and strings around the locale's collating elements and expansions. The
// comparisons checked are the neighbours in glibc's sorted order and in the
// library's, plus random pairs. Where glibc and the library disagree, the
// pair is counted by the level at which each side's key first differs; the
// counts print as "[collate] <locale> ..." and docs/locale-deviations.md
// explains them. Each locale must agree at least as far as kFloor says.
//
// Lighter where it runs slowly (32-bit under qemu, sanitizers): fewer
// random pairs and a smaller sample; VLS_COLLATE_ORACLE_PAIRS sets the
// number of random pairs.

#include "glibc_pair.h"

#include <sys/mman.h>

namespace {

#ifndef __has_feature
#define __has_feature(x) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) || \
    __has_feature(thread_sanitizer)
constexpr bool kSlow = true;
#else
constexpr bool kSlow = sizeof(void *) == 4;
#endif

using namespace glibc_pair;

// The least share of checked pairs, in parts per million, on which the
// library must agree with glibc; a little below what the 64-bit run
// measures (docs/locale-deviations.md has the counts). Unlisted: all.
struct Floor { const char *file; long ppm; };
constexpr Floor kFloor[] = {
    {"en_us/e01c.lco", 999000}, {"es_es/0333.lco", 999500}, {"pl_pl/0390.lco", 999500},
    {"cs_cz/0390.lco", 999000}, {"hu_hu/0390.lco", 998000}, {"tr_tr/0398.lco", 999000},
    {"th_th/e01d.lco", 999000}, {"ja_jp/e006.lco", 998000}, {"ko_kr/e00c.lco", 975000},
    {"zh_cn/e00d.lco", 999000}, {"zh_tw/e008.lco", 995000}, {"de_de/e01c.lco", 999000},
    {"fr_fr/e01c.lco", 999000}, {"ru_ru/e01c.lco", 998500},  {"zh_cn/e01c.lco", 999000},
    {"ja_jp/e01c.lco", 480000},  // undefined characters: most of the UTF-8 sample
};

// The smaller corpus of a slow build is mostly the hard cases (accents,
// contractions), so its share moves more: two points below.
long floor_of(const char *file) {
  long ppm = 1000000;
  for (const Floor &f : kFloor)
    if (!strcmp(f.file, file)) ppm = f.ppm;
  return kSlow ? ppm - 20000 : ppm;
}

int sign(long v) { return v < 0 ? -1 : v > 0; }

long env_long(const char *name, long fallback) {
  const char *v = getenv(name);
  return v && *v ? atol(v) : fallback;
}

// The level (count of pass separators before the first difference) at
// which two keys part, or -1 when they are equal.
// glibc's fourth level holds bytes 1 of its own (position counts), so
// its levels are cut at the fourth.
int level_of(const std::string &a, const std::string &b, int most) {
  size_t i = 0;
  int level = 0;
  while (i < a.size() && i < b.size() && a[i] == b[i]) level += a[i++] == '\1';
  return i == a.size() && i == b.size() ? -1 : std::min(level, most);
}

class CollateOracle : public Pair {
 protected:
  std::mt19937 rng;
  void SetUp() override {
    Pair::SetUp();
    rng.seed(static_cast<unsigned>(std::hash<std::string>{}(GetParam().file) & 0x7fffffff));
  }

  size_t pick(size_t n) { return static_cast<size_t>(rng() % n); }

  bool alpha(const std::string &s) { return iswalpha_l(static_cast<wint_t>(g_wide(g, s)), g); }
  // glibc's key and the library's.
  std::string g_key(const std::string &s) {
    size_t n = strxfrm_l(nullptr, s.c_str(), 0, g);
    std::string k(n + 1, '\0');
    strxfrm_l(k.data(), s.c_str(), n + 1, g);
    k.resize(n);
    return k;
  }
  std::string v_key(const std::string &s) {
    int n = vl_full_mbsxfrm(h, nullptr, s.c_str(), 0);
    if (n < 0) return std::string();
    std::string k(static_cast<size_t>(n) + 1, '\0');
    vl_full_mbsxfrm(h, k.data(), s.c_str(), n + 1);
    k.resize(static_cast<size_t>(n));
    return k;
  }
  // The characters of collating element i, and its first one.
  std::string elem(int32_t i, bool first = false) {
    std::string e;
    for (uint32_t k = 0; k < (first ? 1 : h->collate.coll_elems[i].count); ++k) e += v_mb(h, h->collate.coll_elems[i].chars[k]);
    return e;
  }
  // The characters of the codeset that both sides accept, without NUL.
  std::vector<std::string> chars() {
    std::vector<std::string> all, out;
    std::string prefix;
    walk(h->ctype.ctype_tree->root, prefix, all);
    for (const auto &s : all)
      if (s.find('\0') == std::string::npos && g_wide(g, s) != 0) out.push_back(s);
    return out;
  }
  // The collation row of a character, or -1.
  int row_of(const std::string &s) {
    if (!h->coll_rows) return -1;
    int32_t bytes = 0, err = 0;
    void *d = _vl_retrieve_text_multi(reinterpret_cast<const unsigned char *>(s.c_str()), h->coll_rows, &bytes, &err);
    if (!d || bytes != static_cast<int32_t>(s.size())) return -1;
    uint16_t row;
    memcpy(&row, d, 2);
    return row;
  }
  bool expands(const std::string &s) {
    int r = row_of(s);
    if (r < 0 || r > h->collate.max_row) return false;
    for (int p = 0; p < h->collate.num_passes; ++p)
      if (h->collate.pass_weights[p][r] & 0x4000) return true;
    return false;
  }

  std::vector<std::string> corpus();
};

std::vector<std::string> CollateOracle::corpus() {
  const std::vector<std::string> cs = chars();
  std::vector<std::string> out;
  // Every character alone, or a sample with every one-byte character.
  const size_t sample = kSlow ? 800 : 3000;
  if (cs.size() <= sample) {
    out = cs;
  } else {
    for (const auto &s : cs)
      if (s.size() == 1) out.push_back(s);
    std::vector<std::string> rest(cs.begin(), cs.end());
    std::shuffle(rest.begin(), rest.end(), rng);
    for (size_t i = 0; out.size() < sample && i < rest.size(); ++i)
      if (rest[i].size() > 1) out.push_back(rest[i]);
  }
  // The letters, grouped by glibc's first level: a group of several holds
  // a letter's case and accent variants.
  std::map<std::string, std::vector<std::string>> groups;
  std::vector<std::string> letters;
  for (const auto &s : out)
    if (alpha(s)) {
      letters.push_back(s);
      std::string k = g_key(s);
      groups[k.substr(0, k.find('\1'))].push_back(s);
    }
  std::vector<std::vector<std::string>> variants;  // groups of two or more
  for (auto &[k, v] : groups)
    if (v.size() > 1) variants.push_back(v);
  std::shuffle(variants.begin(), variants.end(), rng);
  // The alphabet: members of variant groups first, then other letters,
  // and a space, hyphen, apostrophe and digit.
  std::vector<std::string> alpha;
  for (size_t i = 0; i < variants.size() && alpha.size() < 14; ++i)
    for (size_t k = 0; k < variants[i].size() && k < 3; ++k) alpha.push_back(variants[i][k]);
  std::vector<std::string> shuffled = letters;
  std::shuffle(shuffled.begin(), shuffled.end(), rng);
  for (size_t i = 0; i < shuffled.size() && alpha.size() < 20; ++i)
    if (std::find(alpha.begin(), alpha.end(), shuffled[i]) == alpha.end()) alpha.push_back(shuffled[i]);
  for (const char *p : {" ", "-", "'", "1"}) alpha.push_back(p);
  for (const auto &a : alpha)
    for (const auto &b : alpha) out.push_back(a + b);
  // Words and their variants: case (glibc's towupper), an accent variant
  // of one letter, punctuation inside, a digit behind.
  std::vector<std::string> base;
  for (const auto &v : variants) base.push_back(v[0]);
  if (base.size() < 8) base.insert(base.end(), letters.begin(), letters.begin() + std::min<size_t>(letters.size(), 16));
  if (base.empty()) base.push_back("a");
  for (int w = 0; w < (kSlow ? 40 : 100); ++w) {
    std::vector<std::string> word;
    for (size_t n = 3 + pick(5); n; --n) word.push_back(base[pick(base.size())]);
    auto join = [](const std::vector<std::string> &v) {
      std::string s;
      for (const auto &x : v) s += x;
      return s;
    };
    out.push_back(join(word));
    std::vector<std::string> up = word;
    for (auto &x : up) {
      std::string u = g_mb(g, static_cast<wchar_t>(towupper_l(static_cast<wint_t>(g_wide(g, x)), g)));
      if (!u.empty() && g_wide(g, u) != 0) x = u;
    }
    out.push_back(join(up));
    std::vector<std::string> cap = word;
    cap[0] = up[0];
    out.push_back(join(cap));
    for (int k = 0; k < 2; ++k) {
      std::vector<std::string> acc = word;
      size_t at = pick(acc.size());
      for (const auto &v : variants)
        if (std::find(v.begin(), v.end(), acc[at]) != v.end()) acc[at] = v[pick(v.size())];
      out.push_back(join(acc));
    }
    for (const char *p : {"-", " ", "'", "."}) {
      std::vector<std::string> punct = word;
      punct.insert(punct.begin() + static_cast<long>(1 + pick(punct.size() - 1)), p);
      out.push_back(join(punct));
    }
    out.push_back(join(word) + "1");
  }
  // Collating elements and expansions, alone and among letters, and an
  // element's characters apart.
  std::vector<std::string> special;
  for (int32_t i = 0; i < h->collate.num_coll_elems; ++i) {
    special.push_back(elem(i));
    if (h->collate.coll_elems[i].count > 1) special.push_back(elem(i, true) + "-" + elem(i).substr(elem(i, true).size()));
  }
  for (const auto &s : cs)
    if (expands(s)) special.push_back(s);
  std::shuffle(special.begin(), special.end(), rng);
  if (special.size() > 200) special.resize(200);
  for (const auto &s : special) {
    out.push_back(s);
    const std::string &a = alpha[pick(alpha.size())], &b = alpha[pick(alpha.size())];
    out.push_back(a + s);
    out.push_back(s + b);
    out.push_back(a + s + b);
    out.push_back(s + s);
  }
  out.push_back("");
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

TEST_P(CollateOracle, AgainstStrcollAndKeys) {
  const std::vector<std::string> corpus = this->corpus();
  const size_t n = corpus.size();
  ASSERT_GT(n, 100u);
  std::vector<std::string> vkey(n), gkey(n);
  for (size_t i = 0; i < n; ++i) vkey[i] = v_key(corpus[i]), gkey[i] = g_key(corpus[i]);
  // The pairs: neighbours in both sorted orders, and random ones.
  std::vector<size_t> by_glibc(n), by_vls(n);
  for (size_t i = 0; i < n; ++i) by_glibc[i] = by_vls[i] = i;
  std::stable_sort(by_glibc.begin(), by_glibc.end(),
                   [&](size_t a, size_t b) { return strcoll_l(corpus[a].c_str(), corpus[b].c_str(), g) < 0; });
  std::stable_sort(by_vls.begin(), by_vls.end(),
                   [&](size_t a, size_t b) { return vl_full_mbscoll(h, corpus[a].c_str(), corpus[b].c_str()) < 0; });
  std::set<std::pair<size_t, size_t>> pairs;
  auto add = [&](size_t a, size_t b) {
    if (a != b) pairs.insert({std::min(a, b), std::max(a, b)});
  };
  for (size_t i = 1; i < n; ++i) add(by_glibc[i - 1], by_glibc[i]), add(by_vls[i - 1], by_vls[i]);
  const long random_pairs = env_long("VLS_COLLATE_ORACLE_PAIRS", kSlow ? 5000 : 100000);
  for (long k = 0; k < random_pairs; ++k) add(pick(n), pick(n));

  long agree = 0, key_bad = 0, key_code1 = 0;
  std::map<std::string, long> kinds;
  std::map<std::string, std::string> example;
  for (const auto &[a, b] : pairs) {
    const char *s1 = corpus[a].c_str(), *s2 = corpus[b].c_str();
    const int mine = sign(vl_full_mbscoll(h, s1, s2));
    const int theirs = sign(strcoll_l(s1, s2, g));
    if (mine == theirs) {
      ++agree;
    } else {
      const std::string kind = "glibc level " + std::to_string(level_of(gkey[a], gkey[b], 3)) + ", library level " +
                               std::to_string(level_of(vkey[a], vkey[b], 99));
      if (getenv("VLS_COLLATE_ORACLE_KEYS"))
        printf("  %s vs %s: library %d, glibc %d; keys %s / %s, glibc %s / %s\n", hex(corpus[a]).c_str(),
               hex(corpus[b]).c_str(), mine, theirs, hex(vkey[a]).c_str(), hex(vkey[b]).c_str(),
               hex(gkey[a]).c_str(), hex(gkey[b]).c_str());
      if (!kinds[kind]++)
        example[kind] = hex(corpus[a]) + " vs " + hex(corpus[b]) + ": library " + std::to_string(mine) + ", glibc " +
                        std::to_string(theirs);
    }
    // The keys order as the comparison does; not the empty string's key,
    // which has no separators, nor a string with the character of code 1:
    // its tie on the code wraps in the key's digits (value - 2) and sorts
    // last there, first in the comparison. Those are counted apart.
    if (corpus[a].empty() || corpus[b].empty()) continue;
    const bool code1 = corpus[a].find('\1') != std::string::npos || corpus[b].find('\1') != std::string::npos;
    if (sign(strcmp(vkey[a].c_str(), vkey[b].c_str())) == mine) continue;
    if (code1) {
      ++key_code1;
      continue;
    }
    if (key_bad++ < 20)
      ADD_FAILURE() << "key and comparison differ: " << hex(corpus[a]) << " vs " << hex(corpus[b]) << ": compare "
                    << mine << ", keys " << hex(vkey[a]) << " / " << hex(vkey[b]);
  }
  const long total = static_cast<long>(pairs.size());
  const long ppm = total ? static_cast<long>(static_cast<double>(agree) * 1e6 / static_cast<double>(total)) : 1000000;
  printf("[collate] %s: %zu strings, %ld pairs, %ld agree with strcoll_l (%.4f%%), %ld key/compare differences (%ld more with code 1)\n",
         GetParam().file, n, total, agree, 100.0 * static_cast<double>(agree) / static_cast<double>(total), key_bad,
         key_code1);
  for (const auto &[kind, count] : kinds)
    printf("[collate] %s: %ld differ at %s (e.g. %s)\n", GetParam().file, count, kind.c_str(), example[kind].c_str());
  EXPECT_EQ(key_bad, 0);
  EXPECT_GE(ppm, floor_of(GetParam().file)) << agree << " of " << total;
}

// A single-byte path gives the sign of the general engine, terminated and
// with lengths (prefixes of the strings, not ended by NUL); its sort key
// (written from the bytes) is the engine's key of the widened string, at
// full room and cut short, and orders as the path compares.
TEST_P(CollateOracle, SingleBytePathIsTheEngine) {
  using Fn = int (*)(vl_locale_t *, const char *, const char *);
  const Fn paths[] = {_vl_is_mbscoll_exp, _vl_is_mbscoll_elem, _vl_is_mbscoll_back, _vl_is_mbscoll_exp_elem};
  if (std::find(std::begin(paths), std::end(paths), h->mbscoll_fn) == std::end(paths))
    GTEST_SKIP() << "not a single-byte path";
  // Letters, elements and expanding characters often; any byte but NUL.
  std::vector<std::string> pool;
  for (int b = 1; b < 256; ++b) {
    std::string s(1, static_cast<char>(b));
    if (alpha(s) || expands(s)) pool.push_back(s);
  }
  for (int32_t i = 0; i < h->collate.num_coll_elems; ++i) pool.push_back(elem(i));
  // Some strings repeat one piece: runs of a letter, an element or an
  // expanding character.
  auto gen = [&] {
    std::string s;
    const bool runs = (rng() & 7) == 0;
    for (size_t len = pick(runs ? 40 : 9); len; --len)
      s += (rng() & 3) ? pool[pick(pool.size())] : std::string(1, static_cast<char>(1 + pick(255)));
    if (runs && !s.empty()) s = std::string(pick(5) + 1, s[0]) + s + s.substr(s.size() - 1) + s.substr(s.size() - 1);
    return s;
  };
  auto engine_key = [&](const std::string &s, char *out, int32_t size) {
    std::vector<vl_wchar> w(s.size() + 1);
    EXPECT_EQ(h->mbstowcs_fn(h, w.data(), s.c_str(), static_cast<int32_t>(w.size())), static_cast<int>(s.size()));
    return vl_wcsxfrm(h, out, w.data(), size);
  };
  const long rounds = kSlow ? 4000 : 40000;
  long bad = 0, bad_counted = 0, bad_key = 0;
  for (long k = 0; k < rounds; ++k) {
    std::string a = gen(), b = (k & 1) ? gen() : a.substr(0, pick(a.size() + 1)) + gen();
    for (const std::string *s : {&a, &b}) {
      if (s->empty()) continue;  // an empty wide string has a key of its terminator
      char fast_key[1024], slow_key[1024];
      const int32_t room = (rng() & 3) ? 1024 : static_cast<int32_t>(pick(64));
      memset(fast_key, 0x55, sizeof fast_key);
      memset(slow_key, 0x55, sizeof slow_key);
      const int nf = vl_full_mbsxfrm(h, fast_key, s->c_str(), room), ns = engine_key(*s, slow_key, room);
      if ((nf != ns || memcmp(fast_key, slow_key, sizeof fast_key) != 0) && bad_key++ < 10)
        ADD_FAILURE() << "key of " << hex(*s) << " in " << room << " bytes: path "
                      << hex(std::string(fast_key, static_cast<size_t>(std::clamp(nf, 0, room)))) << " (" << nf
                      << "), engine " << hex(std::string(slow_key, static_cast<size_t>(std::clamp(ns, 0, room))))
                      << " (" << ns << ")";
    }
    // Keys order as the path compares (the code 1 wraps in a key's digits).
    if (!a.empty() && !b.empty() && a.find('\1') == std::string::npos && b.find('\1') == std::string::npos) {
      const std::string ka = v_key(a), kb = v_key(b);
      const int by_key = sign(strcmp(ka.c_str(), kb.c_str())), by_path = sign(h->mbscoll_fn(h, a.c_str(), b.c_str()));
      if (by_key != by_path && bad_key++ < 10)
        ADD_FAILURE() << hex(a) << " vs " << hex(b) << ": keys " << by_key << ", path " << by_path;
    }
    const int fast = sign(h->mbscoll_fn(h, a.c_str(), b.c_str()));
    const int slow = sign(_vl_im_mbscoll(h, a.c_str(), b.c_str()));
    if (fast != slow && bad++ < 10)
      ADD_FAILURE() << "terminated " << hex(a) << " vs " << hex(b) << ": path " << fast << ", engine " << slow;
    const int32_t la = static_cast<int32_t>(pick(a.size() + 1)), lb = static_cast<int32_t>(pick(b.size() + 1));
    const int cfast = sign(h->mbfscoll_fn(h, a.data(), la, b.data(), lb));
    const int cslow = sign(_kvx_vl_im_mbfscoll(h, a.data(), la, b.data(), lb));
    if (cfast != cslow && bad_counted++ < 10)
      ADD_FAILURE() << "counted " << hex(a.substr(0, static_cast<size_t>(la))) << " vs "
                    << hex(b.substr(0, static_cast<size_t>(lb))) << ": path " << cfast << ", engine " << cslow;
  }
  printf("[collate] %s: single-byte path against the engine: %ld terminated, %ld counted and %ld key differences in %ld\n",
         GetParam().file, bad, bad_counted, bad_key, rounds);
}

// In a multibyte locale the multibyte entries (which decode each string
// once, pass over a shared head, and read the characters of their fast
// table straight from the bytes) give the wide engine's results on the
// widened strings: the result and error of a comparison, terminated and
// with lengths, and the key byte for byte at full room and cut short.
TEST_P(CollateOracle, MultibyteEntriesAreTheWideEngine) {
  if (h->single_byte) GTEST_SKIP() << "single-byte";
  std::vector<std::string> pool, cs = chars();
  std::shuffle(cs.begin(), cs.end(), rng);
  for (const auto &s : cs)
    if (pool.size() < 300 && (s.size() > 1 || alpha(s) || expands(s)))
      pool.push_back(s);
  // Elements whole and their characters apart, so that a shared head can
  // end inside an element of one side.
  std::vector<int32_t> elems(static_cast<size_t>(h->collate.num_coll_elems));
  for (size_t i = 0; i < elems.size(); ++i) elems[i] = static_cast<int32_t>(i);
  std::shuffle(elems.begin(), elems.end(), rng);
  if (elems.size() > 100) elems.resize(100);
  for (int32_t i : elems) {
    for (uint32_t k = 0; k < h->collate.coll_elems[i].count; ++k) pool.push_back(v_mb(h, h->collate.coll_elems[i].chars[k]));
    pool.push_back(elem(i));
  }
  // The characters of the fast table: printable ASCII, and the two-byte
  // codes 0xC280..0xC5BF where they are characters.
  for (unsigned b = 0x20; b < 0x7F; b += 1 + pick(3)) pool.push_back(std::string(1, static_cast<char>(b)));
  for (unsigned code = 0xC280; code <= 0xC5BF; code += 1 + pick(4)) {
    const std::string c{static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
    vl_wchar w[4];
    if ((code & 0xC0) == 0x80 && h->mbstowcs_fn(h, w, c.c_str(), 4) == 1) pool.push_back(c);
  }
  auto gen = [&](size_t most) {
    std::string s;
    for (size_t len = pick(most); len; --len)
      s += (rng() & 3) ? pool[pick(pool.size())] : cs[pick(std::min<size_t>(cs.size(), 60))];
    return s;
  };
  auto wide = [&](const std::string &s) {
    std::vector<vl_wchar> w(s.size() + 1);
    const int n = h->mbstowcs_fn(h, w.data(), s.c_str(), static_cast<int32_t>(w.size()));
    w.resize(static_cast<size_t>(std::max(n, 0)) + 1);
    w.back() = 0;
    return w;
  };
  // A byte that starts no character, for strings that must fail whole
  // however early the comparison decides.
  // A lead byte left without its trail at the end is another.
  std::string illegal, lead;
  for (unsigned b = 1; b < 256; ++b) {
    const unsigned char f = h->ctype.ctype_tree->root->flags[b];
    if (f == VL_MULTI_INVALID && illegal.empty()) illegal = std::string(1, static_cast<char>(b));
    if (f == VL_MULTI_LEADS && (lead.empty() || b == 0xC3)) lead = std::string(1, static_cast<char>(b));
  }
  const long rounds = kSlow ? 2000 : 20000;
  long bad = 0;
  for (long k = 0; k < rounds; ++k) {
    // Heads shared often, and long strings now and then.
    const size_t most = (k % 16) == 0 ? 160 : 9;
    const std::string head = (k & 1) ? gen(most) : std::string();
    if (k % 8 == 5 && !illegal.empty()) {
      const std::string a = head + gen(most);
      const std::string b = (k & 32) && !lead.empty() ? head + gen(most) + lead : head + gen(most) + illegal + gen(most);
      const std::string &x = (k & 16) ? a : b, &y = (k & 16) ? b : a;
      h->vl_errno = 0;
      const int mb = _vl_im_mbscoll(h, x.c_str(), y.c_str());
      const uint32_t err = h->vl_errno;
      h->vl_errno = 0;
      const int counted = _kvx_vl_im_mbfscoll(h, x.data(), static_cast<int32_t>(x.size()), y.data(),
                                              static_cast<int32_t>(y.size()));
      if ((mb != 0 || counted != 0 || err != VL_EILSEQ || h->vl_errno != VL_EILSEQ) && bad++ < 10)
        ADD_FAILURE() << hex(x) << " vs " << hex(y) << ": " << mb << " error " << err << ", counted " << counted
                      << " error " << h->vl_errno;
      continue;
    }
    const std::string a = head + gen(most), b = (k & 2) ? head + gen(most) : head;
    const std::vector<vl_wchar> wa = wide(a), wb = wide(b);
    h->vl_errno = 0;
    const int mb = _vl_im_mbscoll(h, a.c_str(), b.c_str());
    const uint32_t mb_err = h->vl_errno;
    const int wc = vl_full_wcscoll(h, wa.data(), wb.data());
    const uint32_t wc_err = h->vl_errno;
    const std::string ta = a + "zz", tb = b + "q";
    const int counted = _kvx_vl_im_mbfscoll(h, ta.data(), static_cast<int32_t>(a.size()), tb.data(),
                                            static_cast<int32_t>(b.size()));
    if ((mb != wc || counted != wc || mb_err != wc_err || h->vl_errno != wc_err) && bad++ < 10)
      ADD_FAILURE() << hex(a) << " vs " << hex(b) << ": terminated " << mb << " error " << mb_err << ", counted "
                    << counted << ", wide " << wc << " error " << wc_err;
    if (a.empty()) continue;
    char key[2048], wkey[2048];
    const int32_t room = (k & 4) ? static_cast<int32_t>(pick(160)) : static_cast<int32_t>(sizeof key);
    memset(key, 0x55, sizeof key);
    memset(wkey, 0x55, sizeof wkey);
    const int n = vl_full_mbsxfrm(h, key, a.c_str(), room), wn = vl_wcsxfrm(h, wkey, wa.data(), room);
    if ((n != wn || memcmp(key, wkey, sizeof key) != 0) && bad++ < 10)
      ADD_FAILURE() << "key of " << hex(a) << " in " << room << " bytes: "
                    << hex(std::string(key, static_cast<size_t>(std::clamp(n, 0, room)))) << " (" << n << "), wide "
                    << hex(std::string(wkey, static_cast<size_t>(std::clamp(wn, 0, room)))) << " (" << wn << ")";
  }
  EXPECT_EQ(bad, 0);
}

// Terminated texts are read in aligned blocks past their end: the answer
// and the error of a pair do not depend on where the texts lie, and a text
// that ends on the last byte of a page before one that cannot be read is
// read safely. Each pair is placed at every offset of a block and against
// such a page, on either side; counted, a text that ends on a page's last
// byte is read no further.
TEST_P(CollateOracle, TerminatedTextsAnywhere) {
  if (h->single_byte) GTEST_SKIP() << "single-byte";
  std::vector<std::string> pool, cs = chars();
  std::shuffle(cs.begin(), cs.end(), rng);
  for (const auto &s : cs)
    if (pool.size() < 200) pool.push_back(s);
  for (unsigned b = 0x20; b < 0x7F; b += 1 + pick(2)) pool.push_back(std::string(1, static_cast<char>(b)));
  for (const char *x : {"\x80", "\xC3", "\xFF", "\xC3\xA9", "\xC5\xBF", "\xD0\x96"}) pool.push_back(x);
  const long page = sysconf(_SC_PAGESIZE);
  char *map = static_cast<char *>(mmap(nullptr, static_cast<size_t>(2 * page), PROT_READ | PROT_WRITE,
                                       MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(map, MAP_FAILED);
  ASSERT_EQ(mprotect(map + page, static_cast<size_t>(page), PROT_NONE), 0);
  alignas(16) char block[2][96];
  long bad = 0;
  for (int k = 0; k < (kSlow ? 300 : 2000); ++k) {
    std::string a, b;
    for (size_t n = pick(12); n; --n) a += pool[pick(pool.size())];
    b = (k & 1) ? a.substr(0, pick(a.size() + 1)) : std::string();
    for (size_t n = pick(12); n; --n) b += pool[pick(pool.size())];
    if (a.size() > 60 || b.size() > 60) continue;
    h->vl_errno = 0;
    const int want = _vl_im_mbscoll(h, a.c_str(), b.c_str());
    const uint32_t want_err = h->vl_errno;
    auto check = [&](const char *x, const char *y, const char *where) {
      h->vl_errno = 0;
      const int r = _vl_im_mbscoll(h, x, y);
      if ((r != want || h->vl_errno != want_err) && bad++ < 10)
        ADD_FAILURE() << hex(a) << " vs " << hex(b) << " " << where << ": " << r << " error " << h->vl_errno
                      << ", want " << want << " error " << want_err;
    };
    for (size_t off = 0; off < 16; ++off) {
      memcpy(block[0] + off, a.c_str(), a.size() + 1);
      memcpy(block[1] + 15 - off, b.c_str(), b.size() + 1);
      check(block[0] + off, block[1] + 15 - off, "in blocks");
    }
    char *end_a = map + page - a.size() - 1;
    memcpy(end_a, a.c_str(), a.size() + 1);
    check(end_a, b.c_str(), "first at a page's end");
    char *end_b = map + page - b.size() - 1;
    memcpy(end_b, b.c_str(), b.size() + 1);
    check(a.c_str(), end_b, "second at a page's end");
    // Counted, each side in turn ending on the page's last byte (with no
    // terminator behind it).
    for (int side = 0; side < 2; ++side) {
      const std::string &moved = side ? b : a;
      char *at = map + page - moved.size();
      memcpy(at, moved.data(), moved.size());
      h->vl_errno = 0;
      const int counted = side ? _kvx_vl_im_mbfscoll(h, a.data(), static_cast<int32_t>(a.size()), at,
                                                     static_cast<int32_t>(b.size()))
                               : _kvx_vl_im_mbfscoll(h, at, static_cast<int32_t>(a.size()), b.data(),
                                                     static_cast<int32_t>(b.size()));
      if ((counted != want || h->vl_errno != want_err) && bad++ < 10)
        ADD_FAILURE() << hex(a) << " vs " << hex(b) << " counted, side " << side << " at a page's end: " << counted
                      << " error " << h->vl_errno << ", want " << want << " error " << want_err;
    }
  }
  munmap(map, static_cast<size_t>(2 * page));
  EXPECT_EQ(bad, 0);
}

// Long shared heads: texts of ASCII and two-byte characters (where the
// codeset has them), equal for up to a few hundred bytes and then parting
// at any byte, a trail byte included, with now and then a character of
// three bytes, an element's characters, a stray trail or a byte that is no
// character inside the head. The multibyte entries pass over such heads
// in blocks; they must give the wide engine's result and error.
TEST_P(CollateOracle, LongSharedHeadsAreTheWideEngine) {
  if (h->single_byte) GTEST_SKIP() << "single-byte";
  std::vector<std::string> pool, odd, cs = chars();
  for (const auto &s : cs) (s.size() <= 2 ? pool : odd).push_back(s);
  for (int32_t i = 0; i < h->collate.num_coll_elems && odd.size() < 400; i += 7) odd.push_back(elem(i));
  for (const char *x : {"\x80", "\xC3", "\xFF", "\xE0\x80"}) odd.push_back(x);
  ASSERT_FALSE(pool.empty());
  auto wide = [&](const std::string &s, std::vector<vl_wchar> &w) {
    w.assign(s.size() + 1, 0);
    const int n = h->mbstowcs_fn(h, w.data(), s.c_str(), static_cast<int32_t>(w.size()));
    return n >= 0;
  };
  const long rounds = kSlow ? 1500 : 12000;
  long bad = 0;
  std::vector<vl_wchar> wa, wb;
  for (long k = 0; k < rounds; ++k) {
    std::string head;
    for (size_t len = 16 + pick(300); head.size() < len;)
      head += pick(40) ? pool[pick(std::min<size_t>(pool.size(), 8 + k % 400))] : odd[pick(odd.size())];
    std::string a = head, b = head;
    for (size_t n = pick(4); n; --n) a += pool[pick(pool.size())];
    for (size_t n = pick(4); n; --n) b += pool[pick(pool.size())];
    if (k & 1) {  // part at a byte of the head
      const size_t at = pick(head.size());
      b[at] = static_cast<char>(b[at] ^ (1u << pick(6)));
      if (b[at] == 0) b[at] = 'x';
    }
    h->vl_errno = 0;
    const int mb = _vl_im_mbscoll(h, a.c_str(), b.c_str());
    const uint32_t mb_err = h->vl_errno;
    h->vl_errno = 0;
    const int counted = _kvx_vl_im_mbfscoll(h, a.data(), static_cast<int32_t>(a.size()), b.data(),
                                            static_cast<int32_t>(b.size()));
    const uint32_t counted_err = h->vl_errno;
    int wc = 0;
    uint32_t wc_err = VL_EILSEQ;
    if (wide(a, wa) && wide(b, wb)) {
      h->vl_errno = 0;
      wc = vl_full_wcscoll(h, wa.data(), wb.data());
      wc_err = h->vl_errno;
    }
    if ((mb != wc || counted != wc || mb_err != wc_err || counted_err != wc_err) && bad++ < 10)
      ADD_FAILURE() << hex(a) << " vs " << hex(b) << ": terminated " << mb << " error " << mb_err << ", counted "
                    << counted << " error " << counted_err << ", wide " << wc << " error " << wc_err;
  }
  EXPECT_EQ(bad, 0);
}

INSTANTIATE_TEST_SUITE_P(Shipped, CollateOracle, ::testing::ValuesIn(kCases), case_name);

}  // namespace
