// The base text helpers of the client and OS layers.
#include <cstring>

#include <vls/vlsclient.h>

extern "C" {

VLS_API int32_t stleng(const char *text) { return text ? static_cast<int32_t>(strlen(text)) : 0; }

VLS_API void stcopy(const char *from, char *to) {
  if (from && to) memmove(to, from, strlen(from) + 1);
}

VLS_API void bycopy(const char *from, char *to, int32_t count) {
  if (from && to && count > 0) memmove(to, from, static_cast<size_t>(count));
}

}  // extern "C"
