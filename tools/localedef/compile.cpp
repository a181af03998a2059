// From parsed source and charmap to the ".lco" text. Trees are built and
// printed by the library's own byte tree functions, so that what is
// written here is exactly what the library's reader expects.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sys/stat.h>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlsmulti.h>
#include <vls/vlsspec.h>

#include "ldef.h"
#include "lcowriter.h"

namespace ldef {

namespace {

// ---- class masks ------------------------------------------------------------------

// The library's class masks (VL_CT_*); VL_CT_LOCAL is bit 0 of the
// locale-defined classes.
// Bits 0 to 4 of the locale-defined classes fit in a 16-bit row.
constexpr int kLocalBits = 5;
const char *const kFullWidth = "full_width";

struct Builtin {
  const char *name;
  uint16_t mask;
};
const Builtin kBuiltins[] = {{"upper", VL_CT_UPPER}, {"lower", VL_CT_LOWER}, {"alpha", VL_CT_ALPHA}, {"digit", VL_CT_DIGIT},
                             {"space", VL_CT_SPACE}, {"cntrl", VL_CT_CNTRL}, {"punct", VL_CT_PUNCT}, {"graph", VL_CT_GRAPH},
                             {"print", VL_CT_PRINT}, {"xdigit", VL_CT_XDIGIT}, {"blank", VL_CT_BLANK}};

uint16_t builtin_mask(const std::string &k) {
  for (const auto &b : kBuiltins)
    if (k == b.name) return b.mask;
  return 0;
}

// ---- statements to values ---------------------------------------------------------------


// The characters of a list item, given as a range of references.
struct Range {
  CharRef from, to;
  int step = 1;
  bool is_range = false;
  std::string ellipsis;
};

CharRef single_char(const Token &t, const Statement &st) {
  if ((t.kind == TokKind::Symbol || t.kind == TokKind::Char) && !t.chars.empty()) return t.chars[0];
  if ((t.kind == TokKind::Ident || t.kind == TokKind::Number) && t.text.size() == 1) {
    CharRef r;
    r.ucs = static_cast<unsigned char>(t.text[0]);
    return r;
  }
  if (t.kind == TokKind::String && t.chars.size() == 1) return t.chars[0];
  throw Error(st.file, st.line, "expected a character, found \"" + t.text + "\"");
}

// item ; item ; ... where an item is a character or a range a..b.
std::vector<Range> char_list(const Statement &st, size_t start) {
  std::vector<Range> out;
  const auto &a = st.args;
  size_t i = start;
  while (i < a.size()) {
    if (a[i].kind == TokKind::Semi) {
      ++i;
      continue;
    }
    Range r;
    r.from = single_char(a[i], st);
    ++i;
    if (i < a.size() && a[i].kind == TokKind::Ellipsis) {
      r.is_range = true;
      r.step = a[i].step;
      r.ellipsis = a[i].text;
      ++i;
      if (i >= a.size()) throw Error(st.file, st.line, "range without an end");
      r.to = single_char(a[i], st);
      ++i;
    } else {
      r.to = r.from;
    }
    if (i < a.size() && a[i].kind != TokKind::Semi)
      throw Error(st.file, st.line, "expected \";\" in the list, found \"" + a[i].text + "\"");
    out.push_back(r);
  }
  return out;
}

// (a,b);(c,d);...
std::vector<std::pair<CharRef, CharRef>> pair_list(const Statement &st, size_t start) {
  std::vector<std::pair<CharRef, CharRef>> out;
  const auto &a = st.args;
  size_t i = start;
  while (i < a.size()) {
    if (a[i].kind == TokKind::Semi) {
      ++i;
      continue;
    }
    if (i + 4 >= a.size() || a[i].kind != TokKind::LParen || a[i + 2].kind != TokKind::Comma ||
        a[i + 4].kind != TokKind::RParen)
      throw Error(st.file, st.line, "expected (<from>,<to>)");
    out.emplace_back(single_char(a[i + 1], st), single_char(a[i + 3], st));
    i += 5;
  }
  return out;
}

// Calls fn with the charmap index of every character of the range.
template <typename Fn>
void for_range(const Charmap &cm, const Range &r, const Statement &st, Fn fn) {
  if (!r.is_range) {
    if (const CharmapEntry *e = cm.find(r.from)) fn(static_cast<size_t>(e - cm.chars.data()));
    return;
  }
  if (r.from.ucs != kNoUcs && r.to.ucs != kNoUcs) {
    if (r.to.ucs < r.from.ucs) throw Error(st.file, st.line, "range runs backwards");
    for (uint64_t u = r.from.ucs; u <= r.to.ucs; u += static_cast<uint64_t>(r.step))
      if (const CharmapEntry *e = cm.find_ucs(static_cast<uint32_t>(u))) fn(static_cast<size_t>(e - cm.chars.data()));
    return;
  }
  // Other symbolic names: the numeric end of the name counts up, in
  // hexadecimal for "..", in decimal for "..." and "....".
  int base = r.ellipsis == ".." ? 16 : 10;
  auto split = [&](const std::string &n, std::string &p, unsigned long long &v, size_t &w) {
    size_t k = n.size();
    while (k > 0 && (base == 16 ? isxdigit(static_cast<unsigned char>(n[k - 1])) : isdigit(static_cast<unsigned char>(n[k - 1]))))
      --k;
    if (k == n.size() || n.size() - k > 12) return false;
    p = n.substr(0, k);
    w = n.size() - k;
    v = std::stoull(n.substr(k), nullptr, base);
    return true;
  };
  std::string p1, p2;
  unsigned long long v1, v2;
  size_t w1, w2;
  if (r.from.name.empty() || !split(r.from.name, p1, v1, w1) || !split(r.to.name, p2, v2, w2) || p1 != p2 || v2 < v1 ||
      v2 - v1 > 0x110000)
    throw Error(st.file, st.line, "bad range of symbolic names");
  for (unsigned long long v = v1; v <= v2; v += static_cast<unsigned long long>(r.step)) {
    char buf[32];
    snprintf(buf, sizeof buf, base == 16 ? "%0*llX" : "%0*llu", static_cast<int>(w1), v);
    CharRef c;
    c.name = p1 + buf;
    if (const CharmapEntry *e = cm.find(c)) fn(static_cast<size_t>(e - cm.chars.data()));
  }
}

// ---- LC_CTYPE -------------------------------------------------------------------------------

struct CtypeResult {
  std::vector<uint16_t> mask;                     // by charmap index
  std::vector<std::string> classes;               // locale-defined, by bit number
  std::vector<long> upper, lower;                 // charmap index of the mapping, or -1
};

// Builds the class masks, the case mappings and the locale-defined classes
// of LC_CTYPE, step by step.
struct CtypeBuilder {
  // Locale-defined classes: members by name, in the order they were met.
  struct LocalClass {
    std::string name;
    bool own = false;  // defined by the top-level file
    int order = 0;
    std::vector<char> member;
  };

