// The number formatter on formats built from the input, in the fixture
// codesets (Latin-1-like, EUC-like) with numeric conventions of their own:
// "." "," "+" "-", and in the EUC-like codeset a two-column decimal point,
// separator and negative sign with the positive sign "++".
//
// Input: byte 0: bit 0 the codeset, bits 1-4 a grouping record (valid and
// degenerate ones); byte 1: the room of the first call. Then items, each
// led by a byte whose low three bits pick it:
//   0      literal text: a length byte and the bytes ('%' doubled, NUL left out)
//   1      "%%"
//   2-6    a directive: bytes for flags (bits: ' - + blank #, 0 flag, a
//          "1$" position), width (0xFF '*', bit 7 digits of the rest),
//          precision (low bits: none, ".digits", ".*", a bare "."), length,
//          conversion (among them some that are none), then the value bytes
//   7      a format that ends inside a directive
// The directives are parsed here as they are built, so that each call gets
// one argument of the type its directive reads ('*' an int, "ll" a long
// long and then an int, floats a double, "%c" a multibyte character or a
// wide one, "%s" a multibyte or a wide string); at most four arguments.
// After a conversion that is none, or an end inside a directive, the call
// must fail (-1) and nothing further is built.
//
// Each format is written into a heap block of exactly the room of byte 1,
// then measured in a large one and written again into exactly the room of
// its text and terminator, which must give the same text, and one byte
// less, which must fail. A failure reports one of the documented errors.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlsfmt.h>

#include "lcofix.h"
#include "services.h"

