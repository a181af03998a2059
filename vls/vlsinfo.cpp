// Language information: texts of the loaded categories by item number.
#include <vls/vls.h>

#include "vlsint.h"

extern "C" {

VLS_API const char *vl_nl_langinfo(vl_locale_t *h, int item) {
  const char *s = nullptr;
  switch (item) {
    case VL_YESEXPR:
      s = h->nmm.yesexpr.mb;
      break;
    case VL_NOEXPR:
      s = h->nmm.noexpr.mb;
      break;
    case VL_YESSTR:
      s = h->nmm.yesstr.mb;
      break;
    case VL_NOSTR:
      s = h->nmm.nostr.mb;
      break;
    default:
      break;
  }
  return s ? s : "";
}

}  // extern "C"
