#include "lcofix.h"

#include "lcowriter.h"
#include "timefix.h"

namespace vlstest {

namespace {

std::string b1(unsigned a) { return std::string(1, static_cast<char>(a)); }
std::string b2(unsigned a, unsigned b) { return std::string{static_cast<char>(a), static_cast<char>(b)}; }

constexpr uint16_t kLetter = VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT, kShown = VL_CT_GRAPH | VL_CT_PRINT;

uint16_t ascii_mask(unsigned c) {
  uint16_t m = 0;
  if (c < 32 || c == 127) m |= VL_CT_CNTRL;
  if (c == ' ' || c == '\t') m |= VL_CT_BLANK;
  if (c == ' ' || (c >= '\t' && c <= '\r')) m |= VL_CT_SPACE;
  if (c >= 'A' && c <= 'Z') m |= VL_CT_UPPER | VL_CT_ALPHA;
  if (c >= 'a' && c <= 'z') m |= VL_CT_LOWER | VL_CT_ALPHA;
  if (c >= '0' && c <= '9') m |= VL_CT_DIGIT;
  if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) m |= VL_CT_XDIGIT;
  if (c > 32 && c < 127) m |= kShown | ((m & VL_CT_ALNUM) ? 0 : VL_CT_PUNCT);
  return c == ' ' ? m | VL_CT_PRINT : m;
}

// An upper case character `u` (wide value uw) and its lower case `l` (lw).
void add_case(CtypeSpec &s, const std::string &u, vl_wchar uw, const std::string &l, vl_wchar lw) {
  s.cases.push_back({u, 0, lw});
  s.cases.push_back({l, uw, 0});
}

std::vector<lcow::Row> class_rows(const CtypeSpec &s) {
  std::vector<lcow::Row> rows;
  for (const auto &c : s.chars) rows.push_back({c.bytes, c.mask});
  return rows;
}

// Every character has a row, 0 being no mapping; then the case pairs from 1.
std::vector<lcow::Row> case_rows(const CtypeSpec &s) {
  std::vector<lcow::Row> rows;
  for (const auto &c : s.chars) rows.push_back({c.bytes, 0});
  for (size_t i = 0; i < s.cases.size(); ++i) rows.push_back({s.cases[i].bytes, static_cast<uint16_t>(i + 1)});
  return rows;
}

}  // namespace

// Collation by code value: every character has row 0, one forward pass
// whose word ties on the code.
std::string collate_section(const CtypeSpec &s) {
  std::vector<lcow::Row> rows;
  for (const auto &c : s.chars) rows.push_back({c.bytes, 0});
  std::string out = "as_specified\n";
  lcow::tree_text(rows, true, out);
  return out + "1\n0 1 0 0 32770\n0001\n 8002\n";
}

CtypeSpec latin1_spec() {
  CtypeSpec s{"8859-1", {}, {}, {}, "1.0\n"};
  for (unsigned c = 0; c < 256; ++c) {
    uint16_t m = c < 128 ? ascii_mask(c) : c < 160 ? VL_CT_CNTRL : c == 160 ? VL_CT_PRINT | VL_CT_SPACE | VL_CT_BLANK
                 : c >= 0xC0 && c <= 0xDE && c != 0xD7 ? VL_CT_UPPER | kLetter
                 : c >= 0xDF && c != 0xF7 ? VL_CT_LOWER | kLetter : VL_CT_PUNCT | kShown;
    s.chars.push_back({b1(c), m});
  }
  for (unsigned c = 'A'; c <= 0xDE; c = c == 'Z' ? 0xC0 : c + 1)
    if (c != 0xD7) add_case(s, b1(c), c, b1(c + 32), c + 32);
  return s;
}

CtypeSpec euc_spec() {
  CtypeSpec s{"ujis", {}, {{0, "full_width"}}, {}};
  for (unsigned c = 0; c < 128; ++c) s.chars.push_back({b1(c), ascii_mask(c)});
  for (unsigned a = 0xA1; a <= 0xFE; ++a)
    for (unsigned b = 0xA1; b <= 0xFE; ++b) {
      uint16_t m = kShown | VL_CT_LOCAL;
      if (a == 0xA3 && b >= 0xC1 && b <= 0xDA) m |= VL_CT_UPPER | VL_CT_ALPHA;
      if (a == 0xA3 && b >= 0xE1 && b <= 0xFA) m |= VL_CT_LOWER | VL_CT_ALPHA;
      if (a == 0xA1 && b == 0xA1) m = VL_CT_SPACE | VL_CT_BLANK | VL_CT_PRINT | VL_CT_LOCAL;  // ideographic space
      s.chars.push_back({b2(a, b), m});
    }
  for (unsigned b = 0xA1; b <= 0xDF; ++b) s.chars.push_back({b2(0x8E, b), kShown});
  for (unsigned c = 'A'; c <= 'Z'; ++c) add_case(s, b1(c), c, b1(c + 32), c + 32);
  for (unsigned b = 0xC1; b <= 0xDA; ++b) add_case(s, b2(0xA3, b), 0xA300 + b, b2(0xA3, b + 32), 0xA300 + b + 32);
  return s;
}

