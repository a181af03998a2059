// The charmap reader: header, CHARMAP (single entries and ranges), WIDTH,
// WIDTH_DEFAULT. WIDTH_VARIABLE is read over.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>

#include <zlib.h>

#include "ldef.h"

namespace ldef {

bool g_verbose = false;
bool g_quiet = false;

void warn(const std::string &file, int line, const std::string &msg) {
  if (g_quiet) return;
  std::cerr << "vls-localedef: warning: " << file;
  if (line > 0) std::cerr << ":" << line;
  std::cerr << ": " << msg << "\n";
}

// The whole file; gzip data (Debian ships its charmaps as ".gz") is
// inflated on the way in, plain files come through unchanged.
std::string read_file(const std::string &path) {
  gzFile f = gzopen(path.c_str(), "rb");
  if (!f) throw Error(path, 0, std::string("cannot open: ") + strerror(errno ? errno : ENOMEM));
  gzbuffer(f, 1 << 16);
  std::string data;
  char buf[65536];
  int n;
  while ((n = gzread(f, buf, sizeof buf)) > 0) data.append(buf, static_cast<size_t>(n));
  int err = Z_OK;
  const char *why = n < 0 ? gzerror(f, &err) : nullptr;
  std::string reason = why ? why : "";
  gzclose(f);
  if (n < 0) throw Error(path, 0, err == Z_ERRNO ? std::string("read error: ") + strerror(errno)
                                                 : "cannot inflate the file: " + reason);
  return data;
}

uint32_t ucs_of_name(const std::string &name) {
  if (name.size() < 5 || name.size() > 9 || name[0] != 'U') return kNoUcs;
  uint32_t v = 0;
  for (size_t i = 1; i < name.size(); ++i) {
    int c = static_cast<unsigned char>(name[i]);
    if (!isxdigit(c)) return kNoUcs;
    v = v * 16 + static_cast<uint32_t>(isdigit(c) ? c - '0' : (tolower(c) - 'a' + 10));
  }
  return v <= 0x10FFFF ? v : kNoUcs;
}

const CharmapEntry *Charmap::find_ucs(uint32_t ucs) const {
  auto it = by_ucs.find(ucs);
  return it == by_ucs.end() ? nullptr : &chars[it->second];
}

const CharmapEntry *Charmap::find(const CharRef &ref) const {
  if (!ref.bytes.empty()) {
    auto it = by_bytes.find(ref.bytes);
    return it == by_bytes.end() ? nullptr : &chars[it->second];
  }
  if (!ref.name.empty()) {
    auto it = by_name.find(ref.name);
    if (it != by_name.end()) return &chars[it->second];
  }
  if (ref.ucs != kNoUcs) return find_ucs(ref.ucs);
  return nullptr;
}

int Charmap::max_length() const {
  int m = 0;
  for (const auto &c : chars) m = std::max(m, static_cast<int>(c.bytes.size()));
  return m;
}

namespace {

struct LineReader {
  const std::string &text;
  size_t pos = 0;
  int lineno = 0;
  bool next(std::string &line) {
    if (pos >= text.size()) return false;
    size_t e = text.find('\n', pos);
    if (e == std::string::npos) e = text.size();
    line.assign(text, pos, e - pos);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    pos = e + 1;
    ++lineno;
    return true;
  }
};

std::string trim(const std::string &s) {
  size_t a = 0, b = s.size();
  while (a < b && isspace(static_cast<unsigned char>(s[a]))) ++a;
  while (b > a && isspace(static_cast<unsigned char>(s[b - 1]))) --b;
  return s.substr(a, b - a);
}

// Splits "<a>..<b> rest" into names, the ellipsis and the rest; gives
// false when the line does not start with a symbolic name.
bool split_names(const std::string &line, char esc, std::string &n1, std::string &ell, std::string &n2,
                 std::string &rest) {
  size_t i = 0;
  while (i < line.size() && isspace(static_cast<unsigned char>(line[i]))) ++i;
  auto symbol = [&](std::string &out) {
    if (i >= line.size() || line[i] != '<') return false;
    ++i;
    out.clear();
    while (i < line.size() && line[i] != '>') {
      if (line[i] == esc && i + 1 < line.size()) ++i;
      out += line[i++];
    }
    if (i >= line.size()) return false;
    ++i;
    return true;
  };
  if (!symbol(n1)) return false;
  ell.clear();
  n2.clear();
  size_t d = i;
  while (d < line.size() && line[d] == '.') ++d;
  if (d - i >= 2) {
    ell = line.substr(i, d - i);
    i = d;
    if (!symbol(n2)) return false;
  }
  rest = line.substr(i);
  return true;
}

// Parses a run of escaped byte values (/x8e/xa1, /d142, /o216).
bool parse_bytes(const std::string &s, char esc, size_t &i, std::string &out) {
  out.clear();
  while (i < s.size() && isspace(static_cast<unsigned char>(s[i]))) ++i;
  while (i + 1 < s.size() && s[i] == esc) {
    char k = s[i + 1];
    int base = k == 'x' || k == 'X' ? 16 : k == 'd' || k == 'D' ? 10 : k == 'o' || k == 'O' ? 8 : 0;
    if (!base) break;
    size_t j = i + 2;
    unsigned v = 0;
    int digits = 0;
    int maxd = base == 16 ? 2 : 3;
    while (j < s.size() && digits < maxd) {
      int c = static_cast<unsigned char>(s[j]);
      int dv = isdigit(c) ? c - '0' : isxdigit(c) ? tolower(c) - 'a' + 10 : 99;
      if (dv >= base) break;
      v = v * base + dv;
      ++digits;
      ++j;
    }
    if (!digits || v > 255) return false;
    out += static_cast<char>(v);
    i = j;
  }
  return !out.empty();
}

// The numeric part at the end of a symbolic name, for ranges.
bool name_suffix(const std::string &name, int base, std::string &prefix, uint64_t &value, size_t &width) {
  size_t k = name.size();
  while (k > 0 && (base == 16 ? isxdigit(static_cast<unsigned char>(name[k - 1]))
                              : isdigit(static_cast<unsigned char>(name[k - 1]))))
    --k;
  if (k == name.size()) return false;
  // A hexadecimal suffix must not swallow the letter of a prefix such as "U".
  if (base == 16 && k == 0 && name.size() > 1 && (name[0] == 'U' || name[0] == 'u')) k = 1;
  if (base == 16 && k == 0) return false;
  prefix = name.substr(0, k);
  width = name.size() - k;
  if (width > 12) return false;
  value = std::stoull(name.substr(k), nullptr, base);
  return true;
}

std::string make_name(const std::string &prefix, uint64_t v, size_t width, int base) {
  char buf[32];
  snprintf(buf, sizeof buf, base == 16 ? "%0*llX" : "%0*llu", static_cast<int>(width),
           static_cast<unsigned long long>(v));
  return prefix + buf;
}

bool increment(std::string &bytes) {
  for (size_t k = bytes.size(); k-- > 0;) {
    unsigned char c = static_cast<unsigned char>(bytes[k]);
    if (c != 0xFF) {
      bytes[k] = static_cast<char>(c + 1);
      return true;
    }
    bytes[k] = 0;
  }
  return false;
}

std::string utf8_encode(uint32_t u) {
  std::string o;
  if (u < 0x80) {
    o += static_cast<char>(u);
  } else if (u < 0x800) {
    o += static_cast<char>(0xC0 | (u >> 6));
    o += static_cast<char>(0x80 | (u & 0x3F));
  } else if (u < 0x10000) {
    o += static_cast<char>(0xE0 | (u >> 12));
    o += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
    o += static_cast<char>(0x80 | (u & 0x3F));
  } else {
    o += static_cast<char>(0xF0 | (u >> 18));
    o += static_cast<char>(0x80 | ((u >> 12) & 0x3F));
    o += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
    o += static_cast<char>(0x80 | (u & 0x3F));
  }
  return o;
}

// Orders byte sequences as the WIDTH ranges walk them: shorter first.
bool seq_less(const std::string &a, const std::string &b) {
  if (a.size() != b.size()) return a.size() < b.size();
  return memcmp(a.data(), b.data(), a.size()) < 0;
}

}  // namespace

// Reads a charmap line by line: the header, then the CHARMAP, WIDTH and
// WIDTH_VARIABLE sections, each closed by END.
struct CharmapReader {
  struct WidthRule {
    std::string from, to;
    int width;
    int line;
  };
  enum State { HEAD, MAP, WIDTH, SKIP };

