// vls printf, vls money, vls decimal: numbers in the locale's conventions
// and exact decimal arithmetic.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cctype>
#include <cstring>
#include <string>

#include "common.h"

namespace vlscli {
namespace {

const char kPrintfUsage[] = "vls printf [-L NAME] FORMAT [ARG...]";
const char kMoneyUsage[] = "vls money [-L NAME] FORMAT VALUE... | vls money [-L NAME] --parse FORMAT TEXT...";
const char kDecimalUsage[] = "vls decimal [-r N] [-x] EXPR...";

// One directive of a number format and the text in front of it.
struct Piece {
  std::string text;     // literal text and the directive
  char conversion = 0;  // 0: literal text only
  int long_level = 0;   // 1 "l", 2 "ll"
  bool star = false;
};

// Splits a format into pieces of one directive each. False with *bad at the
// offending byte when a directive does not end.
bool split_format(const std::string &f, std::vector<Piece> *out, size_t *bad) {
  Piece cur;
  size_t i = 0;
  while (i < f.size()) {
    if (f[i] != '%') {
      cur.text += f[i++];
      continue;
    }
    if (i + 1 < f.size() && f[i + 1] == '%') {
      cur.text += "%%";
      i += 2;
      continue;
    }
    const size_t start = i++;
    while (i < f.size() && strchr("'-+ #0", f[i])) ++i;
    while (i < f.size() && (isdigit(static_cast<unsigned char>(f[i])) || f[i] == '*' || f[i] == '.' ||
                            f[i] == '=' || f[i] == '^' || f[i] == '(' || f[i] == '!')) {
      if (f[i] == '*') cur.star = true;
      if (f[i] == '=' && i + 1 < f.size()) ++i;  // money fill character
      ++i;
    }
    while (i < f.size() && strchr("lLhH", f[i])) {
      if (f[i] == 'l' || f[i] == 'L') ++cur.long_level;
      ++i;
    }
    if (i >= f.size()) {
      *bad = start;
      return false;
    }
    cur.conversion = f[i++];
    cur.text += f.substr(start, i - start);
    out->push_back(cur);
    cur = Piece();
  }
  if (!cur.text.empty()) out->push_back(cur);
  return true;
}

// The backslash escapes of printf(1) in a format: \n \t \r \a \b \f \v
// \\ and \NNN (octal).
std::string unescape(const std::string &f) {
  std::string out;
  for (size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '\\' || i + 1 >= f.size()) {
      out += f[i];
      continue;
    }
    const char c = f[++i];
    const char *from = "ntrabfv\\", *to = "\n\t\r\a\b\f\v\\";
    if (const char *p = strchr(from, c)) {
      out += to[p - from];
    } else if (c >= '0' && c <= '7') {
      int v = 0, n = 0;
      while (n < 3 && i < f.size() && f[i] >= '0' && f[i] <= '7') v = v * 8 + (f[i++] - '0'), ++n;
      --i;
      out += static_cast<char>(v);
    } else {
      out += '\\';
      out += c;
    }
  }
  return out;
}

bool to_long(const char *s, long long *v) {
  errno = 0;
  char *end;
  *v = strtoll(s, &end, 0);
  return errno == 0 && end != s && *end == '\0';
}

bool to_double(const char *s, double *v) {
  errno = 0;
  char *end;
  *v = strtod(s, &end);
  return errno == 0 && end != s && *end == '\0';
}

// The operands, typed in the terminal's codeset, in the locale's. False
// after a message naming the one that does not fit.
bool operands_to_locale(const char *verb, vl_locale_t *h, std::vector<std::string> *ops) {
  for (size_t i = 0; i < ops->size(); ++i) {
    std::string text;
    if (!from_terminal((*ops)[i], &text)) {
      error(verb, "'%s': a character that the locale's codeset %s lacks", (*ops)[i].c_str(),
            vl_nl_langinfo(h, VL_CODESET));
      return false;
    }
    (*ops)[i] = text;
  }
  return true;
}

}  // namespace

