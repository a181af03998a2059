// Locale object files and their section readers on arbitrary bytes, and
// then the services that trust what a reader loaded.
//
// Input: byte 0 picks the reader (value % 6) and, for the section readers
// that need an LC_CTYPE beside them, the fixture codeset (bit 3: the
// Latin-1-like or the EUC-like one). Then the text part (services.h: a
// length byte, a split byte, the text), then the file.
//
//   0  a whole locale file, as vl_createlocale_4 reads it
//   1  an LC_CTYPE section (read_ctype), then the flags as a load sets them
//   2  LC_NUMERIC, 3 LC_MONETARY, 4 LC_MESSAGES sections, each with its
//      finisher, as a load runs them
//   5  a one-category LC_MESSAGES file (read_one_category)
//
// Whenever the reader succeeds the handle goes through vlsfuzz::exercise.
#include <cstdint>
#include <cstdio>

#include <vls/vlscat.h>
#include <vls/vlsctype.h>
#include <vls/vls.h>

#include "lcofix.h"
#include "services.h"

namespace {

// A read section's category is freed and made null again, as a load does
// before it reads a category file.
void renew(vl_locale_t *h, int category) {
  vl_free_category(h, category);
  vl_make_null_category(h, category);
}

// Runs a section reader and its finisher; true when both succeed.
bool read_section(vl_locale_t *h, unsigned which, FILE *f) {
  int32_t err = 0;
  switch (which) {
    case 2:
      return _vl_read_numeric(f, &h->nmm, &err) == 0 && init_numeric_info(h) > 0;
    case 3:
      return _vl_read_monetary(f, &h->nmm, &err) == 0 && init_monetary_info(h) > 0;
    case 4:
      return _vl_read_messages(f, &h->nmm, &err) == 0 && init_message_info(h) > 0;
    default:
      return read_one_category(h, VL_LC_MESSAGES, f) == 0;
  }
}

const int kCategoryOf[6] = {0, VL_LC_CTYPE, VL_LC_NUMERIC, VL_LC_MONETARY, VL_LC_MESSAGES, VL_LC_MESSAGES};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // The section readers read beside a fixture LC_CTYPE, built once.
  static vl_locale_t *fixtures[2] = {vlstest::make_handle(vlstest::latin1_spec()),
                                     vlstest::make_handle(vlstest::euc_spec())};
  if (size < 1) return 0;
  const unsigned which = data[0] % 6;
  const vlsfuzz::Input in = vlsfuzz::split_input(data + 1, size - 1);
  FILE *f = in.rest_size ? fmemopen(const_cast<uint8_t *>(in.rest), in.rest_size, "r") : tmpfile();
  if (!f) return 0;

  if (which <= 1) {
    vl_locale_t *h = nullptr;
    if (vl_create_null_locale_4(&h) != 0) {
      fclose(f);
      return 0;
    }
    bool loaded = which == 0 ? read_locale_file(f, h) == 0 : read_ctype(f, h) == 0;
    fclose(f);
    if (loaded && update_locale(h) == 0 && init_locale_info(h) >= 0) vlsfuzz::exercise(h, in);
    vl_lc_unload(h);
    return 0;
  }

  vl_locale_t *h = fixtures[(data[0] >> 3) & 1];
  if (!h) __builtin_trap();
  const int category = kCategoryOf[which];
  renew(h, category);
  h->vl_errno = 0;
  const bool loaded = read_section(h, which, f);
  fclose(f);
  if (loaded) vlsfuzz::exercise(h, in);
  renew(h, category);
  return 0;
}