  const Charmap &cm;
  const std::string &top_file;
  size_t n;
  CtypeResult r;
  uint16_t done = 0;  // built-in classes the source lists
  bool upper_done = false, lower_done = false;
  std::vector<LocalClass> local;
  std::set<std::string> charconv;

  CtypeBuilder(const Charmap &c, const std::string &top) : cm(c), top_file(top), n(c.chars.size()) {
    r.mask.assign(n, 0);
    r.upper.assign(n, -1);
    r.lower.assign(n, -1);
  }

  LocalClass *find_local(const std::string &name) {
    for (auto &c : local)
      if (c.name == name) return &c;
    return nullptr;
  }
  LocalClass &declare(const std::string &name, const Statement &st) {
    if (LocalClass *c = find_local(name)) {
      if (st.file == top_file) c->own = true;
      return *c;
    }
    LocalClass c;
    c.name = name;
    c.own = st.file == top_file;
    c.order = static_cast<int>(local.size());
    c.member.assign(n, 0);
    local.push_back(std::move(c));
    return local.back();
  }

  // The source's statements: classes, case mappings, class declarations.
  void read(const std::vector<Statement> &sts) {
    for (const auto &st : sts) {
      if (st.translit) continue;
      const std::string &k = st.keyword;
      if (uint16_t m = builtin_mask(k)) {
        for (const auto &rg : char_list(st, 0)) for_range(cm, rg, st, [&](size_t i) { r.mask[i] |= m; });
        done |= m;
      } else if (k == "alnum") {
        // alnum is alpha together with digit; a list of its own adds nothing.
        warn(st.file, st.line, "alnum is derived from alpha and digit; its list is ignored");
      } else if (k == "charclass") {
        for (const auto &t : st.args) {
          if (t.kind == TokKind::Semi) continue;
          if (t.kind != TokKind::Ident && t.kind != TokKind::String)
            throw Error(st.file, st.line, "charclass expects class names");
          std::string name = t.text;
          if (t.kind == TokKind::String)
            for (const auto &c : t.chars) name += static_cast<char>(c.ucs);
          if (builtin_mask(name)) throw Error(st.file, st.line, name + " is a built-in class");
          declare(name, st);
        }
      } else if (k == "class") {
        if (st.args.size() < 2 || st.args[0].kind != TokKind::String || st.args[1].kind != TokKind::Semi)
          throw Error(st.file, st.line, "class expects \"name\"; and a list");
        std::string name;
        for (const auto &c : st.args[0].chars) {
          if (c.ucs == kNoUcs || c.ucs > 0x7E) throw Error(st.file, st.line, "class names are plain ASCII");
          name += static_cast<char>(c.ucs);
        }
        if (uint16_t m = builtin_mask(name)) {
          for (const auto &rg : char_list(st, 2)) for_range(cm, rg, st, [&](size_t i) { r.mask[i] |= m; });
          done |= m;
          continue;
        }
        LocalClass &c = declare(name, st);
        for (const auto &rg : char_list(st, 2)) for_range(cm, rg, st, [&](size_t i) { c.member[i] = 1; });
      } else if (k == "toupper" || k == "tolower" || (k == "map" && !st.args.empty())) {
        std::string which = k;
        size_t start = 0;
        if (k == "map") {
          which.clear();
          // map "toupper"; or, as some sources write it, map to_inpunct;
          if (st.args[0].kind == TokKind::Ident)
            which = st.args[0].text;
          else if (st.args[0].kind == TokKind::String)
            for (const auto &c : st.args[0].chars) which += static_cast<char>(c.ucs);
          else
            throw Error(st.file, st.line, "map expects \"name\";");
          start = 2;
          if (which != "toupper" && which != "tolower") continue;  // totitle and others
        }
        auto &target = which == "toupper" ? r.upper : r.lower;
        (which == "toupper" ? upper_done : lower_done) = true;
        for (const auto &p : pair_list(st, start)) {
          const CharmapEntry *a = cm.find(p.first);
          const CharmapEntry *b = cm.find(p.second);
          if (!a || !b) continue;  // one end is outside the codeset
          target[static_cast<size_t>(a - cm.chars.data())] = static_cast<long>(b - cm.chars.data());
        }
      } else if (k == "charconv") {
        for (const auto &t : st.args)
          if (t.kind == TokKind::Ident) charconv.insert(t.text);
      } else if (k == "outdigit" || k == "include" || k == "translit_ignore" || k == "default_missing" ||
                 k == "translit_start" || k == "translit_end" || k == "map" || charconv.count(k)) {
        // Output digits, transliteration and further mappings are not kept.
      } else if (find_local(k)) {
        LocalClass &c = *find_local(k);
        if (st.file == top_file) c.own = true;
        for (const auto &rg : char_list(st, 0)) for_range(cm, rg, st, [&](size_t i) { c.member[i] = 1; });
      } else {
        warn(st.file, st.line, "unknown LC_CTYPE keyword \"" + k + "\" ignored");
      }
    }
  }

