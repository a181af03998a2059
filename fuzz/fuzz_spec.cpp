// Fuzzes the locale specification parsers with NUL-terminated input. The
// built-in registry serves the codeset look-ups. Output areas are sized for
// the longest result a text of at most 310 characters can give.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vls/vlsspec.h>

namespace {

struct Rec {
  uint32_t vl_errno;
  uint32_t pad[7];
};

constexpr size_t kOut = 8192;

void check_terminated(const char *out) {
  if (!memchr(out, '\0', kOut)) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool ready = false;
  if (!ready) {
    setenv("KELVANIXDIR", "/nonexistent-vls-fuzz", 1);
    unsetenv("VL_PATH");
    vl_cache_registry(nullptr, "/nonexistent-vls-fuzz/registry");  // built-in table
    ready = true;
  }
  if (size == 0) return 0;
  const unsigned selector = data[0];
  std::vector<char> text(data + 1, data + size);
  text.push_back('\0');
  const char *spec = text.data();

  static char out[kOut];
  Rec r{};

  memset(out, 0, kOut);
  if (vl_lc_spec2lc_fname(&r, spec, out, nullptr, (selector & 1) ? "/d" : nullptr) == 0) check_terminated(out);
  memset(out, 0, kOut);
  if (vl_lc_spec2msg_dname(&r, spec, out, nullptr, (selector & 2) ? "/dir" : nullptr) == 0) {
    if (strlen(out) > 10) __builtin_trap();
  }
  memset(out, 0, kOut);
  vl_lc_spec2lc_norm(&r, spec, out, nullptr);
  memset(out, 0, kOut);
  _vl_lc_short_spec2lc_short_norm(&r, spec, out, nullptr);
  memset(out, 0, kOut);
  vl_lc_short2lc_long(&r, spec, (selector & 4) ? nullptr : out, nullptr);
  vl_is_lc_spec(&r, spec);
  memset(out, 0, kOut);
  vl_lc_spec2lc_short(&r, spec, out, nullptr);
  memset(out, 0, kOut);
  vl_lc_spec2category(&r, spec, static_cast<int>(selector % 9), out, nullptr);
  vl_lc_spec2cs_num(&r, spec, nullptr);
  vl_lc_spec2cs_num(nullptr, spec, nullptr);
  vl_cs_name2cs_num(&r, spec, nullptr);
  int len;
  _vl_is_category(spec, &len);
  if (*spec) _vl_all_decimal_digits(spec);

  // One short form at the start of the text.
  const char *p = spec;
  char *o = out;
  uint16_t num;
  if (_vl_is_xopen_spec(&r, &p, &o, &num, nullptr)) {
    if (o - out > 19 || p < spec || p > spec + strlen(spec)) __builtin_trap();
  }

  // File name pieces and back.
  char lt[6], cs[6], mod[5];
  if (vl_lc_fname2lc_pieces(&r, spec, lt, cs, mod) == 0) {
    char norm[17];
    if (vl_lc_pieces2lc_spec(&r, lt, cs, mod, norm) != 0) __builtin_trap();
  }
  // The text split into three pieces at the first two line feeds.
  std::vector<char> pieces(text);
  char *a = pieces.data();
  char *b = strchr(a, '\n');
  char *c = nullptr;
  if (b) {
    *b++ = '\0';
    c = strchr(b, '\n');
    if (c) *c++ = '\0';
  }
  char joined[17];
  vl_lc_pieces2lc_spec(&r, a, b ? b : "", c, joined);

  // Long form of file names: the files are never there.
  if (selector & 8) {
    memset(out, 0, kOut);
    vl_lc_fname2lc_spec(&r, spec, out, (selector & 16) ? "/nonexistent-vls-fuzz" : nullptr);
  }
  return 0;
}
