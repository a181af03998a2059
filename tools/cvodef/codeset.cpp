// The codesets of a pair: a POSIX charmap (read by the locale compiler's
// reader), fixed-width Unicode synthesized without a charmap (UCS-2LE,
// UCS-4LE), or a stateful codeset described in a ".desc" file on top of a
// charmap (docs/cvodef.md).
#include <algorithm>
#include <cctype>
#include <fstream>
#include <iostream>
#include <sstream>
#include <sys/stat.h>

#include "cvodef.h"
#include "ldef.h"

namespace cvodef {

using ldef::Error;

bool g_verbose = false, g_quiet = false;

void warn(const std::string &msg) {
  if (!g_quiet) std::cerr << "vls-cvodef: warning: " << msg << "\n";
}

const Char *Codeset::find(uint32_t ucs, Char &scratch) const {
  if (unicode) {
    if (ucs == kNone || (ucs >= 0xD800 && ucs <= 0xDFFF) || ucs > (unicode == 2 ? 0xFFFFu : 0x10FFFFu))
      return nullptr;
    scratch.bytes.clear();
    for (int k = unicode - 1; k >= 0; --k) scratch.bytes += static_cast<char>((ucs >> (8 * k)) & 0xFF);
    scratch.ucs = ucs;
    scratch.state = 0;
    return &scratch;
  }
  auto it = by_ucs.find(ucs);
  return it == by_ucs.end() ? nullptr : &chars[it->second];
}

namespace {

bool is_file(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string upper(std::string s) {
  for (auto &c : s) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return s;
}

std::string find_charmap(const Options &opt, const std::string &name) {
  if (name.find('/') != std::string::npos && is_file(name)) return name;
  std::vector<std::string> dirs = opt.charmap_dirs;
  dirs.push_back("/usr/share/i18n/charmaps");
  for (const auto &d : dirs)
    for (const char *ext : {"", ".gz"})
      if (is_file(d + "/" + name + ext)) return d + "/" + name + ext;
  if (is_file(name)) return name;
  std::string where;
  for (const auto &d : dirs) where += " " + d;
  throw Error("charmap \"" + name + "\" not found in:" + where);
}

void finish(Codeset &cs) {
  if (cs.chars.empty()) throw Error(cs.origin, 0, "the codeset has no characters");
  cs.min_len = 4;
  cs.max_len = 1;
  for (const auto &c : cs.chars) {
    cs.min_len = std::min(cs.min_len, static_cast<int>(c.bytes.size()));
    cs.max_len = std::max(cs.max_len, static_cast<int>(c.bytes.size()));
  }
  // The library takes any fixed width of 2 or 4 bytes for little-endian
  // Unicode (as a stateless side), so such a charmap cannot be converted.
  if (!cs.unicode && !cs.stateful && cs.min_len == cs.max_len && (cs.min_len == 2 || cs.min_len == 4))
    throw Error(cs.origin, 0, "every character has " + std::to_string(cs.min_len) +
                                  " bytes: the library would read the codeset as little-endian Unicode");
}

Codeset from_charmap(const Options &opt, const std::string &label) {
  ldef::Charmap cm = ldef::read_charmap(find_charmap(opt, label));
  Codeset cs;
  cs.label = label;
  cs.origin = cm.path;
  cs.name = ldef::library_codeset_name(cm);
  cs.chars.reserve(cm.chars.size());
  for (const auto &e : cm.chars) cs.chars.push_back({e.bytes, e.ucs, 0});
  cs.by_ucs.insert(cm.by_ucs.begin(), cm.by_ucs.end());
  return cs;
}

Codeset unicode_codeset(const std::string &label, int width) {
  Codeset cs;
  cs.label = label;
  cs.origin = "built in";
  cs.unicode = width;
  cs.name = width == 2 ? "unicode" : "ucs-4le";
  Char scratch;
  uint32_t top = width == 2 ? 0xFFFFu : 0x10FFFFu;
  cs.chars.reserve(top + 1);
  for (uint32_t u = 0; u <= top; ++u)
    if (const Char *c = cs.find(u, scratch)) cs.chars.push_back(*c);
  return cs;
}

// "/x1b/x24" (also /dNNN, /oNNN) into bytes.
std::string parse_seq(const std::string &file, int line, const std::string &t) {
  std::string out;
  size_t i = 0;
  while (i < t.size()) {
    if (t[i] != '/' || i + 1 >= t.size()) throw Error(file, line, "bad byte sequence \"" + t + "\"");
    char k = static_cast<char>(tolower(static_cast<unsigned char>(t[i + 1])));
    int base = k == 'x' ? 16 : k == 'd' ? 10 : k == 'o' ? 8 : 0;
    size_t j = i + 2, digits = 0;
    unsigned v = 0;
    while (base && j < t.size() && digits < (base == 16 ? 2u : 3u) && isxdigit(static_cast<unsigned char>(t[j]))) {
      unsigned d = isdigit(static_cast<unsigned char>(t[j])) ? t[j] - '0' : tolower(t[j]) - 'a' + 10;
      if (d >= static_cast<unsigned>(base)) break;
      v = v * base + d;
      ++j, ++digits;
    }
    if (!digits || v > 255) throw Error(file, line, "bad byte sequence \"" + t + "\"");
    out += static_cast<char>(v);
    i = j;
  }
  if (out.size() > 4) throw Error(file, line, "a sequence has at most four bytes");
  return out;
}

// A stateful codeset: its sequences, and the characters of each state taken
// from a base charmap (those of a given length whose bytes lie in a range,
// each byte masked).
Codeset from_desc(const Options &opt, const std::string &label, const std::string &path) {
  std::ifstream in(path);
  if (!in) throw Error(path, 0, "cannot open");
  Codeset cs;
  cs.label = label;
  cs.origin = path;
  cs.stateful = true;
  std::string base, line;
  struct Rule {
    int state, length;
    unsigned first, last, mask;
  };
  std::vector<Rule> rules;
  for (int lineno = 1; std::getline(in, line); ++lineno) {
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.resize(hash);
    std::istringstream is(line);
    std::string key, v1, v2, v3;
    if (!(is >> key)) continue;
    is >> v1 >> v2 >> v3;
    if (v1.empty()) throw Error(path, lineno, key + " needs a value");
    if (key == "name") cs.name = v1;
    else if (key == "base") base = v1;
    else if (key == "enter") cs.seq[0] = parse_seq(path, lineno, v1);
    else if (key == "leave") cs.seq[1] = parse_seq(path, lineno, v1);
    else if (key == "designate") cs.seq[2] = parse_seq(path, lineno, v1);
    else if (key == "state") {
      std::string v4, v5;
      is >> v4 >> v5;
      std::string lo = parse_seq(path, lineno, v3), hi = parse_seq(path, lineno, v4), m = parse_seq(path, lineno, v5);
      int st = atoi(v1.c_str()), len = atoi(v2.c_str());
      if ((v1 != "0" && v1 != "1") || len < 1 || len > 4 || m.size() != 1 || lo.size() != 1 || hi.size() != 1)
        throw Error(path, lineno, "expected: state 0|1 LENGTH /xFIRST /xLAST /xMASK");
      rules.push_back({st, len, static_cast<unsigned char>(lo[0]), static_cast<unsigned char>(hi[0]),
                       static_cast<unsigned char>(m[0])});
    } else {
      throw Error(path, lineno, "unknown keyword " + key);
    }
  }
  if (cs.name.empty() || base.empty() || rules.empty() || cs.seq[0].empty() || cs.seq[1].empty())
    throw Error(path, 0, "a description needs name, base, enter, leave and state lines");
  ldef::Charmap cm = ldef::read_charmap(find_charmap(opt, base));
  for (const auto &r : rules) {
    std::unordered_map<std::string, bool> seen;
    for (const auto &e : cm.chars) {
      if (static_cast<int>(e.bytes.size()) != r.length) continue;
      std::string b = e.bytes;
      bool inside = true;
      for (auto &c : b) {
        unsigned v = static_cast<unsigned char>(c);
        inside = inside && v >= r.first && v <= r.last;
        c = static_cast<char>(v & r.mask);
      }
      if (!inside) continue;
      if (seen.emplace(b, true).second) cs.chars.push_back({b, e.ucs, r.state});
    }
  }
  for (size_t i = 0; i < cs.chars.size(); ++i)
    if (cs.chars[i].ucs != kNone) cs.by_ucs.emplace(cs.chars[i].ucs, i);
  return cs;
}

}  // namespace

Codeset load_codeset(const Options &opt, const std::string &label, const std::string &name_override) {
  Codeset cs;
  std::string u = upper(label);
  if (u == "UCS-2LE" || u == "UCS-4LE") {
    cs = unicode_codeset(label, u == "UCS-2LE" ? 2 : 4);
  } else {
    std::string desc;
    if (label.size() > 5 && label.compare(label.size() - 5, 5, ".desc") == 0 && is_file(label)) desc = label;
    for (size_t i = 0; desc.empty() && i < opt.desc_dirs.size(); ++i)
      if (is_file(opt.desc_dirs[i] + "/" + label + ".desc")) desc = opt.desc_dirs[i] + "/" + label + ".desc";
    cs = desc.empty() ? from_charmap(opt, label) : from_desc(opt, label, desc);
  }
  if (!name_override.empty()) cs.name = name_override;
  if (cs.name.empty())
    throw Error(cs.origin, 0, "no library codeset name for \"" + label + "\"; give one with --from-name/--to-name");
  finish(cs);
  return cs;
}

}  // namespace cvodef
