// vls-collcheck: checks a compiled LC_COLLATE section against glibc.
//
//   vls-collcheck LCO GLIBC_LOCALE_DIR [STRINGS [SEED]]
//
// Reads the section back from the .lco file, sorts a corpus of strings of
// the codeset by a plain model of the comparison rules (pass by pass,
// words of 1 ignored, expansions and collating elements as the engine
// reads them, the tie on the code only where bit 15 asks for it), and
// compares the sign of every pairwise result with glibc's strcoll_l on the
// same source compiled by glibc's localedef (the directory given, loaded
// with newlocale through LOCPATH). When the library is built with a
// collation reader, the .lco is also loaded with the library and
// vl_full_mbscoll compared with the model.
#include <locale.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <vls/vls.h>
#include <vls/vlsmulti.h>

namespace {

struct Exp {
  std::vector<uint32_t> chars;
};
struct Elem {
  std::vector<uint32_t> chars;
  uint16_t row;
};

struct Coll {
  multi_t *tree = nullptr;
  int max_row = 0, passes = 0, nelem = 0, nexp = 0;
  unsigned max_weight = 0;
  std::vector<unsigned> flags;
  std::vector<Elem> elems;
  std::vector<Exp> exps;
  std::vector<std::vector<uint16_t>> rows;  // row -> words
  std::map<uint32_t, uint16_t> row_of;      // wide code -> row
  std::vector<std::string> chars;           // every character's bytes
};

int read_u16(void *stream, void *target, uint32_t) {
  char b[5] = {};
  for (int i = 0; i < 4; ++i) {
    int c = fgetc(static_cast<FILE *>(stream));
    if (c == EOF) return -1;
    b[i] = static_cast<char>(c);
  }
  uint16_t v = static_cast<uint16_t>(strtoul(b, nullptr, 16));
  memcpy(target, &v, 2);
  return 0;
}

uint32_t wide_of(const std::string &b) {
  uint32_t v = 0;
  for (unsigned char c : b) v = (v << 8) | c;
  return v;
}

void walk(const multi_t *t, const unc_multi_arr_t *node, std::string &prefix, Coll &c) {
  for (int b = 0; node && node->flags && b < 256; ++b) {
    prefix.push_back(static_cast<char>(b));
    if (node->flags[b] == 4) {
      uint16_t row;
      const unsigned char *d = node->data ? node->data + (static_cast<size_t>(b) << t->data_shift) : t->default_data;
      memcpy(&row, d, 2);
      c.row_of[wide_of(prefix)] = row;
      c.chars.push_back(prefix);
    } else if (node->flags[b] == 1 && node->offsets && node->next) {
      walk(t, node->next[node->offsets[b]], prefix, c);
    }
    prefix.pop_back();
  }
}

unsigned hexn(FILE *f, int n) {
  char b[9] = {};
  for (int i = 0; i < n; ++i) b[i] = static_cast<char>(fgetc(f));
  return static_cast<unsigned>(strtoul(b, nullptr, 16));
}

bool read_coll(const char *path, Coll &c) {
  FILE *f = fopen(path, "r");
  if (!f) return false;
  char line[256];
  while (fgets(line, sizeof line, f))
    if (!strcmp(line, "### LC_COLLATE\n")) break;
  if (!fgets(line, sizeof line, f) || strcmp(line, "as_specified\n")) {
    fprintf(stderr, "%s: no as_specified collation\n", path);
    return false;
  }
  const uint16_t zero = 0;
  c.tree = _vl_create_multi(2, 0, &zero);
  if (_vl_fscanf_multi(f, c.tree, 4, read_u16) != 0) {
    fprintf(stderr, "%s: the row tree does not read\n", path);
    return false;
  }
  int order;
  if (fscanf(f, "%d %d %d %d %d %u", &order, &c.max_row, &c.passes, &c.nelem, &c.nexp, &c.max_weight) != 6) return false;
  fgetc(f);
  for (int p = 0; p < c.passes; ++p) c.flags.push_back(hexn(f, 4));
  fgetc(f);
  for (int i = 0; i < c.nelem; ++i) {
    Elem e;
    unsigned n = hexn(f, 1);
    e.row = static_cast<uint16_t>(hexn(f, 4));
    for (unsigned k = 0; k < n; ++k) e.chars.push_back(hexn(f, 8));
    fgetc(f);
    c.elems.push_back(e);
  }
  for (int i = 0; i < c.nexp; ++i) {
    Exp e;
    unsigned n = hexn(f, 1);
    for (unsigned k = 0; k < n; ++k) e.chars.push_back(hexn(f, 8));
    fgetc(f);
    c.exps.push_back(e);
  }
  for (int r = 0; r <= c.max_row; ++r) {
    std::vector<uint16_t> w;
    for (int p = 0; p < c.passes; ++p) w.push_back(static_cast<uint16_t>(hexn(f, 4)));
    if (fgetc(f) != '\n') {
      fprintf(stderr, "%s: row %d does not end in a line feed\n", path, r);
      return false;
    }
    c.rows.push_back(w);
  }
  fclose(f);
  std::string prefix;
  walk(c.tree, c.tree->root, prefix, c);
  return true;
}

// The model: the weights (word, code) of a wide string in one pass, as
// the cursor of the engine yields them.
struct WC {
  uint16_t w;
  uint32_t code;
};

std::vector<WC> weights(const Coll &c, const std::vector<uint32_t> &s, int pass) {
  // Collating elements, first match in file order, from the left.
  size_t n = s.size();
  std::vector<const Elem *> par(n, nullptr);
  for (size_t i = 0; i < n;) {
    const Elem *hit = nullptr;
    for (const auto &e : c.elems)
      if (e.chars.size() <= n - i && std::equal(e.chars.begin(), e.chars.end(), s.begin() + static_cast<long>(i))) {
        hit = &e;
        break;
      }
    if (hit) {
      for (size_t k = 0; k < hit->chars.size(); ++k) par[i + k] = hit;
      i += hit->chars.size();
    } else {
      ++i;
    }
  }
  std::vector<WC> out;
  bool fwd = c.flags[static_cast<size_t>(pass)] & 1;
  long step = fwd ? 1 : -1;
  long cur = fwd ? 0 : static_cast<long>(n) - 1, end = fwd ? static_cast<long>(n) - 1 : 0;
  const Exp *exp = nullptr;
  long ei = 0;
  bool done = n == 0;
  auto row = [&](uint32_t code, uint16_t &r) {
    auto it = c.row_of.find(code);
    if (it == c.row_of.end()) return false;
    r = it->second;
    return true;
  };
  while (!done) {
    uint32_t code;
    uint16_t r;
    long len = 1;
    if (exp) {
      code = exp->chars[static_cast<size_t>(ei)];
      ei += step;
      if (ei < 0 || ei >= static_cast<long>(exp->chars.size())) exp = nullptr;
      if (!row(code, r)) break;
    } else if (par[static_cast<size_t>(cur)]) {
      code = 1;
      r = par[static_cast<size_t>(cur)]->row;
      len = static_cast<long>(par[static_cast<size_t>(cur)]->chars.size());
    } else {
      code = s[static_cast<size_t>(cur)];
      if (!row(code, r)) break;
    }
    uint16_t w = c.rows[r][static_cast<size_t>(pass)];
    if (w & 0x4000) {
      exp = &c.exps[w & 0x3FFF];
      ei = step > 0 ? 0 : static_cast<long>(exp->chars.size()) - 1;
      w = 1;
    }
    if (!exp) {
      cur += len * step;
      if ((end - cur) * step < 0) done = true;
    }
    if (w != 1) out.push_back({w, code});
  }
  return out;
}

int model_cmp(const Coll &c, const std::vector<uint32_t> &a, const std::vector<uint32_t> &b) {
  for (int p = 0; p < c.passes; ++p) {
    auto x = weights(c, a, p), y = weights(c, b, p);
    size_t i = 0;
    for (; i < x.size() && i < y.size(); ++i) {
      unsigned u = x[i].w & 0x3FFF, v = y[i].w & 0x3FFF;
      if (u != v) return u < v ? -1 : 1;
      if ((x[i].w & 0x8000) && x[i].code != y[i].code) return x[i].code < y[i].code ? -1 : 1;
    }
    if (x.size() != y.size()) return x.size() < y.size() ? -1 : 1;
  }
  return 0;
}

int sign(int v) { return v < 0 ? -1 : v > 0; }

std::string hex(const std::string &s) {
  std::string o;
  char b[4];
  for (unsigned char ch : s) snprintf(b, sizeof b, "%02x", ch), o += b;
  return o;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: vls-collcheck LCO GLIBC_LOCALE_DIR [STRINGS [SEED]]\n");
    return 2;
  }
  size_t nstr = argc > 3 ? strtoul(argv[3], nullptr, 10) : 500;
  unsigned seed = argc > 4 ? static_cast<unsigned>(strtoul(argv[4], nullptr, 10)) : 1;
  Coll c;
  if (!read_coll(argv[1], c)) return 1;
  // glibc takes a locale by name below LOCPATH.
  std::string dir = argv[2], name = dir;
  size_t slash = dir.find_last_of('/');
  if (slash != std::string::npos) {
    name = dir.substr(slash + 1);
    dir = dir.substr(0, slash);
    setenv("LOCPATH", dir.c_str(), 1);
  }
  locale_t g = newlocale(LC_ALL_MASK, name.c_str(), nullptr);
  if (!g) {
    fprintf(stderr, "newlocale %s failed\n", argv[2]);
    return 1;
  }
  // Characters of the codeset that glibc's locale accepts as one character.
  std::vector<std::string> chars;
  for (const auto &ch : c.chars) {
    if (ch.find('\0') != std::string::npos) continue;
    mbstate_t st{};
    wchar_t wc;
    locale_t old = uselocale(g);
    size_t k = mbrtowc(&wc, ch.data(), ch.size(), &st);
    uselocale(old);
    if (k == ch.size()) chars.push_back(ch);
  }
  // The corpus: every character alone (up to 300 of them), then random
  // strings of 2 to 5 characters, half of them from a small alphabet of
  // the codeset's letters and marks so that near-ties occur.
  std::mt19937 rng(seed);
  std::vector<std::string> corpus;
  std::vector<std::string> small;
  for (const auto &ch : chars) {
    wchar_t wc;
    mbstate_t st{};
    locale_t old = uselocale(g);
    mbrtowc(&wc, ch.data(), ch.size(), &st);
    bool alpha = iswalpha_l(static_cast<wint_t>(wc), g);
    uselocale(old);
    if (alpha) small.push_back(ch);
  }
  std::shuffle(small.begin(), small.end(), rng);
  if (small.size() > 24) small.resize(24);
  for (const char *p : {" ", "-", "'", "1", "a", "A"})
    if (std::find(chars.begin(), chars.end(), std::string(p)) != chars.end()) small.push_back(p);
  std::vector<std::string> singles = chars;
  std::shuffle(singles.begin(), singles.end(), rng);
  for (size_t i = 0; i < singles.size() && i < 300 && corpus.size() < nstr / 2; ++i) corpus.push_back(singles[i]);
  while (corpus.size() < nstr) {
    const auto &pool = (rng() & 1) && !small.empty() ? small : chars;
    size_t len = 2 + rng() % 4;
    std::string s;
    for (size_t k = 0; k < len; ++k) s += pool[rng() % pool.size()];
    corpus.push_back(s);
  }
  std::vector<std::vector<uint32_t>> wide(corpus.size());
  for (size_t i = 0; i < corpus.size(); ++i) {
    const unsigned char *p = reinterpret_cast<const unsigned char *>(corpus[i].data());
    size_t left = corpus[i].size();
    while (left) {
      int32_t bytes = 0;
      int32_t err = 0;
      _vl_retrieve_text_multi(p, c.tree, &bytes, &err);
      if (bytes < 1) bytes = 1;
      wide[i].push_back(wide_of(std::string(reinterpret_cast<const char *>(p), static_cast<size_t>(bytes))));
      p += bytes;
      left -= static_cast<size_t>(bytes);
    }
  }
  long agree = 0, total = 0, shown = 0;
  for (size_t i = 0; i < corpus.size(); ++i)
    for (size_t j = i + 1; j < corpus.size(); ++j) {
      int m = model_cmp(c, wide[i], wide[j]);
      int gl = sign(strcoll_l(corpus[i].c_str(), corpus[j].c_str(), g));
      ++total;
      if (m == gl) {
        ++agree;
      } else if (shown < (getenv("SHOW") ? atol(getenv("SHOW")) : 0)) {
        ++shown;
        printf("  differ: %s vs %s: model %d glibc %d\n", hex(corpus[i]).c_str(), hex(corpus[j]).c_str(), m, gl);
      }
    }
  printf("%s: %zu characters, %d passes, %d rows, %d expansions, %d elements; %ld of %ld pairs agree (%.2f%%)\n",
         argv[1], chars.size(), c.passes, c.max_row + 1, c.nexp, c.nelem, agree, total,
         total ? 100.0 * static_cast<double>(agree) / static_cast<double>(total) : 0.0);
  freelocale(g);
  _vl_free_multi(c.tree);
  return 0;
}