int verb_printf(int argc, char **argv) {
  Args a;
  if (!parse("printf", argc, argv, 2, "", "", true, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  prints ARGs by FORMAT with the locale's decimal point, group separator and signs;\n"
           "  %%d %%i %%b take integers, %%u %%o %%x %%X %%q %%p unsigned ones, %%e %%E %%f %%g %%G numbers,\n"
           "  %%s %%c texts; the flag ' groups digits. The format is used again while ARGs remain.\n",
           kPrintfUsage);
    return kOk;
  }
  if (a.operands.empty()) return usage_error("printf", kPrintfUsage, "no FORMAT");
  std::vector<Piece> pieces;
  size_t bad = 0;
  if (!split_format(unescape(a.operands[0]), &pieces, &bad))
    return usage_error("printf", kPrintfUsage, "FORMAT: directive at byte %zu does not end", bad);
  size_t directives = 0;
  for (const Piece &p : pieces) {
    if (p.star) return usage_error("printf", kPrintfUsage, "FORMAT: '*' is not supported; write the width");
    if (p.conversion && (p.conversion == 'c' || p.conversion == 's') && p.long_level)
      return usage_error("printf", kPrintfUsage, "FORMAT: wide %%l%c is not supported", p.conversion);
    if (p.conversion) ++directives;
  }
  vl_locale_t *h = open_locale("printf", a.locale);
  if (!h) return kDataError;
  terminal_open(h, a.raw);
  if (!operands_to_locale("printf", h, &a.operands)) {
    terminal_close();
    close_locale(h);
    return kDataError;
  }
  pieces.clear();
  split_format(unescape(a.operands[0]), &pieces, &bad);
  size_t arg = 1;
  int status = kOk;
  std::string out;
  do {
    for (const Piece &p : pieces) {
      char buf[4096];
      int n;
      h->vl_errno = 0;
      const char *value = p.conversion && arg < a.operands.size() ? a.operands[arg].c_str() : nullptr;
      if (p.conversion) ++arg;
      const char c = p.conversion;
      if (!c) {
        n = vl_mbsprintf(h, buf, sizeof buf, p.text.c_str());
      } else if (strchr("diboxXuqp", c)) {
        long long v = 0;
        if (value && !to_long(value, &v)) {
          error("printf", "argument %zu: '%s' is not an integer", arg - 1, value);
          status = kDataError;
          break;
        }
        const int32_t low = static_cast<int32_t>(v);
        n = p.long_level >= 2 ? vl_mbsprintf(h, buf, sizeof buf, p.text.c_str(), v, low)
                              : vl_mbsprintf(h, buf, sizeof buf, p.text.c_str(), low);
      } else if (strchr("eEfgG", c)) {
        double v = 0;
        if (value && !to_double(value, &v)) {
          error("printf", "argument %zu: '%s' is not a number", arg - 1, value);
          status = kDataError;
          break;
        }
        n = vl_mbsprintf(h, buf, sizeof buf, p.text.c_str(), v);
      } else if (c == 'c' || c == 's') {
        n = vl_mbsprintf(h, buf, sizeof buf, p.text.c_str(), value ? value : (c == 's' ? "" : " "));
      } else {
        error("printf", "FORMAT: unknown conversion '%c'", c);
        status = kUsageError;
        break;
      }
      if (n < 0) {
        error("printf", "cannot format '%s'%s%s: %s", p.text.c_str(), value ? " with " : "", value ? value : "",
              reason(h->vl_errno));
        status = kDataError;
        break;
      }
      out.append(buf, static_cast<size_t>(n));
    }
  } while (status == kOk && directives && arg < a.operands.size());
  put(out);
  terminal_close();
  close_locale(h);
  return status;
}

