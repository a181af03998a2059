// Calendars: moving a Gregorian date into the calendar of a time category.
//
// Only the Gregorian calendar is implemented so far. A locale of another
// calendar (Hebrew, Islamic, Arabic) gets its date back as Gregorian, with
// the month's name taken from the Gregorian month, until its conversion
// is written here.
#include <cstring>

#include <vls/vlstmfmt.h>

#include "vlsint.h"

extern "C" {

VLS_API int vl_cal_gregorian_to_local(vl_locale_t *h, const vl_alt_tm *gregorian, vl_alt_tm *local) {
  if (!gregorian || !local) return vls::fail(h, VL_EBADPTR);
  memcpy(local, gregorian, sizeof *local);
  return 0;
}

}  // extern "C"