  // Built-in classes and case mappings the source leaves out take their
  // ASCII defaults; letters, digits and punctuation are graphic and
  // printable; a character never maps to itself.
  void defaults() {
    auto ascii = [&](uint32_t u) -> long {
      const CharmapEntry *e = cm.find_ucs(u);
      return e ? static_cast<long>(e - cm.chars.data()) : -1;
    };
    auto set_ascii = [&](uint32_t lo, uint32_t hi, uint16_t m) {
      for (uint32_t u = lo; u <= hi; ++u)
        if (long i = ascii(u); i >= 0) r.mask[static_cast<size_t>(i)] |= m;
    };
    if (!(done & VL_CT_UPPER)) set_ascii('A', 'Z', VL_CT_UPPER);
    if (!(done & VL_CT_LOWER)) set_ascii('a', 'z', VL_CT_LOWER);
    if (!(done & VL_CT_ALPHA))
      for (auto &m : r.mask)
        if (m & (VL_CT_UPPER | VL_CT_LOWER)) m |= VL_CT_ALPHA;
    if (!(done & VL_CT_DIGIT)) set_ascii('0', '9', VL_CT_DIGIT);
    if (!(done & VL_CT_SPACE)) {
      set_ascii(' ', ' ', VL_CT_SPACE);
      set_ascii('\t', '\r', VL_CT_SPACE);
    }
    if (!(done & VL_CT_BLANK)) {
      set_ascii(' ', ' ', VL_CT_BLANK);
      set_ascii('\t', '\t', VL_CT_BLANK);
    }
    if (!(done & VL_CT_CNTRL)) {
      set_ascii(0, 0x1F, VL_CT_CNTRL);
      set_ascii(0x7F, 0x7F, VL_CT_CNTRL);
    }
    if (!(done & VL_CT_XDIGIT)) {
      set_ascii('0', '9', VL_CT_XDIGIT);
      set_ascii('A', 'F', VL_CT_XDIGIT);
      set_ascii('a', 'f', VL_CT_XDIGIT);
    }
    if (!(done & VL_CT_PUNCT))
      for (uint32_t u = 0x21; u < 0x7F; ++u)
        if (long i = ascii(u); i >= 0 && !(r.mask[static_cast<size_t>(i)] & (VL_CT_ALPHA | VL_CT_DIGIT)))
          r.mask[static_cast<size_t>(i)] |= VL_CT_PUNCT;
    if (!(done & VL_CT_GRAPH))
      for (auto &m : r.mask)
        if (m & (VL_CT_UPPER | VL_CT_LOWER | VL_CT_ALPHA | VL_CT_DIGIT | VL_CT_XDIGIT | VL_CT_PUNCT)) m |= VL_CT_GRAPH;
    if (!(done & VL_CT_PRINT)) {
      for (auto &m : r.mask)
        if (m & VL_CT_GRAPH) m |= VL_CT_PRINT;
      set_ascii(' ', ' ', VL_CT_PRINT);
    }
    // Letters, digits and punctuation are printable and graphic by default.
    for (auto &m : r.mask)
      if (m & (VL_CT_UPPER | VL_CT_LOWER | VL_CT_ALPHA | VL_CT_DIGIT | VL_CT_XDIGIT | VL_CT_PUNCT)) m |= VL_CT_GRAPH | VL_CT_PRINT;
    if (!upper_done)
      for (uint32_t u = 'a'; u <= 'z'; ++u)
        if (ascii(u) >= 0 && ascii(u - 32) >= 0) r.upper[static_cast<size_t>(ascii(u))] = ascii(u - 32);
    if (!lower_done) {
      // The reverse of toupper.
      for (size_t i = 0; i < n; ++i)
        if (r.upper[i] >= 0 && r.lower[static_cast<size_t>(r.upper[i])] < 0)
          r.lower[static_cast<size_t>(r.upper[i])] = static_cast<long>(i);
    }
    for (size_t i = 0; i < n; ++i) {
      if (r.upper[i] == static_cast<long>(i)) r.upper[i] = -1;
      if (r.lower[i] == static_cast<long>(i)) r.lower[i] = -1;
    }
  }

