#include "lcofix.h"

#include "timefix.h"
#include "vlstest.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

namespace vlstest {

namespace {

vl_desc_t to_desc(const std::string &bytes) {
  vl_desc_t d{};
  d.length = static_cast<uint32_t>(bytes.size());
  for (size_t i = 0; i < bytes.size() && i < 4; ++i) d.bytes[i] = static_cast<unsigned char>(bytes[i]);
  return d;
}

std::string b1(unsigned a) { return std::string(1, static_cast<char>(a)); }
std::string b2(unsigned a, unsigned b) { return std::string{static_cast<char>(a), static_cast<char>(b)}; }

uint16_t ascii_mask(unsigned c) {
  uint16_t m = 0;
  if (c < 32 || c == 127) m |= M_CNTRL;
  if (c == ' ' || c == '\t') m |= M_BLANK;
  if (c == ' ' || (c >= '\t' && c <= '\r')) m |= M_SPACE;
  if (c >= 'A' && c <= 'Z') m |= M_UPPER | M_ALPHA;
  if (c >= 'a' && c <= 'z') m |= M_LOWER | M_ALPHA;
  if (c >= '0' && c <= '9') m |= M_DIGIT;
  if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) m |= M_XDIGIT;
  if (c > 32 && c < 127) {
    m |= M_GRAPH | M_PRINT;
    if (!(m & (M_ALPHA | M_DIGIT))) m |= M_PUNCT;
  }
  if (c == ' ') m |= M_PRINT;
  return m;
}

struct Trees {
  multi_t *ctype = nullptr;
  multi_t *cases = nullptr;
  vl_case_pair *pairs = nullptr;
  int32_t npairs = 0;
};

bool build(const CtypeSpec &s, Trees &t, bool compress) {
  const uint16_t zero = 0;
  t.ctype = _vl_create_multi(2, 0, &zero);
  t.cases = _vl_create_multi(2, 0, &zero);
  if (!t.ctype || !t.cases) return false;
  for (const auto &c : s.chars) {
    vl_desc_t d = to_desc(c.bytes);
    if (_vl_insert_desc_multi(&d, &c.mask, t.ctype) != 0) return false;
  }
  t.npairs = static_cast<int32_t>(s.cases.size());
  t.pairs = static_cast<vl_case_pair *>(_vl_alloc_ptr((s.cases.size() + 1) * sizeof(vl_case_pair)));
  if (!t.pairs) return false;
  memset(t.pairs, 0, (s.cases.size() + 1) * sizeof(vl_case_pair));
  const uint16_t none = 0;
  for (const auto &c : s.chars) {  // every character has a row; 0 is no mapping
    vl_desc_t d = to_desc(c.bytes);
    if (_vl_insert_desc_multi(&d, &none, t.cases) != 0) return false;
  }
  uint16_t i = 1;
  for (const auto &c : s.cases) {
    t.pairs[i] = {c.upper, c.lower};
    vl_desc_t d = to_desc(c.bytes);
    if (_vl_insert_desc_multi(&d, &i, t.cases) != 0) return false;
    ++i;
  }
  if (compress && (_vl_compress_multi(t.ctype) != 0 || _vl_compress_multi(t.cases) != 0)) return false;
  return true;
}



}  // namespace

CtypeSpec latin1_spec() {
  CtypeSpec s;
  s.codeset = "8859-1";
  for (unsigned c = 0; c < 256; ++c) {
    uint16_t m;
    if (c < 128) {
      m = ascii_mask(c);
    } else if (c < 160) {
      m = M_CNTRL;
    } else if (c == 160) {
      m = M_PRINT | M_SPACE | M_BLANK;
    } else if (c >= 0xC0 && c <= 0xDE && c != 0xD7) {
      m = M_UPPER | M_ALPHA | M_GRAPH | M_PRINT;
    } else if (c >= 0xDF && c != 0xF7) {
      m = M_LOWER | M_ALPHA | M_GRAPH | M_PRINT;
    } else {
      m = M_PUNCT | M_GRAPH | M_PRINT;
    }
    s.chars.push_back({b1(c), m});
  }
  for (unsigned c = 'A'; c <= 'Z'; ++c) {
    s.cases.push_back({b1(c), 0, c + 32});
    s.cases.push_back({b1(c + 32), c, 0});
  }
  for (unsigned c = 0xC0; c <= 0xDE; ++c) {
    if (c == 0xD7) continue;
    s.cases.push_back({b1(c), 0, c + 32});
    s.cases.push_back({b1(c + 32), c, 0});
  }
  s.expansion = "1.0\n";
  return s;
}