  const std::string &path;
  Charmap cm;
  std::string text;
  LineReader lr{text};
  char comment = '#', esc = '\\';
  State state = HEAD;
  std::vector<WidthRule> rules;
  bool saw_charmap = false;

  explicit CharmapReader(const std::string &p) : path(p), text(read_file(p)) { cm.path = p; }

  void read() {
    std::string line;
    while (lr.next(line)) {
      std::string t = trim(line);
      if (t.empty()) continue;
      if (t[0] == comment) {
        // "% alias NAME" comments name the charmap's other names.
        std::istringstream is(t.substr(1));
        std::string w, a;
        if (is >> w >> a && w == "alias") cm.aliases.push_back(a);
        continue;
      }
      std::istringstream is(t);
      std::string w1;
      is >> w1;
      if (state == HEAD)
        header(w1, is);
      else if (w1 == "END")
        end_section(is);
      else if (state != SKIP)
        entry(t);
    }
    if (!saw_charmap) throw Error(path, 0, "no CHARMAP section");
    if (state != HEAD) throw Error(path, lr.lineno, "section not closed by END");
    if (cm.code_set_name.empty()) throw Error(path, 0, "no <code_set_name>");
    if (cm.chars.empty()) throw Error(path, 0, "the charmap defines no characters");
  }

