// Client start-up. For now: the client layer's two error numbers, kept in
// the general control block shared with the decimal conversions.
#include <vls/vlsclient.h>

#include "decint.h"

extern "C" {

VLS_API int get_vlserror(void) {
  vl_gentcb *cb = CheckGenInit();
  return cb ? cb->vlserror : VL_NO_CONTROL_BLOCK;
}

VLS_API void set_vlserror(int status) {
  if (vl_gentcb *cb = CheckGenInit()) cb->vlserror = status;
}

VLS_API int get_toerrno(void) {
  vl_gentcb *cb = CheckGenInit();
  return cb ? cb->toerrno : VL_NO_CONTROL_BLOCK;
}

VLS_API void set_toerrno(int value) {
  if (vl_gentcb *cb = CheckGenInit()) cb->toerrno = value;
}

}  // extern "C"