CtypeSpec euc_spec() {
  CtypeSpec s;
  s.codeset = "ujis";
  for (unsigned c = 0; c < 128; ++c) s.chars.push_back({b1(c), ascii_mask(c)});
  for (unsigned a = 0xA1; a <= 0xFE; ++a)
    for (unsigned b = 0xA1; b <= 0xFE; ++b) {
      uint16_t m = M_GRAPH | M_PRINT | M_LOCAL0;
      if (a == 0xA3 && b >= 0xC1 && b <= 0xDA) m |= M_UPPER | M_ALPHA;
      if (a == 0xA3 && b >= 0xE1 && b <= 0xFA) m |= M_LOWER | M_ALPHA;
      if (a == 0xA1 && b == 0xA1) m = M_SPACE | M_BLANK | M_PRINT | M_LOCAL0;  // ideographic space
      s.chars.push_back({b2(a, b), m});
    }
  for (unsigned b = 0xA1; b <= 0xDF; ++b) s.chars.push_back({b2(0x8E, b), M_GRAPH | M_PRINT});
  s.classes.push_back({0, "full_width"});
  for (unsigned c = 'A'; c <= 'Z'; ++c) {
    s.cases.push_back({b1(c), 0, c + 32});
    s.cases.push_back({b1(c + 32), c, 0});
  }
  for (unsigned b = 0xC1; b <= 0xDA; ++b) {
    s.cases.push_back({b2(0xA3, b), 0, 0xA300u + b + 0x20});
    s.cases.push_back({b2(0xA3, b + 0x20), 0xA300u + b, 0});
  }
  s.expansion = "\n";
  return s;
}

CtypeSpec wide2_spec() {
  CtypeSpec s;
  s.codeset = "ucs2ish";
  for (unsigned c = 0; c < 256; ++c) s.chars.push_back({b2(0, c), c < 128 ? ascii_mask(c) : uint16_t(M_PRINT | M_GRAPH)});
  for (unsigned c = 0; c < 256; ++c) s.chars.push_back({b2(0x30, c), uint16_t(M_PRINT | M_GRAPH | M_LOCAL0)});
  s.classes.push_back({0, "full_width"});
  for (unsigned c = 'A'; c <= 'Z'; ++c) {
    s.cases.push_back({b2(0, c), 0, c + 32});
    s.cases.push_back({b2(0, c + 32), c, 0});
  }
  s.expansion = "2.5\n";
  return s;
}

int install_ctype(vl_locale_t *h, const CtypeSpec &spec) {
  Trees t;
  if (!build(spec, t, true)) {
    _vl_free_multi(t.ctype);
    _vl_free_multi(t.cases);
    _vl_free_ptr(t.pairs);
    return -1;
  }
  vl_free_category(h, VL_LC_CTYPE);
  vl_make_null_category(h, VL_LC_CTYPE);
  _vl_free_multi(h->ctype.ctype_tree);
  _vl_free_multi(h->ctype.case_tree);
  h->ctype.ctype_tree = t.ctype;
  h->ctype.case_tree = t.cases;
  h->ctype.case_pairs = t.pairs;
  h->case_pair_count = t.npairs;
  h->ctype.class_count = static_cast<int32_t>(spec.classes.size());
  if (!spec.classes.empty()) {
    h->ctype.class_names = static_cast<vl_class_name *>(_vl_alloc_ptr(spec.classes.size() * sizeof(vl_class_name)));
    for (size_t i = 0; i < spec.classes.size(); ++i) {
      h->ctype.class_names[i].bit = spec.classes[i].first;
      h->ctype.class_names[i].name = static_cast<char *>(_vl_alloc_ptr(spec.classes[i].second.size() + 1));
      strcpy(h->ctype.class_names[i].name, spec.classes[i].second.c_str());
    }
  }
  const char *e = spec.expansion.c_str();
  h->case_expansion = (e[0] == '\n') ? 4.0 : atof(e);
  snprintf(h->codeset_names[0], sizeof h->codeset_names[0], "%s", spec.codeset.c_str());
  snprintf(h->locale_names[0], sizeof h->locale_names[0], "%s", "fixture.lco");
  return set_flags(h);
}