  // Locale-defined classes take the bits: "full_width" first, from the
  // charmap's widths, then the locale's own classes, then those it copied,
  // while bits last.
  void local_classes() {
    std::vector<char> full(n, 0);
    for (size_t i = 0; i < n; ++i) full[i] = cm.chars[i].width == 2;
    if (LocalClass *fw = find_local(kFullWidth)) {
      for (size_t i = 0; i < n; ++i) full[i] |= fw->member[i];
    }
    r.classes.push_back(kFullWidth);
    for (size_t i = 0; i < n; ++i)
      if (full[i]) r.mask[i] |= VL_CT_LOCAL;
    std::vector<LocalClass *> order;
    for (auto &c : local)
      if (c.name != kFullWidth) order.push_back(&c);
    std::stable_sort(order.begin(), order.end(), [](const LocalClass *a, const LocalClass *b) { return a->own > b->own; });
    for (LocalClass *c : order) {
      if (static_cast<int>(r.classes.size()) >= kLocalBits) {
        if (g_verbose) warn(top_file, 0, "no class bit left for \"" + c->name + "\"; the class is left out");
        continue;
      }
      uint16_t bit = static_cast<uint16_t>(VL_CT_LOCAL << r.classes.size());
      r.classes.push_back(c->name);
      for (size_t i = 0; i < n; ++i)
        if (c->member[i]) r.mask[i] |= bit;
    }
  }
};

CtypeResult build_ctype(const Charmap &cm, const std::vector<Statement> &sts, const std::string &top_file) {
  CtypeBuilder b(cm, top_file);
  b.read(sts);
  b.defaults();
  b.local_classes();
  return std::move(b.r);
}

// ---- strings ---------------------------------------------------------------------------------

// The transliterations of LC_CTYPE: the locale's own (copied ones
// included), then those of the files it includes, in order.
class Translit {
 public:
  Translit(SourceSet &src, const std::vector<Statement> &ctype) : src_(src) { fill(top_, ctype, true); }
  const std::vector<std::vector<CharRef>> *find(uint32_t u) { return find_in(top_, u, 0); }
  const std::vector<std::vector<CharRef>> &missing() const { return missing_; }

