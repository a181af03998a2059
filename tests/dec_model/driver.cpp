/* Line-oriented driver for the decimal reference model: each input line is
 * one operation, each output line its result.
 *
 * A record is written sign,exponent,digits with the digits as two hex
 * characters per byte (digit_count bytes), e.g. "1,3,01172d43" for
 * 12345.67.  A store form is plain hex.
 *
 *   add|sub|mul|div A B      -> status record
 *   cmp A B                  -> deccmp
 *   round|trunc A scale      -> record
 *   prec A                   -> dec2prec decprec
 *   load sign exp hex        -> status record
 *   st A length              -> hex
 *   ld hex length            -> status record
 *   cvlong n                 -> status record
 *   tolong A | toint A       -> status value
 *   cvdbl|cvflt hex64        -> status record (hex64: the double's bits)
 *   cvt A ndigit mode        -> text|decpt|sign    ("-" for no result)
 *   kvx A ndigit mode size   -> status|text|decpt|sign
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vls/decimal.h>

namespace {

int hexval(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/* Parses hex into bytes; returns the byte count. */
int parse_hex(const char *s, unsigned char *out, int cap) {
  int n = 0;
  while (s[0] && s[1] && n < cap && hexval(s[0]) >= 0) {
    out[n++] = (unsigned char)(hexval(s[0]) * 16 + hexval(s[1]));
    s += 2;
  }
  return n;
}

bool parse_record(const char *s, decimal_t *d) {
  memset(d, 0, sizeof *d);
  int sign = 0, exponent = 0;
  const char *p = s;
  sign = (int)strtol(p, const_cast<char **>(&p), 10);
  if (*p++ != ',') return false;
  exponent = (int)strtol(p, const_cast<char **>(&p), 10);
  if (*p++ != ',') return false;
  d->sign = (uint16_t)sign;
  d->exponent = (int16_t)exponent;
  d->digit_count = (int16_t)parse_hex(p, d->digits, 16);
  return true;
}

void print_record(const decimal_t *d) {
  printf("%d,%d,", (int)d->sign, (int)d->exponent);
  int n = d->digit_count;
  if (n < 0) n = 0;
  if (n > 16) n = 16;
  for (int i = 0; i < n; ++i) printf("%02x", d->digits[i]);
}

}  // namespace

int main() {
  static char line[4096];
  char op[16], a1[256], a2[256];
  while (fgets(line, sizeof line, stdin)) {
    op[0] = a1[0] = a2[0] = 0;
    int i1 = 0, i2 = 0, i3 = 0;
    if (sscanf(line, "%15s", op) != 1) continue;
    decimal_t a, b, r;
    memset(&r, 0, sizeof r);
    if (!strcmp(op, "add") || !strcmp(op, "sub") || !strcmp(op, "mul") || !strcmp(op, "div") ||
        !strcmp(op, "cmp")) {
      sscanf(line, "%*s %255s %255s", a1, a2);
      parse_record(a1, &a);
      parse_record(a2, &b);
      if (!strcmp(op, "cmp")) {
        printf("%d\n", deccmp(&a, &b));
        continue;
      }
      int st = !strcmp(op, "add")   ? decadd(&a, &b, &r)
               : !strcmp(op, "sub") ? decsub(&a, &b, &r)
               : !strcmp(op, "mul") ? decmul(&a, &b, &r)
                                    : decdiv(&a, &b, &r);
      printf("%d ", st);
      print_record(&r);
      printf("\n");
    } else if (!strcmp(op, "round") || !strcmp(op, "trunc")) {
      sscanf(line, "%*s %255s %d", a1, &i1);
      parse_record(a1, &a);
      if (op[0] == 'r')
        decround(&a, i1);
      else
        dectrunc(&a, i1);
      print_record(&a);
      printf("\n");
    } else if (!strcmp(op, "prec")) {
      sscanf(line, "%*s %255s", a1);
      parse_record(a1, &a);
      printf("%d %d\n", dec2prec(&a), decprec(&a));
    } else if (!strcmp(op, "load")) {
      a2[0] = 0;
      sscanf(line, "%*s %d %d %255s", &i1, &i2, a2);
      unsigned char digits[64];
      int n = parse_hex(a2, digits, 64);
      int st = decload(&r, i1, i2, digits, n);
      printf("%d ", st);
      print_record(&r);
      printf("\n");
    } else if (!strcmp(op, "st")) {
      sscanf(line, "%*s %255s %d", a1, &i1);
      parse_record(a1, &a);
      unsigned char bytes[64];
      stdecimal(&a, bytes, i1);
      for (int i = 0; i < i1; ++i) printf("%02x", bytes[i]);
      printf("\n");
    } else if (!strcmp(op, "ld")) {
      sscanf(line, "%*s %255s %d", a1, &i1);
      unsigned char bytes[64];
      memset(bytes, 0, sizeof bytes);
      parse_hex(a1, bytes, 64);
      int st = lddecimal(bytes, i1, &r);
      printf("%d ", st);
      print_record(&r);
      printf("\n");
    } else if (!strcmp(op, "cvlong")) {
      long long v = 0;
      sscanf(line, "%*s %lld", &v);
      int st = deccvlong((int32_t)v, &r);
      printf("%d ", st);
      print_record(&r);
      printf("\n");
    } else if (!strcmp(op, "tolong") || !strcmp(op, "toint")) {
      sscanf(line, "%*s %255s", a1);
      parse_record(a1, &a);
      int st;
      long long v;
      if (op[2] == 'l') {
        int32_t t = 12345;
        st = dectolong(&a, &t);
        v = t;
      } else {
        int t = 12345;
        st = dectoint(&a, &t);
        v = t;
      }
      printf("%d %lld\n", st, v);
    } else if (!strcmp(op, "cvdbl") || !strcmp(op, "cvflt")) {
      unsigned long long bits = 0;
      sscanf(line, "%*s %llx", &bits);
      double v;
      memcpy(&v, &bits, sizeof v);
      int st = op[2] == 'd' ? deccvdbl(v, &r) : deccvflt(v, &r);
      printf("%d ", st);
      print_record(&r);
      printf("\n");
    } else if (!strcmp(op, "cvt")) {
      sscanf(line, "%*s %255s %d %d", a1, &i1, &i2);
      parse_record(a1, &a);
      int decpt = -999, sign = -999;
      char *t = deccvt(&a, i1, &decpt, &sign, i2);
      printf("%s|%d|%d\n", t ? t : "-", decpt, sign);
    } else if (!strcmp(op, "kvx")) {
      sscanf(line, "%*s %255s %d %d %d", a1, &i1, &i2, &i3);
      parse_record(a1, &a);
      int decpt = -999, sign = -999;
      static char buf[512];
      strcpy(buf, "-");
      int st = kvx_deccvt(&a, i1, &decpt, &sign, i2, buf, i3);
      printf("%d|%s|%d|%d\n", st, buf, decpt, sign);
    } else {
      printf("?\n");
    }
  }
  return 0;
}
