// The LC_COLLATE reader on arbitrary bytes, then the comparisons and keys
// on the text, in a Latin-1-like single-byte codeset or an EUC-like one
// (the LC_CTYPE fixtures of the tests, built once per process).
//
// Input: byte 0 picks the codeset (bit 0); then the text part (services.h:
// a length byte, a split byte, the text); the rest is the section behind
// its marker. A read that succeeds must leave tables the engine can walk:
// the handle is readied and every collation service runs on the text; the
// category is released and remade either way.
#include <cstdint>
#include <cstdio>

#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlscoll.h>

#include "lcofix.h"
#include "services.h"

using vlsfuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vl_locale_t *handles[2] = {vlstest::make_handle(vlstest::latin1_spec()), vlstest::make_handle(vlstest::euc_spec())};
  if (size < 1) return 0;
  vl_locale_t *h = handles[data[0] & 1];
  if (!h) __builtin_trap();
  const vlsfuzz::Input in = vlsfuzz::split_input(data + 1, size - 1);
  FILE *f = in.rest_size ? fmemopen(const_cast<uint8_t *>(in.rest), in.rest_size, "r") : tmpfile();
  if (!f) return 0;
  vl_free_category(h, VL_LC_COLLATE);
  vl_make_null_category(h, VL_LC_COLLATE);
  h->vl_errno = 0;
  const int r = read_collate(f, h);
  fclose(f);
  if (r == 0) {
    const collate_category &c = h->collate;
    check(c.collation_kind == VL_COLL_TABLE || c.collation_kind == VL_COLL_THAI);
    check(c.num_passes <= VL_MAX_PASSES);
    check(set_flags(h) == 0);
    for (int32_t p = 1; p <= c.num_passes; ++p) {
      const int d = vl_getpassdirection(h, p);
      check(d == 1 || d == 2 || (d == -1 && h->vl_errno == VL_EMISMATCH));
    }
    vlsfuzz::exercise(h, in);
  }
  vl_free_category(h, VL_LC_COLLATE);
  vl_make_null_category(h, VL_LC_COLLATE);
  set_flags(h);
  return 0;
}