  // A header keyword and its value, or the start of a section.
  void header(const std::string &w1, std::istringstream &is) {
    std::string v;
    is >> v;
    if (w1 == "<code_set_name>") {
      cm.code_set_name = v;
    } else if (w1 == "<comment_char>") {
      if (v.empty()) throw Error(path, lr.lineno, "<comment_char> needs a character");
      comment = v[0];
    } else if (w1 == "<escape_char>") {
      if (v.empty()) throw Error(path, lr.lineno, "<escape_char> needs a character");
      esc = v[0];
    } else if (w1 == "<mb_cur_max>" || w1 == "<mb_cur_min>") {
      char *end = nullptr;
      long n = strtol(v.c_str(), &end, 10);
      if (v.empty() || *end || n < 1 || n > 6) throw Error(path, lr.lineno, "bad value for " + w1);
      (w1 == "<mb_cur_max>" ? cm.mb_cur_max : cm.mb_cur_min) = static_cast<int>(n);
    } else if (w1 == "CHARMAP") {
      state = MAP;
      saw_charmap = true;
    } else if (w1 == "WIDTH_DEFAULT") {
      cm.width_default = atoi(v.c_str());
    } else if (w1 == "WIDTH") {
      state = WIDTH;
    } else if (w1 == "WIDTH_VARIABLE") {
      state = SKIP;
    } else if (w1[0] == '<') {
      // Other header keywords (<code_set_alias> ...) carry nothing for us.
      if (w1 == "<code_set_alias>" && !v.empty()) cm.aliases.push_back(v);
    } else {
      throw Error(path, lr.lineno, "unexpected text in the charmap header: " + w1);
    }
  }

  void end_section(std::istringstream &is) {
    std::string what;
    is >> what;
    if ((state == MAP && what != "CHARMAP") || (state == WIDTH && what != "WIDTH") ||
        (state == SKIP && what != "WIDTH_VARIABLE"))
      throw Error(path, lr.lineno, "END " + what + " does not close the open section");
    state = HEAD;
  }

