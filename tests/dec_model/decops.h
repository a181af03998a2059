/* The decimal operations by name, one line of text in and one out, shared by
 * the reference model's driver and by dec_test.
 *
 * A record is "null", or its sign, its exponent, ":" and its digit bytes joined
 * by "." ("+3:1.23.45" is 12345.67, "+-64:" the zero record); "99*16" repeats a
 * byte.  Store forms and raw digit strings are bytes joined by "."; doubles are
 * decimal text, "nulld" the all-ones null double and "fnan" a widened float NaN.
 * The fields of a result are joined by "|":
 *   add|sub|mul|div A B -> status|record  (the same when the result is either operand)
 *   cmp A B -> deccmp            iszero A -> dec_is_zero      copy A B -> B|B's 16 digit bytes
 *   round|trunc A scale -> record                             prec A -> dec2prec|decprec
 *   load sign exp bytes, loadin A exp (digits inside the result), ld bytes length,
 *   cvlong|cvint n, cvdbl|cvflt x -> status|record            st A length -> bytes
 *   tolong|toint A -> status|value
 *   cvt A ndigit mode, fcvt|ecvt A ndigit -> text|decpt|sign ("-": none; -999: not set)
 *   kvx A ndigit mode size, kfcvt|kecvt A ndigit size -> status|text|decpt|sign
 * Text in the client's conventions (start-up runs on first use):
 *   asc length TEXT -> status|record  (TEXT is the rest of the line, "%XX" a byte; "####" follows it)
 *   toasc|dbltoasc A length right -> status|[field]    todbl A -> status|%.17g ("nulld": all ones)
 *   toflt A -> status|%.9g            lconv -> decimal point|thousands separator */
#ifndef VLS_TEST_DECOPS_H
#define VLS_TEST_DECOPS_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <vls/decimal.h>
#include <vls/vlsinit.h>

