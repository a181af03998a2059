// The conversion service: one buffer policy a call around a conversion
// object. A null object means the same codeset on both sides: the text is
// copied.
#include <cmath>

#include <vls/vlsclient.h>
#include <vls/vlscv.h>

#include "vlsint.h"

namespace {

int32_t refuse(int32_t status) {
  set_vlserror(status);
  return -1;
}

bool bad_length(const int32_t *source_len) { return source_len && *source_len <= 0; }

int32_t length_of(const char *source, const int32_t *source_len) {
  return source_len ? *source_len : stleng(source);
}

// The room three policies give: the length times the expansion, rounded
// up, and one more byte for a terminated source.
int32_t estimate(conv_object *cv, const char *source, const int32_t *source_len) {
  const double e = cv ? static_cast<double>(vl_iconv_expansion(cv)) : 1.0;
  const int32_t n = static_cast<int32_t>(std::ceil(static_cast<double>(length_of(source, source_len)) * e));
  return source_len ? n : n + 1;
}

void copy(const char *source, const int32_t *source_len, char *target) {
  if (source_len)
    bycopy(source, target, *source_len);
  else
    stcopy(source, target);
}

struct Outcome {
  int rc;
  int32_t written;
  uint32_t err;
};

// One vl_miconv run into `room` bytes at `target`.
Outcome run(conv_object *cv, const char *source, const int32_t *source_len, char *target, int32_t room) {
  const char *s = source;
  int32_t n = source_len ? *source_len : 0, left = room, flag = 0;
  char *t = target;
  const int rc = vl_miconv(cv, &s, source_len ? &n : nullptr, &t, &left, &flag);
  return {rc, room - left, rc == 0 ? 0u : static_cast<uint32_t>(cv->vl_errno)};
}

int32_t status_of(uint32_t err) { return err == VL_EILSEQ || err == VL_EINVAL ? VL_GCV_BADTEXT : VL_GCV_FAILED; }

}  // namespace

extern "C" {

VLS_API int32_t gcv_extbuf(conv_object *cv, const char *source, const int32_t *source_len, char *target,
                           int32_t target_size, int32_t *truncated) {
  if (!source || !target || target_size <= 0 || bad_length(source_len)) return refuse(VL_GCV_BADARG);
  if (truncated) *truncated = 0;
  if (!cv) {
    copy(source, source_len, target);
    return 0;
  }
  const Outcome o = run(cv, source, source_len, target, target_size);
  if (o.rc == 0) return o.written;
  if (o.err == VL_E2BIG) {  // a partial result, not a failure
    if (truncated) *truncated = 1;
    return o.written;
  }
  return refuse(status_of(o.err));
}

VLS_API int32_t gcv_inplace(conv_object *cv, char *buffer, const int32_t *source_len, int32_t buffer_size,
                            int32_t *truncated) {
  if (!buffer || buffer_size <= 0 || bad_length(source_len)) return refuse(VL_GCV_BADARG);
  if (truncated) *truncated = 0;
  if (!cv) return 0;
  const int32_t size = estimate(cv, buffer, source_len) + 4;
  vls::HostPtr<char> temp(static_cast<char *>(_vl_alloc_ptr(static_cast<size_t>(size))));
  if (!temp) return refuse(VL_GCV_NOMEM);
  const Outcome o = run(cv, buffer, source_len, temp.get(), buffer_size < size ? buffer_size : size);
  if (o.rc != 0 && o.err != VL_E2BIG) return refuse(status_of(o.err));
  if (o.rc != 0 && truncated) *truncated = 1;
  bycopy(temp.get(), buffer, o.written);
  return o.written;
}

VLS_API int32_t gcv_malloc(conv_object *cv, const char *source, const int32_t *source_len, char **block_out) {
  if (!source || !block_out || bad_length(source_len)) return refuse(VL_GCV_BADARG);
  const int32_t size = estimate(cv, source, source_len) + 4;
  *block_out = static_cast<char *>(_vl_alloc_ptr(static_cast<size_t>(size)));
  if (!*block_out) return refuse(VL_GCV_NOMEM);
  if (!cv) {
    copy(source, source_len, *block_out);
    return 0;
  }
  const Outcome o = run(cv, source, source_len, *block_out, size);
  if (o.rc == 0) return o.written;
  _vl_free_ptr(*block_out);
  *block_out = nullptr;  // never left pointing at the freed block
  return refuse(VL_GCV_BADTEXT);
}

VLS_API int32_t gcv_reuse(conv_object *cv, const char *source, const int32_t *source_len, gcv_reuse_t *record) {
  if (!source || !record || bad_length(source_len)) return refuse(VL_GCV_BADARG);
  const int32_t need = estimate(cv, source, source_len);
  if (record->size < need) {
    char *grown = static_cast<char *>(_vl_ext_realloc(record->block, static_cast<size_t>(need) + 4));
    if (!grown) return refuse(VL_GCV_NOMEM);
    record->block = grown;
    record->size = need;
  }
  if (!cv) {
    copy(source, source_len, record->block);
    return 0;
  }
  const Outcome o = run(cv, source, source_len, record->block, record->size);
  return o.rc == 0 ? o.written : refuse(VL_GCV_BADTEXT);
}

VLS_API int32_t gcv_len(conv_object *cv, const char *source, const int32_t *source_len) {
  if (!cv) {
    if (source_len) return *source_len < 0 ? -1 : *source_len;
    return stleng(source) + 1;
  }
  char *block = nullptr;
  const int32_t n = gcv_malloc(cv, source, source_len, &block);
  _vl_free_ptr(block);
  // Bad arguments keep their own status; every converter failure is one.
  return n < 0 && get_vlserror() != VL_GCV_BADARG ? refuse(VL_GCV_BADTEXT) : n;
}

}  // extern "C"
