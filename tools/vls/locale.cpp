// vls locale: the shipped locales and codesets, and what a locale holds, in
// the layout of the C library's locale program.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>
#include <map>
#include <string>

#include "common.h"

namespace vlscli {
namespace {

const char kUsage[] = "vls locale [-L NAME] [-a | -v | -m | -k KEYWORD... | CATEGORY...]";

enum Kind { kString, kNumber, kGroups, kList };

struct Keyword {
  const char *name;
  int category;
  Kind kind;
  int item;  // vl_nl_langinfo item, or index into the conventions below
  int count;  // entries of a list
};

// Items of the conventions record (vl_localeconv) by number.
enum {
  kDecimalPoint = 1000, kThousandsSep, kGrouping, kIntCurrSymbol, kCurrencySymbol, kMonDecimalPoint,
  kMonThousandsSep, kMonGrouping, kPositiveSign, kNegativeSign, kIntFracDigits, kFracDigits, kPCsPrecedes,
  kPSepBySpace, kNCsPrecedes, kNSepBySpace, kPSignPosn, kNSignPosn
};

const Keyword kKeywords[] = {
    {"charmap", VL_LC_CTYPE, kString, VL_CODESET, 0},
    {"decimal_point", VL_LC_NUMERIC, kString, kDecimalPoint, 0},
    {"thousands_sep", VL_LC_NUMERIC, kString, kThousandsSep, 0},
    {"grouping", VL_LC_NUMERIC, kGroups, kGrouping, 0},
    {"int_curr_symbol", VL_LC_MONETARY, kString, kIntCurrSymbol, 0},
    {"currency_symbol", VL_LC_MONETARY, kString, kCurrencySymbol, 0},
    {"mon_decimal_point", VL_LC_MONETARY, kString, kMonDecimalPoint, 0},
    {"mon_thousands_sep", VL_LC_MONETARY, kString, kMonThousandsSep, 0},
    {"mon_grouping", VL_LC_MONETARY, kGroups, kMonGrouping, 0},
    {"positive_sign", VL_LC_MONETARY, kString, kPositiveSign, 0},
    {"negative_sign", VL_LC_MONETARY, kString, kNegativeSign, 0},
    {"int_frac_digits", VL_LC_MONETARY, kNumber, kIntFracDigits, 0},
    {"frac_digits", VL_LC_MONETARY, kNumber, kFracDigits, 0},
    {"p_cs_precedes", VL_LC_MONETARY, kNumber, kPCsPrecedes, 0},
    {"p_sep_by_space", VL_LC_MONETARY, kNumber, kPSepBySpace, 0},
    {"n_cs_precedes", VL_LC_MONETARY, kNumber, kNCsPrecedes, 0},
    {"n_sep_by_space", VL_LC_MONETARY, kNumber, kNSepBySpace, 0},
    {"p_sign_posn", VL_LC_MONETARY, kNumber, kPSignPosn, 0},
    {"n_sign_posn", VL_LC_MONETARY, kNumber, kNSignPosn, 0},
    {"abday", VL_LC_TIME, kList, VL_ABDAY_1, 7},
    {"day", VL_LC_TIME, kList, VL_DAY_1, 7},
    {"abmon", VL_LC_TIME, kList, VL_ABMON_1, 12},
    {"mon", VL_LC_TIME, kList, VL_MON_1, 12},
    {"am_pm", VL_LC_TIME, kList, VL_AM_STR, 2},
    {"d_t_fmt", VL_LC_TIME, kString, VL_D_T_FMT, 0},
    {"d_fmt", VL_LC_TIME, kString, VL_D_FMT, 0},
    {"t_fmt", VL_LC_TIME, kString, VL_T_FMT, 0},
    {"t_fmt_ampm", VL_LC_TIME, kString, VL_T_FMT_AMPM, 0},
    {"era", VL_LC_TIME, kString, VL_ERA, 0},
    {"era_d_fmt", VL_LC_TIME, kString, VL_ERA_D_FMT, 0},
    {"era_t_fmt", VL_LC_TIME, kString, VL_ERA_T_FMT, 0},
    {"era_d_t_fmt", VL_LC_TIME, kString, VL_ERA_D_T_FMT, 0},
    {"alt_digits", VL_LC_TIME, kString, VL_ALT_DIGITS, 0},
    {"calendar", VL_LC_TIME, kString, VL_CALENDAR, 0},
    {"yesexpr", VL_LC_MESSAGES, kString, VL_YESEXPR, 0},
    {"noexpr", VL_LC_MESSAGES, kString, VL_NOEXPR, 0},
    {"yesstr", VL_LC_MESSAGES, kString, VL_YESSTR, 0},
    {"nostr", VL_LC_MESSAGES, kString, VL_NOSTR, 0},
};

const struct {
  const char *name;
  int category;
} kCategories[] = {{"LC_CTYPE", VL_LC_CTYPE},       {"LC_COLLATE", VL_LC_COLLATE}, {"LC_NUMERIC", VL_LC_NUMERIC},
                   {"LC_MONETARY", VL_LC_MONETARY}, {"LC_TIME", VL_LC_TIME},       {"LC_MESSAGES", VL_LC_MESSAGES}};

const char *text(const char *s) { return s ? s : ""; }

std::string conv_string(const vlconv *c, int item) {
  switch (item) {
    case kDecimalPoint: return text(c->decimal_point);
    case kThousandsSep: return text(c->thousands_sep);
    case kIntCurrSymbol: return text(c->int_curr_symbol);
    case kCurrencySymbol: return text(c->currency_symbol);
    case kMonDecimalPoint: return text(c->mon_decimal_point);
    case kMonThousandsSep: return text(c->mon_thousands_sep);
    case kPositiveSign: return text(c->positive_sign);
    case kNegativeSign: return text(c->negative_sign);
  }
  return "";
}

int conv_number(const vlconv *c, int item) {
  switch (item) {
    case kIntFracDigits: return c->int_frac_digits;
    case kFracDigits: return c->frac_digits;
    case kPCsPrecedes: return c->p_cs_precedes;
    case kPSepBySpace: return c->p_sep_by_space;
    case kNCsPrecedes: return c->n_cs_precedes;
    case kNSepBySpace: return c->n_sep_by_space;
    case kPSignPosn: return c->p_sign_posn;
    case kNSignPosn: return c->n_sign_posn;
  }
  return -1;
}

// One keyword as the C library's locale program prints it: the value alone,
// or with -k as name="value" (numbers and groupings unquoted).
void print_keyword(vl_locale_t *h, const Keyword &k, bool with_name) {
  const vlconv *c = vl_localeconv(h);
  std::string value;
  bool quoted = true;
  switch (k.kind) {
    case kString:
      value = k.item >= 1000 ? conv_string(c, k.item) : text(vl_nl_langinfo(h, k.item));
      if (k.item == VL_ERA || k.item == VL_ALT_DIGITS) {
        // A list of strings: each quoted, joined by ";", and nothing at all
        // for an empty list, as the C library's locale program writes it.
        std::string list;
        size_t at = 0;
        while (at < value.size()) {
          size_t end = value.find('\n', at);
          if (end == std::string::npos) end = value.size();
          const std::string item = value.substr(at, end - at);
          list += with_name ? (list.empty() ? "\"" : ";\"") + item + "\"" : (list.empty() ? "" : ";") + item;
          at = end + 1;
        }
        value = list;
        quoted = false;
      }
      break;
    case kNumber:
      value = std::to_string(conv_number(c, k.item));
      quoted = false;
      break;
    case kGroups: {
      const char *g = k.item == kGrouping ? c->grouping : c->mon_grouping;
      quoted = false;
      for (int i = 0; g && g[i]; ++i) {
        if (i) value += ';';
        value += std::to_string(g[i] == CHAR_MAX ? -1 : g[i]);
      }
      if (value.empty()) value = "-1";
      break;
    }
    case kList:
      for (int i = 0; i < k.count; ++i) {
        if (i) value += ';';
        value += text(vl_nl_langinfo(h, k.item + i));
      }
      break;
  }
  if (with_name)
    put(std::string(k.name) + (quoted ? "=\"" + value + "\"\n" : "=" + value + "\n"));
  else
    put(value + "\n");
}

}  // namespace

int verb_locale(int argc, char **argv) {
  Args a;
  if (!parse("locale", argc, argv, 2, "", "amkv", false, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  -a          the shipped locales, as language_TERRITORY.codeset\n"
           "  -m          the codesets of the shipped locales\n"
           "  -v          the shipped locales with their files and what made them (source,\n"
           "              charmap, compiler and its version)\n"
           "  -k NAME...  keywords (or every keyword of a category) as name=\"value\"\n"
           "  NAME...     the values alone\n"
           "  (none)      the locale of each category\n"
           "  --raw       the values in the locale's own codeset, not the terminal's\n",
           kUsage);
    return kOk;
  }
  const bool verbose = a.has("-v"), all = a.has("-a") || verbose, maps = a.has("-m"), keys = a.has("-k");
  if (all + maps + keys > 1 || ((all || maps) && !a.operands.empty()))
    return usage_error("locale", kUsage, "-a, -m and -k go alone");
  if (keys && a.operands.empty()) return usage_error("locale", kUsage, "-k wants a keyword or category");
  if (all || maps) {
    const auto locales = shipped_locales();
    if (locales.empty()) {
      error("locale", "%s/vls/lc11: no locales found", kelvanixdir());
      return kDataError;
    }
    std::vector<std::string> lines;
    const std::string lc = std::string(kelvanixdir()) + "/vls/lc11/";
    for (const Shipped &s : locales) {
      lines.push_back(all ? s.spec : s.codeset);
      if (verbose) lines.back() += "\t" + s.file + "\t" + file_info(lc + s.file);
    }
    std::sort(lines.begin(), lines.end());
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    for (const std::string &l : lines) printf("%s\n", l.c_str());
    return kOk;
  }
  // Check the names before loading anything.
  for (const std::string &op : a.operands) {
    bool known = false;
    for (const Keyword &k : kKeywords) known |= op == k.name;
    for (const auto &c : kCategories) known |= op == c.name;
    if (!known) return usage_error("locale", kUsage, "unknown keyword or category '%s'", op.c_str());
  }
  vl_locale_t *h = open_locale("locale", a.locale);
  if (!h) return kDataError;
  terminal_open(h, a.raw);
  if (a.operands.empty()) {
    for (const auto &c : kCategories) {
      char name[512];
      query_locname(h, c.category, name, sizeof name);
      printf("%s=\"%s\"\n", c.name, name);
    }
  }
  for (const std::string &op : a.operands) {
    for (const Keyword &k : kKeywords)
      if (op == k.name) print_keyword(h, k, keys);
    for (const auto &c : kCategories) {
      if (op != c.name) continue;
      for (const Keyword &k : kKeywords)
        if (k.category == c.category) print_keyword(h, k, keys);
    }
  }
  terminal_close();
  close_locale(h);
  return kOk;
}

}  // namespace vlscli