 private:
  struct Table {
    std::unordered_map<uint32_t, std::vector<std::vector<CharRef>>> map;
    std::vector<std::string> includes;
  };
  static std::vector<std::vector<CharRef>> alternatives(const std::vector<Token> &a, size_t from) {
    std::vector<std::vector<CharRef>> out(1);
    for (size_t i = from; i < a.size(); ++i) {
      if (a[i].kind == TokKind::Semi) {
        out.emplace_back();
        continue;
      }
      out.back().insert(out.back().end(), a[i].chars.begin(), a[i].chars.end());
    }
    return out;
  }
  void fill(Table &t, const std::vector<Statement> &sts, bool top) {
    for (const auto &st : sts) {
      if (!st.translit) continue;
      if (st.keyword == "include") {
        if (st.args.empty() || st.args[0].kind != TokKind::String) continue;
        std::string name;
        for (const auto &c : st.args[0].chars) name += static_cast<char>(c.ucs);
        t.includes.push_back(name);
      } else if (st.keyword == "default_missing") {
        if (top) missing_ = alternatives(st.args, 0);
      } else if (st.keyword.empty() && !st.args.empty() && st.args[0].chars.size() == 1 &&
                 st.args[0].kind != TokKind::Other && st.args[0].chars[0].ucs != kNoUcs) {
        t.map.emplace(st.args[0].chars[0].ucs, alternatives(st.args, 1));
      }
    }
  }
  const std::vector<std::vector<CharRef>> *find_in(Table &t, uint32_t u, int depth) {
    auto it = t.map.find(u);
    if (it != t.map.end()) return &it->second;
    if (depth > 16) return nullptr;
    for (const auto &name : t.includes) {
      auto f = files_.find(name);
      if (f == files_.end()) {
        auto nt = std::make_unique<Table>();
        try {
          fill(*nt, src_.category(name, CAT_CTYPE), false);
        } catch (const Error &e) {
          warn(name, 0, std::string("transliterations not read: ") + e.what());
        }
        f = files_.emplace(name, std::move(nt)).first;
      }
      if (auto r = find_in(*f->second, u, depth + 1)) return r;
    }
    return nullptr;
  }
  SourceSet &src_;
  Table top_;
  std::map<std::string, std::unique_ptr<Table>> files_;
  std::vector<std::vector<CharRef>> missing_;
};

struct Encoder {
  const Charmap &cm;
  Translit &tr;
  // The bytes of a string. A character outside the charmap becomes the
  // first of its transliterations that the charmap can hold, or is
  // dropped.
  std::string operator()(const std::vector<CharRef> &chars, const Statement &st) const {
    std::string out;
    for (const auto &c : chars) {
      if (const CharmapEntry *e = cm.find(c)) {
        out += e->bytes;
        continue;
      }
      bool done = false;
      if (c.ucs != kNoUcs)
        if (const auto *alts = tr.find(c.ucs))
          for (const auto &alt : *alts) {
            std::string b;
            bool ok = !alt.empty();
            for (const auto &a : alt) {
              const CharmapEntry *e = cm.find(a);
              if (!e) {
                ok = false;
                break;
              }
              b += e->bytes;
            }
            if (ok) {
              out += b;
              done = true;
              break;
            }
          }
      if (!done && g_verbose) {
        char buf[32];
        if (c.ucs != kNoUcs) snprintf(buf, sizeof buf, "<U%04X>", c.ucs);
        else snprintf(buf, sizeof buf, "<%s>", c.name.c_str());
        warn(st.file, st.line, std::string("character ") + buf + " is not in the charmap and is dropped");
      }
    }
    return out;
  }
};

// Keyword values of the simple categories: the last definition wins.
struct Keywords {
  std::map<std::string, const Statement *> by_key;
  explicit Keywords(const std::vector<Statement> &sts) {
    for (const auto &st : sts) by_key[st.keyword] = &st;
  }
  const Statement *get(const std::string &k) const {
    auto it = by_key.find(k);
    return it == by_key.end() ? nullptr : it->second;
  }
};

std::vector<std::vector<CharRef>> strings_of(const Statement &st) {
  std::vector<std::vector<CharRef>> out;
  bool want = true;
  for (const auto &t : st.args) {
    if (t.kind == TokKind::Semi) {
      if (want) throw Error(st.file, st.line, "empty item in the list of " + st.keyword);
      want = true;
      continue;
    }
    if (t.kind != TokKind::String || !want) throw Error(st.file, st.line, st.keyword + " expects strings separated by \";\"");
    out.push_back(t.chars);
    want = false;
  }
  if (want && !out.empty()) throw Error(st.file, st.line, "list of " + st.keyword + " ends in \";\"");
  return out;
}

std::vector<long> numbers_of(const Statement &st) {
  std::vector<long> out;
  for (const auto &t : st.args) {
    if (t.kind == TokKind::Semi) continue;
    if (t.kind != TokKind::Number) throw Error(st.file, st.line, st.keyword + " expects numbers");
    out.push_back(strtol(t.text.c_str(), nullptr, 10));
  }
  return out;
}

using lcow::str_item;

// ---- trees -----------------------------------------------------------------------------------

uint32_t wide_of(const std::string &bytes) {
  uint32_t v = 0;
  for (unsigned char c : bytes) v = (v << 8) | c;
  return v;
}

// Rows of a tree over every character; `value` gives a row or false for
// flags only.
template <typename Fn>
std::vector<lcow::Row> char_rows(const Charmap &cm, Fn value) {
  std::vector<lcow::Row> rows(cm.chars.size());
  for (size_t i = 0; i < cm.chars.size(); ++i) {
    rows[i].bytes = cm.chars[i].bytes;
    rows[i].has_value = value(i, rows[i].value);
  }
  return rows;
}

// A failed tree: the character that could not be inserted, or memory.
[[noreturn]] void tree_failed(const Charmap &cm, size_t bad) {
  if (bad < cm.chars.size())
    throw Error(cm.path, 0, "<" + cm.chars[bad].name + "> cannot be a character: another one is a prefix of it, or it of another");
  throw Error("out of memory building a tree");
}

// ---- sections ---------------------------------------------------------------------------------

std::string ctype_section(const Charmap &cm, const CtypeResult &ct, bool compress) {
  lcow::Ctype c;
  c.compress = compress;
  c.class_rows = char_rows(cm, [&](size_t i, uint16_t &v) {
    v = ct.mask[i];
    return true;
  });
  for (size_t b = 0; b < ct.classes.size(); ++b) c.classes.push_back({static_cast<uint32_t>(b), ct.classes[b]});

  // Case pairs: one row per distinct (upper, lower), row 0 meaning none.
  std::map<std::pair<uint32_t, uint32_t>, uint16_t> rows;
  std::vector<uint16_t> index(cm.chars.size(), 0);
  double expansion = 1.0;
  for (size_t i = 0; i < cm.chars.size(); ++i) {
    uint32_t up = ct.upper[i] >= 0 ? wide_of(cm.chars[static_cast<size_t>(ct.upper[i])].bytes) : 0;
    uint32_t lo = ct.lower[i] >= 0 ? wide_of(cm.chars[static_cast<size_t>(ct.lower[i])].bytes) : 0;
    if (!up && !lo) continue;
    for (long t : {ct.upper[i], ct.lower[i]})
      if (t >= 0)
        expansion = std::max(expansion, static_cast<double>(cm.chars[static_cast<size_t>(t)].bytes.size()) /
                                            static_cast<double>(cm.chars[i].bytes.size()));
    auto key = std::make_pair(up, lo);
    auto it = rows.find(key);
    if (it == rows.end()) {
      if (c.pairs.size() >= 0xFFFF) throw Error(cm.path, 0, "too many case pairs for 16-bit indexes");
      c.pairs.push_back(key);
      it = rows.emplace(key, static_cast<uint16_t>(c.pairs.size())).first;
    }
    index[i] = it->second;
  }
  c.case_rows = char_rows(cm, [&](size_t i, uint16_t &v) {
    v = index[i];
    return true;
  });
  char buf[40];
  snprintf(buf, sizeof buf, " %g\n", expansion);
  c.tail = buf;
  std::string out;
  size_t bad = 0;
  if (!lcow::ctype_section(c, out, &bad)) tree_failed(cm, bad);
  return out;
}

// Collation by code value: every character has row 0, whose weight asks
// for the character's code to decide.
std::string code_value_collate_section(const Charmap &cm, bool compress) {
  std::string out = "as_specified\n";
  size_t bad = 0;
  if (!lcow::tree_text(char_rows(cm, [](size_t, uint16_t &) { return false; }), compress, out, &bad))
    tree_failed(cm, bad);
  out += "1\n";                // codeset_order
  out += "0 1 0 0 32770\n";    // max_row, passes, elements, expansions, max_weight
  out += "0001\n";             // one forward pass
  out += " 8002\n";            // row 0: weight 2, ties broken by the code
  return out;
}

std::string group_item(const Statement *st, const char *name) {
  if (!st) return "0\n";
  std::vector<long> g = numbers_of(*st);
  if (g.size() > 15) throw Error(st->file, st->line, std::string(name) + " has more than 15 sizes");
  // A first size of 0 or -1 means no grouping (el_GR's "0;0"); later, -1
  // ends the grouping (CHAR_MAX).
  if (!g.empty() && g[0] <= 0) return "0\n";
  for (long &v : g) v = v < 0 ? 127 : v;
  return lcow::group_item(g);
}

std::string one_string(const Keywords &kw, const char *key, const Encoder &enc, const std::string &fallback = "") {
  const Statement *st = kw.get(key);
  if (!st) return str_item(fallback);
  auto s = strings_of(*st);
  if (s.size() != 1) throw Error(st->file, st->line, std::string(key) + " expects one string");
  return str_item(enc(s[0], *st));
}

std::string numeric_section(const Keywords &kw, const Encoder &enc) {
  std::string out = one_string(kw, "decimal_point", enc, ".");
  out += one_string(kw, "thousands_sep", enc);
  out += group_item(kw.get("grouping"), "grouping");
  // The number signs are not part of POSIX sources: "" and "-" unless the
  // source names them.
  out += one_string(kw, "num_positive_sign", enc, "");
  out += one_string(kw, "num_negative_sign", enc, "-");
  return out;
}

std::string monetary_section(const Keywords &kw, const Encoder &enc) {
  std::string out;
  for (const char *k : {"int_curr_symbol", "currency_symbol", "mon_decimal_point", "mon_thousands_sep"})
    out += one_string(kw, k, enc);
  out += group_item(kw.get("mon_grouping"), "mon_grouping");
  out += one_string(kw, "positive_sign", enc);
  out += one_string(kw, "negative_sign", enc);
  for (const char *k : {"int_frac_digits", "frac_digits", "p_cs_precedes", "p_sep_by_space", "n_cs_precedes",
                        "n_sep_by_space", "p_sign_posn", "n_sign_posn"}) {
    long v = VL_ABSENT_INT;
    if (const Statement *st = kw.get(k)) {
      auto n = numbers_of(*st);
      if (n.size() != 1) throw Error(st->file, st->line, std::string(k) + " expects one number");
      v = n[0] == -1 ? VL_ABSENT_INT : n[0];
    }
    out += std::to_string(v) + "\n";
  }
  return out;
}

std::string messages_section(const Keywords &kw, const Encoder &enc) {
  return one_string(kw, "yesexpr", enc) + one_string(kw, "noexpr", enc) + one_string(kw, "yesstr", enc) +
         one_string(kw, "nostr", enc);
}

// A date field of an era, yyyy/mm/dd, with its year made astronomical:
// the sources count the years before the common era from -1 (1 BC) with
// no year 0, the formatter's year arithmetic runs through 0. So -543 (the
// start of the Buddhist era) is written -542, and 2024 is its year 2567.
std::vector<CharRef> astronomical(std::vector<CharRef> field) {
  auto plain = [](const CharRef &c, char ch) { return c.ucs == static_cast<uint32_t>(ch) && c.bytes.empty(); };
  if (field.empty() || !plain(field[0], '-')) return field;
  size_t end = 1;
  long year = 0;
  while (end < field.size() && field[end].ucs >= '0' && field[end].ucs <= '9' && field[end].bytes.empty() &&
         year < 100000000)
    year = year * 10 + static_cast<long>(field[end++].ucs - '0');
  if (end == 1) return field;  // "-*": no date
  std::vector<CharRef> out;
  const std::string text = std::to_string(1 - year);
  for (char ch : text) {
    CharRef c;
    c.ucs = static_cast<unsigned char>(ch);
    out.push_back(c);
  }
  out.insert(out.end(), field.begin() + static_cast<long>(end), field.end());
  return out;
}

// An era of the source, direction:offset:start:end:name:format, becomes
// direction:offset:start:end:name:name2:format with the name repeated and
// the years of its dates astronomical.
std::vector<CharRef> era_string(const std::vector<CharRef> &in, const Statement &st) {
  std::vector<size_t> colons;
  for (size_t i = 0; i < in.size() && colons.size() < 5; ++i)
    if (in[i].ucs == ':' && in[i].bytes.empty()) colons.push_back(i);
  if (colons.size() < 5) throw Error(st.file, st.line, "an era needs six fields separated by \":\"");
  auto part = [&](size_t from, size_t to) {
    return std::vector<CharRef>(in.begin() + static_cast<long>(from), in.begin() + static_cast<long>(to));
  };
  std::vector<CharRef> out = part(0, colons[1] + 1);
  for (int f : {1, 2}) {
    const std::vector<CharRef> date = astronomical(part(colons[f] + 1, colons[f + 1]));
    out.insert(out.end(), date.begin(), date.end());
    out.push_back(in[colons[f + 1]]);
  }
  const std::vector<CharRef> names = part(colons[3] + 1, colons[4] + 1), rest = part(colons[4] + 1, in.size());
  out.insert(out.end(), names.begin(), names.end());
  out.insert(out.end(), names.begin(), names.end());
  out.insert(out.end(), rest.begin(), rest.end());
  return out;
}

// The calendars a time category can name, with the months of their
// longest year: the month lists hold that many names. A source chooses
// one with a `calendar` line (a name or a string); without it the dates
// are Gregorian.
struct CalendarRow {
  const char *name;
  size_t months;
};
constexpr CalendarRow kCalendars[] = {{"gregorian", 12}, {"hebrew", 13}, {"islamic", 12}, {"arabic", 12}};

const CalendarRow &calendar_of(const Keywords &kw) {
  const Statement *st = kw.get("calendar");
  if (!st) return kCalendars[0];
  std::string name;
  if (st->args.size() == 1 && st->args[0].kind == TokKind::Ident) {
    name = st->args[0].text;
  } else if (st->args.size() == 1 && st->args[0].kind == TokKind::String) {
    for (const auto &c : st->args[0].chars) {
      if (c.ucs == kNoUcs || c.ucs > 0x7F) throw Error(st->file, st->line, "calendar names a calendar in plain ASCII");
      name += static_cast<char>(c.ucs);
    }
  } else {
    throw Error(st->file, st->line, "calendar expects one name");
  }
  for (const auto &c : kCalendars)
    if (name == c.name) return c;
  throw Error(st->file, st->line, "unknown calendar \"" + name + "\" (gregorian, hebrew, islamic or arabic)");
}

std::string time_section(const Keywords &kw, const Encoder &enc) {
  const CalendarRow &cal = calendar_of(kw);
  std::string out = std::string(cal.name) + "\n";
  auto list = [&](const char *key, size_t want, bool counted) {
    const Statement *st = kw.get(key);
    std::vector<std::string> items;
    if (st) {
      for (const auto &s : strings_of(*st)) items.push_back(enc(s, *st));
      if (want && items.size() != want)
        throw Error(st->file, st->line, std::string(key) + " expects " + std::to_string(want) + " strings");
    } else if (want && !counted) {
      items.assign(want, "");
    }
    if (counted) return lcow::list_item(items);
    std::string o;
    for (const auto &i : items) o += str_item(i);
    return o;
  };
  out += list("abday", 7, false);
  out += list("day", 7, false);
  out += list("abmon", cal.months, true);
  out += list("mon", cal.months, true);
  out += one_string(kw, "d_t_fmt", enc);
  out += one_string(kw, "d_fmt", enc);
  out += one_string(kw, "t_fmt", enc);
  std::string am, pm;
  if (const Statement *st = kw.get("am_pm")) {
    auto s = strings_of(*st);
    if (s.size() != 2) throw Error(st->file, st->line, "am_pm expects two strings");
    am = enc(s[0], *st);
    pm = enc(s[1], *st);
  }
  out += str_item(am) + str_item(pm);
  out += one_string(kw, "t_fmt_ampm", enc);
  std::vector<std::string> eras;
  if (const Statement *st = kw.get("era"))
    for (const auto &s : strings_of(*st)) eras.push_back(enc(era_string(s, *st), *st));
  out += lcow::list_item(eras);
  out += one_string(kw, "era_d_fmt", enc);
  out += one_string(kw, "era_t_fmt", enc);
  out += one_string(kw, "era_d_t_fmt", enc);
  out += list("alt_digits", 0, true);
  return out;
}

// The values of a category that the source does not define: those of the
// POSIX locale.
const char *const kPosixSource =
    "comment_char %\n"
    "escape_char /\n"
    "LC_NUMERIC\n"
    "decimal_point \".\"\n"
    "thousands_sep \"\"\n"
    "grouping -1\n"
    "END LC_NUMERIC\n"
    "LC_MONETARY\n"
    "int_curr_symbol \"\"\n"
    "currency_symbol \"\"\n"
    "mon_decimal_point \"\"\n"
    "mon_thousands_sep \"\"\n"
    "mon_grouping -1\n"
    "positive_sign \"\"\n"
    "negative_sign \"\"\n"
    "END LC_MONETARY\n"
    "LC_TIME\n"
    "abday \"Sun\";\"Mon\";\"Tue\";\"Wed\";\"Thu\";\"Fri\";\"Sat\"\n"
    "day \"Sunday\";\"Monday\";\"Tuesday\";\"Wednesday\";\"Thursday\";\"Friday\";\"Saturday\"\n"
    "abmon \"Jan\";\"Feb\";\"Mar\";\"Apr\";\"May\";\"Jun\";\"Jul\";\"Aug\";\"Sep\";\"Oct\";\"Nov\";\"Dec\"\n"
    "mon \"January\";\"February\";\"March\";\"April\";\"May\";\"June\";\"July\";\"August\";\"September\";"
    "\"October\";\"November\";\"December\"\n"
    "d_t_fmt \"%a %b %e %H:%M:%S %Y\"\n"
    "d_fmt \"%m//%d//%y\"\n"
    "t_fmt \"%H:%M:%S\"\n"
    "am_pm \"AM\";\"PM\"\n"
    "t_fmt_ampm \"%I:%M:%S %p\"\n"
    "END LC_TIME\n"
    "LC_MESSAGES\n"
    "yesexpr \"^[yY]\"\n"
    "noexpr \"^[nN]\"\n"
    "yesstr \"\"\n"
    "nostr \"\"\n"
    "END LC_MESSAGES\n";

std::string base_name(const std::string &p) {
  size_t s = p.find_last_of('/');
  return s == std::string::npos ? p : p.substr(s + 1);
}

std::string find_charmap(const CompileOptions &opt) {
  struct stat st;
  auto exists = [&](const std::string &p) { return stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode); };
  if (opt.charmap.find('/') != std::string::npos) {
    if (exists(opt.charmap)) return opt.charmap;
    throw Error("charmap not found: " + opt.charmap);
  }
  std::vector<std::string> dirs = opt.charmap_dirs;
  dirs.push_back("/usr/share/i18n/charmaps");
  for (const auto &d : dirs)
    for (const char *ext : {"", ".gz"})
      if (exists(d + "/" + opt.charmap + ext)) return d + "/" + opt.charmap + ext;
  std::string where;
  for (const auto &d : dirs) where += " " + d;
  throw Error("charmap \"" + opt.charmap + "\" not found in:" + where);
}

// Checks the codeset name against the registry (or the built-in table) and,
// when the output is named like a shipped file (ll_tt/xxxx.lco), that the
// name is the one the library derives for the locale.
void check_names(const CompileOptions &opt, const std::string &codeset) {
  uint16_t num = VL_CS_NONE;
  if (!opt.registry.empty()) {
    FILE *f = fopen(opt.registry.c_str(), "r");
    if (!f) throw Error(opt.registry, 0, "cannot open the registry");
    fclose(f);
    num = vl_cs_name2cs_num(nullptr, codeset.c_str(), opt.registry.c_str());
    if (num == VL_CS_NONE) throw Error(opt.registry, 0, "the registry does not know the codeset \"" + codeset + "\"");
  } else {
    for (const vl_registry_pair *p = vls_canned_registry; p->name; ++p)
      if (codeset == p->name) {
        num = p->number;
        break;
      }
    if (num == VL_CS_NONE)
      warn(opt.output, 0, "codeset \"" + codeset + "\" is not in the built-in table; ship it in the registry");
  }
  if (num == VL_CS_NONE) return;
  // ll_tt/xxxx.lco
  std::string out = opt.output;
  size_t s = out.find_last_of('/');
  if (s == std::string::npos || s < 5) return;
  std::string file = out.substr(s + 1), dir = out.substr(s - 5, 5);
  if ((s > 5 && out[s - 6] != '/') || dir[2] != '_' || file.size() < 8 ||
      file.compare(file.size() - 4, 4, ".lco") != 0)
    return;
  char hex[8];
  snprintf(hex, sizeof hex, "%04x", num);
  if (file.compare(0, 4, hex) != 0)
    throw Error("output " + out + " does not match the codeset number of \"" + codeset + "\" (" + hex + ")");
  std::string lang = base_name(opt.locale);
  if (lang.size() >= 5 && lang[2] == '_') {
    std::string want = lang.substr(0, 5);
    for (auto &c : want) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    if (want != dir)
      throw Error("output " + out + " is not in the directory of locale " + lang + " (" + want + ")");
  }
}

}  // namespace

