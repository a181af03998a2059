// Fuzzes the counted string members with arbitrary bytes and arbitrary
// lengths (-1, real, beyond the data, other negatives) in an EUC-like
// codeset: ASCII in one byte, 0xA1..0xFE 0xA1..0xFE and 0x8E 0xA1..0xDF in
// two. The LC_CTYPE tree is built here with the library's own tree
// functions.
//
// Input: byte 0 picks the member, bytes 1-2 give the split of the rest into
// two strings A and B, bytes 3-5 their lengths and a count. Both strings
// lie in buffers padded with zero bytes, so that a NUL-terminated walk ends
// inside them.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlsstr.h>

#include "lcofix.h"

namespace {

constexpr size_t kPad = 16;

// A length from one byte: mostly real lengths within the data, sometimes
// -1, beyond the data is avoided (the members trust a real length), and
// now and then another negative value.
int32_t pick_length(uint8_t b, size_t size) {
  if (b >= 0xF0) return -1;
  if (b >= 0xE8) return -static_cast<int32_t>(b & 7) - 2;
  return size ? static_cast<int32_t>(b % (size + 1)) : 0;
}

void check(bool condition) {
  if (!condition) __builtin_trap();
}

bool within(const void *p, const char *start, size_t size) {
  const char *c = static_cast<const char *>(p);
  return c >= start && c <= start + size;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vl_locale_t *h = vlstest::make_handle(vlstest::euc_spec());
  if (!h) __builtin_trap();
  if (size < 6) return 0;
  const unsigned member = data[0] % 24;
  const size_t rest = size - 6;
  const size_t split = rest ? ((size_t{data[1]} << 8 | data[2]) % (rest + 1)) : 0;
  const size_t na = split, nb = rest - split;
  const uint8_t *text = data + 6;

  std::vector<char> a(na + kPad, 0), b(nb + kPad, 0);
  memcpy(a.data(), text, na);
  memcpy(b.data(), text + na, nb);
  const int32_t la = pick_length(data[3], na), lb = pick_length(data[4], nb);
  const int32_t n = static_cast<int32_t>(data[5] % 40) - 2;
  // A target with room for both strings and a terminator.
  std::vector<char> t(na + nb + 2 * kPad, 0);
  memcpy(t.data(), a.data(), na);
  const size_t an = strnlen(a.data(), a.size()), bn = strnlen(b.data(), b.size());

  h->vl_errno = 0;
  switch (member) {
    case 0: {
      int r = _kvx_vl_mbscat(h, t.data(), la, b.data(), lb);
      if (r >= 0 && la >= 0) check(r == la + lb);
      if (r >= 0 && la == -1) check(static_cast<size_t>(r) <= an + bn + 1);
      break;
    }
    case 1: {
      int r = _kvx_vl_mbscpy(h, t.data(), b.data(), lb);
      if (r >= 0 && lb >= 0) check(r == lb);
      break;
    }
    case 2: {
      int r = _kvx_vl_mbsncat(h, t.data(), la, b.data(), lb, n);
      if (r >= 0 && la >= 0) check(r >= la && r <= la + lb);
      break;
    }
    case 3: {
      int r = _kvx_vl_mbsncpy(h, t.data(), b.data(), lb, n);
      if (r >= 0 && lb >= 0) check(r <= lb);
      if (lb == -1 && n >= 0 && h->vl_errno == 0) check(r + 1 >= 0 && static_cast<size_t>(r + 1) <= bn);
      break;
    }
    case 4:
    case 5: {
      char *r = member == 4 ? _kvx_vl_mbschr(h, a.data(), la, b.data(), lb)
                            : _kvx_vl_mbsrchr(h, a.data(), la, b.data(), lb);
      if (r) check(within(r, a.data(), la >= 0 ? static_cast<size_t>(la) : an));
      break;
    }
    case 6:
    case 7: {
      int r = member == 6 ? _kvx_vl_mbsspn(h, a.data(), la, b.data(), lb)
                          : _kvx_vl_mbscspn(h, a.data(), la, b.data(), lb);
      if (r >= 0) check(static_cast<size_t>(r) <= (la >= 0 ? static_cast<size_t>(la) : an));
      break;
    }
    case 8: {
      char *r = _kvx_vl_mbspbrk(h, a.data(), la, b.data(), lb);
      if (r) check(within(r, a.data(), la >= 0 ? static_cast<size_t>(la) : an));
      break;
    }
    case 9: {
      char *r = _kvx_vl_mbsmbs(h, a.data(), la, b.data(), lb);
      if (r && la >= 0 && lb >= 0) check(r + lb <= a.data() + la && memcmp(r, b.data(), lb) == 0);
      break;
    }
    case 10: {
      char *r = _kvx_vl_full_mbsnext(h, a.data(), la);
      if (r) check(r > a.data() && r <= a.data() + 2);
      break;
    }
    case 11: {
      int r = _kvx_vl_mbsntslen(h, a.data(), la);
      int s = _kvx_vl_mbsntsbytes(h, a.data(), la);
      check((r < 0) == (s < 0));
      if (s >= 0) check(r <= s && static_cast<size_t>(s) <= (la >= 0 ? static_cast<size_t>(la) : an));
      break;
    }
    case 12: {
      int32_t count = 0;
      vl_wchar *w = vl_mbstowcslen(h, a.data(), &count);
      if (w) {
        check(static_cast<size_t>(count) <= an && w[count] == 0);
        _vl_free_ptr(w);
      }
      break;
    }
    case 13: {
      // The index stays inside the padded buffer: a step is at most two bytes.
      int32_t i = n < 0 ? n : static_cast<int32_t>(n % ((na + kPad) / 2));
      char *r = vl_full_getmbsi(h, a.data(), i);
      if (r) check(within(r, a.data(), na + kPad));
      char *z = vl_getmbsinull(h, a.data(), n);
      if (z) check(within(z, a.data(), an));
      break;
    }
    case 14: {
      if (na > 0) {
        char *r = vl_full_mbsprev(h, a.data(), a.data() + (n < 0 ? 0 : n % na) + 1);
        if (r) check(r >= a.data());
      }
      break;
    }
    case 15: {
      // Replace inside a NUL-terminated target that has room for growth.
      char *p = vl_getmbsinull(h, t.data(), n < 0 ? 0 : n);
      if (p && bn <= 2) vl_mbcreplace(h, p, b.data());
      break;
    }
    case 16:
      vl_full_mbscat(h, t.data(), b.data());
      break;
    case 17:
      vl_mbsncpy(h, t.data(), b.data(), n);
      break;
    case 18: {
      char *r = vl_full_mbschr(h, a.data(), b.data());
      if (r) check(within(r, a.data(), an));
      r = vl_full_mbsrchr(h, a.data(), b.data());
      if (r) check(within(r, a.data(), an));
      break;
    }
    case 19: {
      int r = vl_full_mbsspn(h, a.data(), b.data());
      if (r >= 0) check(static_cast<size_t>(r) <= an);
      char *p = vl_full_mbsmbs(h, a.data(), b.data());
      if (p) check(within(p, a.data(), an));
      break;
    }
    case 20: {
      char *r = vl_mbsp(h, a.data());
      if (r) check(within(r, a.data(), an));
      vl_mbsntstrunc(h, t.data());
      break;
    }
    default: {
      // The wide members on the same bytes read as values.
      size_t wa = na / 4, wb = nb / 4;
      std::vector<vl_wchar> x(wa + wb + 2, 0), y(wb + 1, 0);
      memcpy(x.data(), a.data(), wa * 4);
      memcpy(y.data(), b.data(), wb * 4);
      int32_t lx = la < 0 ? la : static_cast<int32_t>(la % (wa + 1));
      int32_t ly = lb < 0 ? lb : static_cast<int32_t>(lb % (wb + 1));
      _kvx_vl_wcsspn(h, x.data(), lx, y.data(), ly);
      _kvx_vl_wcswcs(h, x.data(), lx, y.data(), ly);
      _kvx_vl_wcsrchr(nullptr, x.data(), lx, y[0]);
      _kvx_vl_wcsntslen(h, x.data(), lx);
      _kvx_vl_wcsncat(h, x.data(), lx, y.data(), ly, n);
      break;
    }
  }
  return 0;
}