vl_locale_t *make_handle(const CtypeSpec &spec) {
  vl_locale_t *h = nullptr;
  if (vl_create_null_locale_4(&h) != 0) return nullptr;
  if (install_ctype(h, spec) != 0) {
    vl_lc_unload(h);
    return nullptr;
  }
  return h;
}

std::string ctype_section(const CtypeSpec &spec, bool compress) {
  Trees t;
  std::string out;
  if (build(spec, t, compress)) {
    out += print_tree(t.ctype, write_u16);
    out += std::to_string(spec.classes.size()) + "\n";
    for (const auto &c : spec.classes) out += std::to_string(c.first) + " " + c.second + "\n";
    out += print_tree(t.cases, write_u16);
    out += std::to_string(spec.cases.size());
    char buf[32];
    for (int32_t i = 1; i <= t.npairs; ++i) {
      snprintf(buf, sizeof buf, "\n%08x%08x", t.pairs[i].upper, t.pairs[i].lower);
      out += buf;
    }
    out += spec.expansion;
  }
  _vl_free_multi(t.ctype);
  _vl_free_multi(t.cases);
  _vl_free_ptr(t.pairs);
  return out;
}

std::string str_item(const std::string &bytes) {
  std::string out = std::to_string(bytes.size()) + " ";
  char hex[3];
  for (unsigned char c : bytes) {
    snprintf(hex, sizeof hex, "%02X", c);
    out += hex;
  }
  return out + "\n";
}

static std::string group_item(const std::vector<int> &g) {
  std::string out = std::to_string(g.size());
  for (int v : g) out += " " + std::to_string(v);
  return out + "\n";
}

std::string numeric_section(const NumericSpec &n) {
  return str_item(n.decimal_point) + str_item(n.thousands_sep) + group_item(n.grouping) +
         str_item(n.positive_sign) + str_item(n.negative_sign);
}

std::string monetary_section(const MonetarySpec &m) {
  std::string out = str_item(m.int_curr_symbol) + str_item(m.currency_symbol) + str_item(m.mon_decimal_point) +
                    str_item(m.mon_thousands_sep) + group_item(m.mon_grouping) + str_item(m.positive_sign) +
                    str_item(m.negative_sign);
  for (int v : m.ints) out += std::to_string(v) + "\n";
  return out;
}

std::string messages_section(const MessagesSpec &m) {
  return str_item(m.yesexpr) + str_item(m.noexpr) + str_item(m.yesstr) + str_item(m.nostr);
}

std::string lco_header(const std::string &codeset, const std::vector<std::string> &info) {
  std::string out = "FILE_TYPE=locale_object\nCOMPILER_VERSION=11\n";
  out += "HEADER_LINES=" + std::to_string(3 + info.size()) + "\n";
  for (const auto &l : info) out += l + "\n";
  return out + codeset + "\n";
}

std::string lco_text(const LocaleFile &f) {
  return lco_header(f.ctype.codeset, f.info) + "### LC_CTYPE\n" + ctype_section(f.ctype) + "### LC_COLLATE\n" +
         "### LC_NUMERIC\n" + numeric_section(f.numeric) + "### LC_MONETARY\n" + monetary_section(f.monetary) +
         "### LC_TIME\n" + time_section(TimeSpec{}) + "### LC_MESSAGES\n" + messages_section(f.messages);
}

std::string category_text(const std::string &codeset, int category, const std::string &section) {
  return lco_header(codeset) + category_markers[category] + section;
}

}  // namespace vlstest