int verb_money(int argc, char **argv) {
  Args a;
  if (!parse("money", argc, argv, 2, "", "--parse", true, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  FORMAT has one directive %%[flags][width][#left][.right](i|n), as strfmon:\n"
           "  flags =f (fill) ^ (no grouping) + ( ! -; each VALUE is printed on a line.\n"
           "  --parse reads each TEXT as money by FORMAT and prints the number.\n",
           kMoneyUsage);
    return kOk;
  }
  const bool parse_mode = a.has("--parse");
  if (a.operands.size() < 2) return usage_error("money", kMoneyUsage, "FORMAT and at least one value are needed");
  std::vector<Piece> pieces;
  size_t bad = 0;
  if (!split_format(a.operands[0], &pieces, &bad))
    return usage_error("money", kMoneyUsage, "FORMAT: directive at byte %zu does not end", bad);
  size_t directives = 0;
  for (const Piece &p : pieces) directives += p.conversion ? 1 : 0;
  if (directives != 1) return usage_error("money", kMoneyUsage, "FORMAT must have exactly one directive");
  vl_locale_t *h = open_locale("money", a.locale);
  if (!h) return kDataError;
  terminal_open(h, a.raw);
  if (!operands_to_locale("money", h, &a.operands)) {
    terminal_close();
    close_locale(h);
    return kDataError;
  }
  int status = kOk;
  const char *format = a.operands[0].c_str();
  for (size_t i = 1; i < a.operands.size() && status == kOk; ++i) {
    const char *value = a.operands[i].c_str();
    h->vl_errno = 0;
    if (parse_mode) {
      double v = 0;
      const char *end = vl_mbspmon(h, value, format, &v);
      if (!end) {
        error("money", "'%s': not money by '%s': %s", value, format, reason(h->vl_errno));
        status = kDataError;
      } else if (*end) {
        error("money", "'%s': byte %td: text after the amount", value, end - value);
        status = kDataError;
      } else {
        char number[64];
        snprintf(number, sizeof number, "%.15g\n", v);
        put(number);
      }
      continue;
    }
    double v;
    if (!to_double(value, &v)) {
      error("money", "'%s' is not a number", value);
      status = kDataError;
      break;
    }
    char buf[1024];
    const int n = vl_mbsfmon(h, buf, sizeof buf, format, v);
    if (n < 0) {
      error("money", "cannot format %s by '%s': %s", value, format, reason(h->vl_errno));
      status = kDataError;
      break;
    }
    put(std::string(buf, static_cast<size_t>(n)) + "\n");
  }
  terminal_close();
  close_locale(h);
  return status;
}

namespace {

const char *dec_error(int rc) {
  switch (rc) {
    case DEC_E_OVERFLOW: return "overflow";
    case DEC_E_UNDERFLOW: return "underflow";
    case DEC_E_DIVZERO: return "division by zero";
    case DEC_E_BADNUM: return "not a number";
    case DEC_E_NOMEM: return "out of memory";
    case DEC_E_NOFIT: return "does not fit";
  }
  return "decimal error";
}

}  // namespace

int verb_decimal(int argc, char **argv) {
  Args a;
  if (!parse("decimal", argc, argv, 2, "r", "x", false, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  EXPR: numbers joined by + - * /, worked left to right (\"1.10 + 2.205\"); the\n"
           "  words of EXPR may be separate arguments. Prints the exact result.\n"
           "  -r N  round the result to N decimal places   -x  also the packed store form in hex\n",
           kDecimalUsage);
    return kOk;
  }
  int round_to = -1;
  if (const char *r = a.value("-r")) {
    char *end;
    const long v = strtol(r, &end, 10);
    if (end == r || *end || v < 0 || v > 126) return usage_error("decimal", kDecimalUsage, "-r wants 0 to 126");
    round_to = static_cast<int>(v);
  }
  if (a.operands.empty()) return usage_error("decimal", kDecimalUsage, "no expression");
  std::string expr;
  for (const std::string &op : a.operands) expr += (expr.empty() ? "" : " ") + op;
  // The decimal point of the text conversions is the client's.
  const int init = chkvlsinit();
  if (init < 0) {
    error("decimal", "starting from the client's settings (vls env shows them): %s", init_reason(init));
    return kDataError;
  }
  decimal_t acc{};
  char op = 0;  // pending operator; 0 before the first number
  bool have = false;
  size_t i = 0;
  auto skip_blanks = [&] {
    while (i < expr.size() && isspace(static_cast<unsigned char>(expr[i]))) ++i;
  };
  for (;;) {
    skip_blanks();
    if (i >= expr.size()) break;
    const bool want_number = !have || op;
    if (!want_number) {
      if (!strchr("+-*/xX", expr[i])) {
        error("decimal", "'%s': byte %zu: an operator (+ - * /) expected", expr.c_str(), i);
        return kDataError;
      }
      op = expr[i] == 'x' || expr[i] == 'X' ? '*' : expr[i];
      ++i;
      continue;
    }
    const size_t start = i;
    if (expr[i] == '+' || expr[i] == '-') ++i;
    while (i < expr.size() && (isdigit(static_cast<unsigned char>(expr[i])) || strchr(".,eE", expr[i]))) {
      if ((expr[i] == 'e' || expr[i] == 'E') && i + 1 < expr.size() && (expr[i + 1] == '-' || expr[i + 1] == '+'))
        ++i;
      ++i;
    }
    decimal_t v;
    const int rc = i > start ? deccvasc(expr.data() + start, static_cast<int>(i - start), &v) : DEC_E_BADNUM;
    if (rc != 0) {
      error("decimal", "'%s': byte %zu: %s", expr.c_str(), start, dec_error(rc));
      return kDataError;
    }
    if (!have) {
      acc = v;
      have = true;
      continue;
    }
    int r = 0;
    switch (op) {
      case '+': r = decadd(&acc, &v, &acc); break;
      case '-': r = decsub(&acc, &v, &acc); break;
      case '*': r = decmul(&acc, &v, &acc); break;
      case '/': r = decdiv(&acc, &v, &acc); break;
    }
    if (r != 0) {
      error("decimal", "'%s': byte %zu: %s", expr.c_str(), start, dec_error(r));
      return kDataError;
    }
    op = 0;
  }
  if (!have || op) {
    error("decimal", "'%s': byte %zu: a number expected", expr.c_str(), expr.size());
    return kDataError;
  }
  if (round_to >= 0) decround(&acc, round_to);
  // The exact number of decimal places: two a base-100 digit behind the
  // point, less a final zero.
  int places = round_to;
  if (places < 0) {
    places = acc.digit_count ? 2 * (acc.digit_count - acc.exponent) : 0;
    if (places > 0 && acc.digits[acc.digit_count - 1] % 10 == 0) --places;
    if (places < 0) places = 0;
  }
  char field[160];
  const int rc = dectoasc(&acc, field, static_cast<int>(sizeof field) - 1, places);
  if (rc != 0) {
    error("decimal", "cannot write the result: %s", dec_error(rc));
    return kDataError;
  }
  field[sizeof field - 1] = '\0';
  std::string text(field);
  text.erase(0, text.find_first_not_of(' '));
  text.erase(text.find_last_not_of(' ') + 1);
  printf("%s\n", text.c_str());
  if (a.has("-x")) {
    unsigned char packed[DEC_MAX_DIGITS + 1];
    const int length = 1 + acc.digit_count;
    stdecimal(&acc, packed, length);
    for (int k = 0; k < length; ++k) printf("%02x", packed[k]);
    printf("\n");
  }
  return kOk;
}

}  // namespace vlscli
