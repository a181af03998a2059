// Time category: names, formats, eras and alternative digits.
#include <cstring>

#include <vls/vlscat.h>

#include "vlsint.h"

extern "C" {

// Clears every field up to the joined alternative digits.
VLS_API void _vl_init_ltime(time_category *t) { memset(t, 0, sizeof *t); }

VLS_API void free_ltime(time_category *t) { _vl_init_ltime(t); }

}  // extern "C"

extern "C" {

// The section is read by its own reader when the time category arrives;
// until then it consumes nothing, and the frame skips to the next marker.
VLS_API int _vl_read_time(void *, time_category *t, int32_t *) {
  _vl_init_ltime(t);
  return 0;
}

VLS_API int init_time_info(vl_locale_t *) { return 1; }

}  // extern "C"
