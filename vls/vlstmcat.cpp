// Time category: names, formats, eras and alternative digits.
#include <cstring>

#include <vls/vlscat.h>

#include "vlsint.h"

extern "C" {

// Clears every field up to the joined alternative digits.
VLS_API void _vl_init_ltime(time_category *t) { memset(t, 0, sizeof *t); }

VLS_API void free_ltime(time_category *t) { _vl_init_ltime(t); }

}  // extern "C"