  // A WIDTH rule, or a CHARMAP entry: one name, or a range of names.
  void entry(const std::string &t) {
    std::string n1, ell, n2, rest;
    if (!split_names(t, esc, n1, ell, n2, rest)) throw Error(path, lr.lineno, "expected a symbolic name");
    if (state == WIDTH) {
      std::istringstream ws(rest);
      int width;
      if (!(ws >> width) || width < 0) throw Error(path, lr.lineno, "expected a width");
      rules.push_back({n1, ell.empty() ? n1 : n2, width, lr.lineno});
      return;
    }
    size_t i = 0;
    std::string bytes;
    if (!parse_bytes(rest, esc, i, bytes)) throw Error(path, lr.lineno, "expected the bytes of <" + n1 + ">");
    if (ell.empty()) {
      add(n1, bytes);
      return;
    }
    int base = ell == ".." ? 16 : 10;
    std::string p1, p2;
    uint64_t v1, v2;
    size_t w1n, w2n;
    if (!name_suffix(n1, base, p1, v1, w1n) || !name_suffix(n2, base, p2, v2, w2n) || p1 != p2 || v2 < v1)
      throw Error(path, lr.lineno, "bad range <" + n1 + ">" + ell + "<" + n2 + ">");
    if (v2 - v1 > 0x110000) throw Error(path, lr.lineno, "range too large");
    // A range of Unicode names whose first bytes are the UTF-8 form of the
    // first code point runs on in UTF-8, whose trailing bytes stay within
    // 0x80..0xBF; any other range counts its bytes up as one number.
    bool utf8 = (p1 == "U" || p1 == "u") && base == 16 && utf8_encode(static_cast<uint32_t>(v1)) == bytes;
    for (uint64_t v = v1; v <= v2; ++v) {
      add(make_name(p1, v, w1n, base), utf8 ? utf8_encode(static_cast<uint32_t>(v)) : bytes);
      if (!utf8 && v != v2 && !increment(bytes)) throw Error(path, lr.lineno, "byte range overflows");
    }
  }

  // One character; a second name for the same bytes becomes an alias.
  void add(const std::string &name, const std::string &b) {
    if (b.size() > 4) {
      warn(path, lr.lineno, "<" + name + "> is longer than four bytes and is left out");
      return;
    }
    CharmapEntry e;
    e.bytes = b;
    e.name = name;
    e.ucs = ucs_of_name(name);
    e.width = -1;
    if (cm.by_bytes.count(b)) {
      size_t idx = cm.by_bytes[b];
      cm.by_name.emplace(name, idx);
      if (e.ucs != kNoUcs) cm.by_ucs.emplace(e.ucs, idx);
      return;
    }
    size_t idx = cm.chars.size();
    cm.chars.push_back(e);
    cm.by_bytes.emplace(b, idx);
    cm.by_name.emplace(name, idx);
    if (e.ucs != kNoUcs) cm.by_ucs.emplace(e.ucs, idx);
  }

  // Widths: a rule covers every byte sequence between the bytes of its two
  // ends, shorter sequences first; later rules win.
  void apply_widths() {
    for (auto &c : cm.chars) c.width = cm.width_default;
    if (rules.empty()) return;
    // Sorted by a key that orders as seq_less does (length, then bytes) for
    // sequences of up to 7 bytes; longer ones compare their bytes.
    auto key = [](const std::string &b) {
      uint64_t k = uint64_t{std::min<size_t>(b.size(), 8)} << 56;
      for (size_t i = 0; i < b.size() && i < 7; ++i) k |= uint64_t{static_cast<unsigned char>(b[i])} << (48 - 8 * i);
      return k;
    };
    std::vector<std::pair<uint64_t, size_t>> keyed(cm.chars.size());
    for (size_t k = 0; k < keyed.size(); ++k) keyed[k] = {key(cm.chars[k].bytes), k};
    std::sort(keyed.begin(), keyed.end(), [&](const auto &a, const auto &b) {
      if (a.first != b.first) return a.first < b.first;
      return a.first >> 56 == 8 ? seq_less(cm.chars[a.second].bytes, cm.chars[b.second].bytes) : a.second < b.second;
    });
    std::vector<size_t> order(keyed.size());
    for (size_t k = 0; k < order.size(); ++k) order[k] = keyed[k].second;
    for (const auto &r : rules) {
      const CharmapEntry *from = cm.find(CharRef{ucs_of_name(r.from), r.from, {}});
      const CharmapEntry *to = cm.find(CharRef{ucs_of_name(r.to), r.to, {}});
      if (!from || !to) {
        if (g_verbose) warn(path, r.line, "width given for a character the charmap lacks");
        continue;
      }
      auto lo = std::lower_bound(order.begin(), order.end(), from->bytes,
                                 [&](size_t a, const std::string &b) { return seq_less(cm.chars[a].bytes, b); });
      for (auto it = lo; it != order.end() && !seq_less(to->bytes, cm.chars[*it].bytes); ++it)
        cm.chars[*it].width = r.width;
    }
  }
};

Charmap read_charmap(const std::string &path) {
  CharmapReader r(path);
  r.read();
  r.apply_widths();
  return std::move(r.cm);
}

}  // namespace ldef