CtypeSpec wide2_spec() {
  CtypeSpec s{"ucs2ish", {}, {{0, "full_width"}}, {}, "2.5\n"};
  for (unsigned c = 0; c < 256; ++c) s.chars.push_back({b2(0, c), c < 128 ? ascii_mask(c) : kShown});
  for (unsigned c = 0; c < 256; ++c) s.chars.push_back({b2(0x30, c), uint16_t(kShown | VL_CT_LOCAL)});
  for (unsigned c = 'A'; c <= 'Z'; ++c) add_case(s, b2(0, c), c, b2(0, c + 32), c + 32);
  return s;
}

int install_ctype(vl_locale_t *h, const CtypeSpec &spec) {
  multi_t *ctype = lcow::build_tree(class_rows(spec), true), *cases = lcow::build_tree(case_rows(spec), true);
  auto *pairs = static_cast<vl_case_pair *>(_vl_alloc_ptr((spec.cases.size() + 1) * sizeof(vl_case_pair)));
  if (!ctype || !cases || !pairs) {
    _vl_free_multi(ctype), _vl_free_multi(cases), _vl_free_ptr(pairs);
    return -1;
  }
  pairs[0] = {0, 0};
  for (size_t i = 0; i < spec.cases.size(); ++i) pairs[i + 1] = {spec.cases[i].upper, spec.cases[i].lower};
  vl_free_category(h, VL_LC_CTYPE);
  vl_make_null_category(h, VL_LC_CTYPE);
  _vl_free_multi(h->ctype.ctype_tree), _vl_free_multi(h->ctype.case_tree);
  h->ctype.ctype_tree = ctype, h->ctype.case_tree = cases, h->ctype.case_pairs = pairs;
  h->case_pair_count = static_cast<int32_t>(spec.cases.size());
  h->ctype.class_count = static_cast<int32_t>(spec.classes.size());
  if (!spec.classes.empty())
    h->ctype.class_names = static_cast<vl_class_name *>(_vl_alloc_ptr(spec.classes.size() * sizeof(vl_class_name)));
  for (size_t i = 0; i < spec.classes.size(); ++i) {
    h->ctype.class_names[i].bit = spec.classes[i].first;
    h->ctype.class_names[i].name = static_cast<char *>(_vl_alloc_ptr(spec.classes[i].second.size() + 1));
    strcpy(h->ctype.class_names[i].name, spec.classes[i].second.c_str());
  }
  h->case_expansion = spec.expansion[0] == '\n' ? 4.0 : atof(spec.expansion.c_str());
  snprintf(h->codeset_names[0], sizeof h->codeset_names[0], "%s", spec.codeset.c_str());
  snprintf(h->locale_names[0], sizeof h->locale_names[0], "%s", "fixture.lco");
  return set_flags(h);
}

vl_locale_t *make_handle(const CtypeSpec &spec) {
  vl_locale_t *h = nullptr;
  if (vl_create_null_locale_4(&h) != 0) return nullptr;
  if (install_ctype(h, spec) == 0) return h;
  vl_lc_unload(h);
  return nullptr;
}

std::string ctype_section(const CtypeSpec &spec, bool compress) {
  lcow::Ctype c;
  c.class_rows = class_rows(spec), c.classes = spec.classes, c.case_rows = case_rows(spec);
  for (const auto &k : spec.cases) c.pairs.push_back({k.upper, k.lower});
  c.tail = spec.expansion, c.compress = compress;
  std::string out;
  return lcow::ctype_section(c, out) ? out : std::string();
}

std::string str_item(const std::string &bytes) { return lcow::str_item(bytes); }
static std::string group_item(const std::vector<int> &g) { return lcow::group_item({g.begin(), g.end()}); }

std::string numeric_section(const NumericSpec &n) {
  return str_item(n.decimal_point) + str_item(n.thousands_sep) + group_item(n.grouping) + str_item(n.positive_sign) +
         str_item(n.negative_sign);
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
  return lcow::header(codeset, info);
}

std::string lco_text(const LocaleFile &f) {
  return lco_header(f.ctype.codeset, f.info) + "### LC_CTYPE\n" + ctype_section(f.ctype) + "### LC_COLLATE\n" + collate_section(f.ctype) +
         "### LC_NUMERIC\n" + numeric_section(f.numeric) + "### LC_MONETARY\n" + monetary_section(f.monetary) +
         "### LC_TIME\n" + time_section(TimeSpec{}) + "### LC_MESSAGES\n" + messages_section(f.messages);
}

std::string category_text(const std::string &codeset, int category, const std::string &section) {
  return lco_header(codeset) + category_markers[category] + section;
}

}  // namespace vlstest