void compile(const CompileOptions &opt) {
  Charmap cm = read_charmap(find_charmap(opt));
  std::string codeset = opt.codeset.empty() ? library_codeset_name(cm) : opt.codeset;
  if (codeset.empty())
    throw Error(cm.path, 0, "no library codeset name for charmap \"" + cm.code_set_name + "\"; give one with --codeset");
  if (codeset.size() > 19) throw Error("codeset name \"" + codeset + "\" is longer than 19 characters");
  for (char c : codeset)
    if (isupper(static_cast<unsigned char>(c)) || isspace(static_cast<unsigned char>(c)))
      throw Error("codeset name \"" + codeset + "\" must be lower case without blanks");
  check_names(opt, codeset);

  std::vector<std::string> dirs = opt.include_dirs;
  dirs.push_back("/usr/share/i18n/locales");
  SourceSet src(dirs);
  std::string top = src.resolve(opt.locale, "");

  // The POSIX values stand in for categories that the source lacks.
  const std::string posix = "<posix>";
  src.add_text(posix, kPosixSource);
  std::vector<Statement> sts[CAT_COUNT];
  for (int c = 0; c < CAT_COUNT; ++c) {
    Category cat = static_cast<Category>(c);
    if (src.has_category(top, cat)) sts[c] = src.category(top, cat);
    else if (cat != CAT_CTYPE && cat != CAT_COLLATE) sts[c] = src.category(posix, cat);
  }

  CtypeResult ct = build_ctype(cm, sts[CAT_CTYPE], top);
  Translit tr(src, sts[CAT_CTYPE]);
  Encoder enc{cm, tr};
  bool compress = !opt.uncompressed;

  std::vector<std::string> info = {"SOURCE=" + base_name(top), "CHARMAP=" + cm.code_set_name,
                                   "GENERATOR=vls-localedef " VLS_VERSION};
  for (auto &l : info) l = l.substr(0, 120);
  std::string text = lcow::header(codeset, info);
  text += "### LC_CTYPE\n" + ctype_section(cm, ct, compress);
  // A source without LC_COLLATE collates by code value, as the POSIX locale.
  if (src.has_category(top, CAT_COLLATE)) {
    CollateReport rep;
    text += "### LC_COLLATE\n" + collate_section(cm, sts[CAT_COLLATE], compress, &rep);
    if (g_verbose) {
      std::string v;
      for (long n : rep.values) v += " " + std::to_string(n);
      warn(top, 0, "collation: " + std::to_string(rep.passes) + " passes, weights" + v + ", " +
                       std::to_string(rep.rows) + " rows, " + std::to_string(rep.expansions) + " expansions, " +
                       std::to_string(rep.elements) + " elements, " + std::to_string(rep.undefined) +
                       " undefined, " + std::to_string(rep.unknown_weights) + " unknown weights, " +
                       std::to_string(rep.composite) + "+" + std::to_string(rep.element_composite) +
                       " composite weights, " + std::to_string(rep.exp_cut) + " expansions cut, folded " + std::to_string(rep.folded_lossless) + " exact and " +
                       std::to_string(rep.folded_lossy) + " inexact");
    }
  } else {
    text += "### LC_COLLATE\n" + code_value_collate_section(cm, compress);
  }
  text += "### LC_NUMERIC\n" + numeric_section(Keywords(sts[CAT_NUMERIC]), enc);
  text += "### LC_MONETARY\n" + monetary_section(Keywords(sts[CAT_MONETARY]), enc);
  text += "### LC_TIME\n" + time_section(Keywords(sts[CAT_TIME]), enc);
  text += "### LC_MESSAGES\n" + messages_section(Keywords(sts[CAT_MESSAGES]), enc);

  // Write next to the target and rename, so that a failed run leaves no
  // half-written file behind.
  std::string tmp = opt.output + ".tmp";
  FILE *f = fopen(tmp.c_str(), "wb");
  if (!f) throw Error(opt.output, 0, std::string("cannot write: ") + strerror(errno));
  bool ok = fwrite(text.data(), 1, text.size(), f) == text.size();
  ok = (fclose(f) == 0) && ok;
  if (!ok || rename(tmp.c_str(), opt.output.c_str()) != 0) {
    unlink(tmp.c_str());
    throw Error(opt.output, 0, std::string("cannot write: ") + strerror(errno));
  }
}

}  // namespace ldef