namespace decops {

inline int bytes(const char *s, unsigned char *out, int cap) {
  int n = 0;
  for (char *e; n < cap; s = e + (*e == '.')) {
    long v = strtol(s, &e, 10), k = 1;
    if (e == s) break;
    if (*e == '*') k = strtol(e + 1, &e, 10);
    while (k-- > 0 && n < cap) out[n++] = (unsigned char)v;
  }
  return n;
}

inline std::string join(const unsigned char *b, int n) {
  std::string s;
  for (int i = 0; i < n; ++i) s += (i ? "." : "") + std::to_string(b[i]);
  return s;
}

inline decimal_t rec(const char *s) {
  decimal_t d = {0, DEC_NULL_SIGN, 0, {0}};
  if (*s != '+' && *s != '-') return d;
  char *e;
  d.sign = *s == '+' ? DEC_POSITIVE : DEC_NEGATIVE;
  d.exponent = (int16_t)strtol(s + 1, &e, 10);
  d.digit_count = (int16_t)(*e == ':' ? bytes(e + 1, d.digits, DEC_MAX_DIGITS) : 0);
  return d;
}

inline std::string str(const decimal_t &d) {
  if (d.sign == DEC_NULL_SIGN) return "null";
  const int n = d.digit_count < 0 ? 0 : d.digit_count > 16 ? 16 : d.digit_count;
  return (d.sign ? "+" : "-") + std::to_string(d.exponent) + ":" + join(d.digits, n);
}

// Result fields; values are read through references, after the call that sets them.
inline std::string field(const decimal_t &d) { return str(d); }
inline std::string field(const int &v) { return std::to_string(v); }
inline std::string field(const std::string &s) { return s; }
template <typename T>
std::string res(int status, const T &v) { return std::to_string(status) + "|" + field(v); }
inline std::string digits(const char *text, const int &decpt, const int &sign) {
  return std::string(text ? text : "-") + "|" + std::to_string(decpt) + "|" + std::to_string(sign);
}

// "%XX" escapes to bytes; the length.
inline int unescape(const char *s, char *out) {
  int n = 0;
  for (; *s && *s != '\n'; ++s) {
    if (*s == '%' && s[1] && s[2]) {
      const char hex[3] = {s[1], s[2], 0};
      out[n++] = (char)strtol(hex, nullptr, 16), s += 2;
    } else {
      out[n++] = *s;
    }
  }
  return n;
}

// A fixed field and whether anything was written past it.
template <typename F>
std::string field_of(F f, const decimal_t &d, int length, int right) {
  static char out[1024];
  memset(out, '#', sizeof out);
  const int st = f(&d, out, length, right);
  for (int i = length; i < length + 16; ++i)
    if (out[i] != '#') return "written past the field";
  return std::to_string(st) + "|[" + std::string(out, (size_t)length) + "]";
}

inline std::string real(int status, double v, int prec) {
  char t[64];
  snprintf(t, sizeof t, "%d|%.*g", status, prec, v);
  return t;
}

inline std::string run(const char *line) {
  char op[16] = "", t[4][256] = {}, buf[512] = "-";
  sscanf(line, "%15s %255s %255s %255s %255s", op, t[0], t[1], t[2], t[3]);
  decimal_t a = rec(t[0]), b = rec(t[1]), r = rec("null"), a2 = a, b2 = b;
  const int n1 = atoi(t[0]), n2 = atoi(t[1]), n3 = atoi(t[2]), n4 = atoi(t[3]);
  unsigned char raw[64] = {0};
  int decpt = -999, sign = -999, st = 0, i = 12345;
  int32_t l = 12345;
  double x = strtod(t[0], nullptr);
  float f;
  if (!strcmp(t[0], "nulld")) memset(&x, 0xFF, sizeof x);
  if (!strcmp(t[0], "fnan")) memset(&f, 0xFF, sizeof f), x = f;
  const std::string o = op;
  int (*arith)(const decimal_t *, const decimal_t *, decimal_t *) =
      o == "add" ? decadd : o == "sub" ? decsub : o == "mul" ? decmul : o == "div" ? decdiv : nullptr;
  if (arith) {
    st = arith(&a, &b, &r);
    const bool same = arith(&a2, &b, &a2) == st && arith(&a, &b2, &b2) == st && str(a2) == str(r) && str(b2) == str(r);
    return same ? res(st, r) : "the result differs when it is an operand";
  }
  if (o == "cmp") return std::to_string(deccmp(&a, &b));
  if (o == "iszero") return std::to_string(dec_is_zero(&a));
  if (o == "copy") return deccopy(&a, &b), str(b) + "|" + join(b.digits, DEC_MAX_DIGITS);
  if (o == "round") return decround(&a, n2), str(a);
  if (o == "trunc") return dectrunc(&a, n2), str(a);
  if (o == "prec") return res(dec2prec(&a), decprec(&a));
  if (o == "load") return res(decload(&r, n1, n2, raw, bytes(t[2], raw, 64)), r);
  if (o == "loadin") return res(decload(&a, 1, n2, a.digits, a.digit_count), a);
  if (o == "ld") return bytes(t[0], raw, 64), res(lddecimal(raw, n2, &r), r);
  if (o == "st") return stdecimal(&a, raw, n2), join(raw, n2);
  if (o == "cvlong") return res(deccvlong(n1, &r), r);
  if (o == "cvint") return res(deccvint(n1, &r), r);
  if (o == "tolong") return st = dectolong(&a, &l), res(st, (int)l);
  if (o == "toint") return res(dectoint(&a, &i), i);
  if (o == "cvdbl") return res(deccvdbl(x, &r), r);
  if (o == "cvflt") return res(deccvflt(x, &r), r);
  if (o == "cvt") return digits(deccvt(&a, n2, &decpt, &sign, n3), decpt, sign);
  if (o == "fcvt") return digits(decfcvt(&a, n2, &decpt, &sign), decpt, sign);
  if (o == "ecvt") return digits(dececvt(&a, n2, &decpt, &sign), decpt, sign);
  if (o == "kvx") return st = kvx_deccvt(&a, n2, &decpt, &sign, n3, buf, n4), res(st, digits(buf, decpt, sign));
  if (o == "kfcvt") return st = kvx_decfcvt(&a, n2, &decpt, &sign, buf, n3), res(st, digits(buf, decpt, sign));
  if (o == "kecvt") return st = kvx_dececvt(&a, n2, &decpt, &sign, buf, n3), res(st, digits(buf, decpt, sign));
  if (o == "asc") {
    static char in[4096];
    const char *rest = line + strspn(line, " ");
    rest += strcspn(rest, " "), rest += strspn(rest, " "), rest += strcspn(rest, " ");
    const int n = unescape(*rest ? rest + 1 : rest, in);
    memcpy(in + n, "####", 5);
    r = rec("+3:7.7");  // overwritten whatever happens
    return st = deccvasc(in, n1, &r), res(st, r);
  }
  if (o == "toasc") return field_of(dectoasc, a, n2, n3);
  if (o == "dbltoasc") return field_of(dbltoasc, a, n2, n3);
  if (o == "todbl") {
    memset(&x, 0x55, sizeof x), st = dectodbl(&a, &x);
    unsigned char all[sizeof x];
    memset(all, 0xFF, sizeof all);
    return memcmp(&x, all, sizeof x) ? real(st, x, 17) : std::to_string(st) + "|nulld";
  }
  if (o == "toflt") return f = 5, st = dectoflt(&a, &f), real(st, f, 9);
  if (o == "lconv") return chkvlsinit(), rmoninit(), std::string(g_lconv.decimal_point) + "|" + g_lconv.thousands_sep;
  return "unknown operation";
}

}  // namespace decops

#endif