namespace {

using vlsfuzz::check;

constexpr size_t kMaxArgs = 4;

vl_locale_t *fixture(const vlstest::CtypeSpec &ctype, const vlstest::NumericSpec &numeric) {
  vl_locale_t *h = vlstest::make_handle(ctype);
  if (!h) return nullptr;
  std::string text = vlstest::numeric_section(numeric);
  FILE *f = fmemopen(text.data(), text.size(), "r");
  vl_free_category(h, VL_LC_NUMERIC);
  vl_make_null_category(h, VL_LC_NUMERIC);
  int32_t err = 0;
  const bool ok = f && _vl_read_numeric(f, &h->nmm, &err) == 0 && init_numeric_info(h) > 0;
  if (f) fclose(f);
  return ok ? h : nullptr;
}

// Grouping records: [0] the count, then the sizes. The last two are no
// valid locale's but must not break the formatter (a compiled "0;0").
const std::vector<int32_t> kGroupings[] = {{2, 3, 3}, {1, 3}, {2, 3, 2}, {2, 3, -1}, {3, 1, 2, 3}, {2, 1, 0},
                                           {0},       {1, 1}, {2, 3, 0}, {3, 2, 1, -1}, {1, 0}, {2, 0, 0}};

struct Arg {
  enum Kind { Int, Long, Real, Str, WStr } kind;
  int32_t i = 0;
  long long l = 0;
  double d = 0;
  const char *s = nullptr;
  const vl_wchar *w = nullptr;
};

struct Reader {
  const uint8_t *p, *end;
  bool more() const { return p < end; }
  uint8_t byte() { return p < end ? *p++ : 0; }
  uint64_t bytes(int n) {
    uint64_t v = 0;
    for (int k = 0; k < n; ++k) v = v << 8 | byte();
    return v;
  }
};

// The format and its arguments, built from the items.
struct Built {
  std::string format;
  std::vector<Arg> args;
  std::deque<std::string> strings;
  std::deque<std::vector<vl_wchar>> wides;
  bool must_fail = false;
  bool plain_char = false;  // "%c" of a multibyte character: an empty one fails without a reason
};

void build(Reader &in, Built &b) {
  while (in.more() && !b.must_fail) {
    const uint8_t kind = in.byte() & 7;
    if (kind == 0) {
      for (int n = in.byte() % 16; n > 0; --n) {
        const char c = static_cast<char>(in.byte());
        if (c == '%') b.format += "%%";
        else if (c) b.format += c;
      }
    } else if (kind == 1) {
      b.format += "%%";
    } else if (kind == 7) {
      b.format += "%";
      const uint8_t f = in.byte();
      if (f & 1) b.format += "'-";
      if (f & 2) b.format += "12";
      if (f & 4) b.format += ".";
      if (f & 8) b.format += "3l";
      b.must_fail = true;
    } else {
      const uint8_t flags = in.byte(), width = in.byte(), prec = in.byte(), length = in.byte(), conv = in.byte();
      const uint64_t value = in.bytes(8);
      std::string d = "%";
      std::vector<Arg> args;
      const auto star = [&](int shift) {
        Arg a{Arg::Int};
        a.i = static_cast<int16_t>(value >> shift);
        args.push_back(a);
      };
      if (flags & 64) d += "1$";
      for (int k = 0; k < 5; ++k)
        if (flags & (1 << k)) d += "'-+ #"[k];
      if (flags & 32) d += '0';
      if (width == 0xFF) d += '*', star(48);
      else if (width & 0x80) d += std::to_string(width & 0x7F);
      switch (prec & 3) {
        case 1: d += "." + std::to_string(prec >> 2); break;
        case 2: d += ".*", star(32); break;
        case 3: d += "."; break;
        default: break;
      }
      static const char *const kLengths[] = {"", "l", "L", "ll", "Ll", "h", "H", "hh", "Hh"};
      const std::string len = kLengths[length % 9];
      d += len;
      static const char kConversions[] = "diuoxXbqpeEfgGcsdfs%kn!";
      const char c = kConversions[conv % (sizeof kConversions - 1)];
      d += c;
      const bool wide = !len.empty() && (len[0] == 'l' || len[0] == 'L');
      if (strchr("diuoxXbqp", c)) {
        if (len == "ll" || len == "Ll") args.push_back({Arg::Long, 0, static_cast<long long>(value), 0});
        args.push_back({Arg::Int, static_cast<int32_t>(value)});
      } else if (strchr("eEfgG", c)) {
        Arg a{Arg::Real};
        if (conv & 0x80) memcpy(&a.d, &value, sizeof a.d);  // any bit pattern: NaN, infinities, subnormals
        else a.d = static_cast<double>(static_cast<int64_t>(value) >> 20) / 1000;
        args.push_back(a);
      } else if (c == 'c' && wide) {
        // A vl_wchar, read as one; not NUL, which would end the text early.
        args.push_back({Arg::Int, static_cast<int32_t>(value & 0x7FFFFFFF) ? static_cast<int32_t>(value & 0x7FFFFFFF) : 'A'});
      } else if (c == 'c' || c == 's') {
        if (c == 's' && wide) {
          auto &w = b.wides.emplace_back();
          for (int k = 0; k < static_cast<int>(value % 5); ++k)
            w.push_back(k == 0 && (value & 0x100) ? static_cast<vl_wchar>(value >> 8) : static_cast<vl_wchar>(0x20 + (value >> (8 * k)) % 0x3000));
          w.push_back(0);
          args.push_back({Arg::WStr, 0, 0, 0, nullptr, w.data()});
        } else {
          auto &s = b.strings.emplace_back();
          for (int n = in.byte() % 140; n > 0; --n)
            if (const char ch = static_cast<char>(in.byte())) s += ch;
          args.push_back({Arg::Str, 0, 0, 0, s.c_str()});
          b.plain_char |= c == 'c';
        }
      }
      if (b.args.size() + args.size() > kMaxArgs) return;
      // No conversion: the call ends here; but a bare "%%" is the literal.
      b.must_fail = !strchr("diuoxXbqpeEfgGcs", c) && d != "%%";
      b.format += d;
      b.args.insert(b.args.end(), args.begin(), args.end());
    }
  }
}

// vl_mbsprintf with the arguments, each in its own type.
template <typename... A>
int call(vl_locale_t *h, char *out, int32_t size, const Built &b, A... a) {
  if constexpr (sizeof...(A) < kMaxArgs) {
    if (sizeof...(A) < b.args.size()) {
      const Arg &x = b.args[sizeof...(A)];
      switch (x.kind) {
        case Arg::Int: return call(h, out, size, b, a..., x.i);
        case Arg::Long: return call(h, out, size, b, a..., x.l);
        case Arg::Real: return call(h, out, size, b, a..., x.d);
        case Arg::Str: return call(h, out, size, b, a..., x.s);
        case Arg::WStr: return call(h, out, size, b, a..., x.w);
      }
    }
  }
  return vl_mbsprintf(h, out, size, b.format.c_str(), a...);
}

// A call into a heap block of exactly `room` bytes; the result, checked.
int run(vl_locale_t *h, const Built &b, int32_t room, std::string *text) {
  std::unique_ptr<char[]> out(new char[room]);
  h->vl_errno = 0;
  const int n = call(h, out.get(), room, b);
  check(n >= -1);
  if (n >= 0) {
    check(!b.must_fail);
    check(n + vl_mb_loc_min(h) <= room);
    if (text) text->assign(out.get(), static_cast<size_t>(n));
  } else {
    const uint32_t e = h->vl_errno;
    check(e == 1 || e == 3 || e == 9 || e == 14 || e == 15 || e == 22 || e == 45 || (e == 0 && b.plain_char));
  }
  return n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vl_locale_t *handles[2] = {
      fixture(vlstest::latin1_spec(), {".", ",", {2, 3, 3}, "+", "-"}),
      fixture(vlstest::euc_spec(), {"\xA1\xA5", "\xA1\xA4", {2, 3, 3}, "++", "\xA1\xDD"})};
  if (size < 2) return 0;
  vl_locale_t *h = handles[data[0] & 1];
  if (!h) __builtin_trap();
  const std::vector<int32_t> &g = kGroupings[(data[0] >> 1) % std::size(kGroupings)];
  memset(h->nmm.grouping, 0, sizeof h->nmm.grouping);
  std::copy(g.begin(), g.end(), h->nmm.grouping);
  Reader in{data + 2, data + size};
  Built b;
  build(in, b);
  run(h, b, data[1], nullptr);
  std::string probe, again;
  const int n = run(h, b, 4096, &probe);
  if (n < 0) return 0;
  const int32_t room = n + vl_mb_loc_min(h);
  check(run(h, b, room, &again) == n && again == probe);
  check(run(h, b, room - 1, nullptr) == -1 && h->vl_errno == VL_E2BIG);
  return 0;
}
