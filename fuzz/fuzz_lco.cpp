// Locale object files and their section readers on arbitrary bytes. The
// first byte picks the reader; the rest is the file.
#include <cstdint>
#include <cstdio>

#include <vls/vlscat.h>
#include <vls/vlsctype.h>
#include <vls/vls.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  unsigned which = data[0] % 6;
  FILE *f = fmemopen(const_cast<uint8_t *>(data + 1), size - 1, "r");
  if (!f) f = tmpfile();  // an empty file
  if (!f) return 0;
  vl_locale_t *h = nullptr;
  if (vl_create_null_locale_4(&h) != 0) {
    fclose(f);
    return 0;
  }
  int32_t err = 0;
  switch (which) {
    case 0:
      if (read_locale_file(f, h) == 0) {
        char probe[] = "ab\xA1\xA2";
        vl_full_mblen(h, probe, 4);
      }
      break;
    case 1:
      read_ctype(f, h);
      break;
    case 2:
      _vl_read_numeric(f, &h->nmm, &err);
      break;
    case 3:
      _vl_read_monetary(f, &h->nmm, &err);
      break;
    case 4:
      _vl_read_messages(f, &h->nmm, &err);
      break;
    default:
      read_one_category(h, VL_LC_MESSAGES, f);
      break;
  }
  fclose(f);
  vl_lc_unload(h);
  return 0;
}
