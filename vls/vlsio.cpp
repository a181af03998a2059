// Stream character I/O. Every byte goes through the host table's stream
// slots; the streams themselves are opaque. A failure stops the call where
// it stands: no byte is pushed back.
#include <vls/vlsio.h>

#include <cstring>

#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"
#include "vlswalk.h"

namespace {

constexpr int32_t kMaxChar = vls::tree::kMaxChar;
constexpr vl_wchar kLineFeed = 10;


inline int fail(vl_locale_t *h, uint32_t code) {
  vls::set_error(h, code);
  return -1;
}

// One byte of a single-byte stream. The byte 255 is taken for the end only
// when the stream says so, so a true 255 is kept. Gives -1 with 16 stored
// at the end.
inline int sb_getc(vl_locale_t *h, void *stream) {
  const int c = _vl_ext_fgetc(stream);
  const unsigned char b = static_cast<unsigned char>(c);
  if (b == 0xFF && _vl_ext_feof(stream)) return fail(h, VL_EEOF);
  return b;
}

// The length of the character at `c` for writing: the inline single-byte
// test, else the tree (or bridge) walk, in the twin's form.
template <bool Counted>
inline int32_t put_length(vl_locale_t *h, const char *c, int32_t limit) {
  if (h->single_byte) {
    if constexpr (Counted) return limit < 1 ? fail(h, VL_EINVAL) : 1;
    return *c ? 1 : 0;
  }
  return Counted ? _kvx_vl_full_mblen(h, c, limit) : vl_full_mblen(h, c, limit);
}

template <bool Counted>
int putmb(vl_locale_t *h, const char *character, int32_t limit, vl_byte_writer writer, void *argument,
          int32_t *length) {
  int32_t unused;
  if (!length) length = &unused;
  if (!character) return -1;
  if (limit < 0) limit = vl_mb_loc_max(h);
  const int32_t len = put_length<Counted>(h, character, limit);
  if (len < 0) {
    *length = 0;
    return -1;
  }
  const auto *c = reinterpret_cast<const unsigned char *>(character);
  if (len == 0) {
    // Only the terminated form measures a NUL as 0 bytes: it is written in
    // the codeset's shortest length.
    const int32_t min = vl_mb_loc_min(h);
    for (int32_t i = 0; i < min; ++i) {
      if (writer(c[0], argument) < 0) {
        *length = 0;
        return fail(h, VL_EIO);
      }
    }
    *length = min;
    return 0;
  }
  for (int32_t i = 0; i < len; ++i) {
    if (writer(c[i], argument) < 0) {
      *length = i;
      return fail(h, VL_EIO);
    }
  }
  *length = len;
  return 0;
}

// Writes one wide value; false on failure.
bool put_wide(vl_locale_t *h, vl_wchar wide, void *stream) {
  char scratch[16] = {};
  vl_mbsterm(h, scratch);
  if (h->single_byte) {
    scratch[0] = static_cast<char>(wide);
  } else if (vl_full_wctomb(h, scratch, wide) < 0) {
    vls::set_error(h, VL_EILSEQ);
    return false;
  }
  return vl_fputmb(h, scratch, stream) != nullptr;
}

}  // namespace

extern "C" {

VLS_API int local_fgetc(void *stream) { return _vl_ext_fgetc(stream); }

VLS_API int local_fputc(int byte, void *stream) {
  const unsigned char b = static_cast<unsigned char>(byte);
  return _vl_ext_fwrite(&b, 1, 1, stream) == 1 ? 0 : -1;
}

VLS_API int ismbnl(const char *character, int32_t min_length, int32_t length) {
  if (!character || length != min_length || length < 1 || length > kMaxChar) return 0;
  const auto *c = reinterpret_cast<const unsigned char *>(character);
  for (int32_t i = 0; i + 1 < length; ++i)
    if (c[i]) return 0;
  return c[length - 1] == kLineFeed ? 1 : 0;
}

VLS_API int vl_getmb(vl_locale_t *h, char *target, vl_byte_reader reader, void *argument, int32_t *length) {
  int32_t unused;
  if (!length) length = &unused;
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_getmb, target, reader, argument, length)) return r;
  // Each byte is stored as it is read, so a failed walk leaves its prefix.
  struct Source {
    vl_byte_reader reader;
    void *argument;
    char *target;
    int32_t take(int32_t n, uint32_t code) {
      const int c = reader(argument);
      if (c < 0) return -static_cast<int32_t>(code);
      target[n] = static_cast<char>(c);
      return static_cast<unsigned char>(c);
    }
    int32_t first() { return take(0, VL_EEOF); }
    int32_t next(int32_t n) { return take(n, VL_EINVAL); }
  };
  const vls::tree::Walk w = vls::tree::walk(h->ctype.ctype_tree, Source{reader, argument, target});
  *length = w.bytes;
  if (!w.ok()) return fail(h, w.err);
  return 0;
}

VLS_API int vl_putmb(vl_locale_t *h, const char *character, int32_t limit, vl_byte_writer writer, void *argument,
                     int32_t *length) {
  return putmb<false>(h, character, limit, writer, argument, length);
}

VLS_API int _kvx_vl_putmb(vl_locale_t *h, const char *character, int32_t limit, vl_byte_writer writer,
                          void *argument, int32_t *length) {
  return putmb<true>(h, character, limit, writer, argument, length);
}

// The end of the file is tested after vl_getmb, so a file that ends inside
// a character reports 16 here.
VLS_API int vl_full_fgetmb(vl_locale_t *h, char *target, void *stream) {
  int32_t length = 0;
  if (vl_getmb(h, target, local_fgetc, stream, &length) != 0) {
    if (_vl_ext_feof(stream))
      vls::set_error(h, VL_EEOF);
    else if (_vl_ext_ferror(stream))
      vls::set_error(h, VL_EIO);
    return -1;
  }
  return length;
}

VLS_API char *vl_fputmb(vl_locale_t *h, const char *character, void *stream) {
  int32_t length = 0;
  if (vl_putmb(h, character, -1, local_fputc, stream, &length) != 0) return nullptr;
  return const_cast<char *>(character);
}

VLS_API int32_t vl_full_fgetwc(vl_locale_t *h, void *stream) {
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_fgetuc32, stream)) return r;
  // The end of the file is 16 before a character and 7 inside one.
  struct Source {
    void *stream;
    int32_t take(uint32_t at_end) {
      const int c = _vl_ext_fgetc(stream);
      if (c >= 0) return static_cast<unsigned char>(c);
      const uint32_t code = _vl_ext_feof(stream) ? at_end : _vl_ext_ferror(stream) ? uint32_t{VL_EIO} : uint32_t{VL_EPARTIAL};
      return -static_cast<int32_t>(code);
    }
    int32_t first() { return take(VL_EEOF); }
    int32_t next(int32_t) { return take(VL_EINVAL); }
  };
  const vls::tree::Walk w = vls::tree::walk(h->ctype.ctype_tree, Source{stream});
  if (!w.ok()) return fail(h, w.err);
  return static_cast<int32_t>(w.value);
}

VLS_API int32_t vl_fputwc(vl_locale_t *h, vl_wchar wide, void *stream) {
  return put_wide(h, wide, stream) ? static_cast<int32_t>(wide) : -1;
}

VLS_API int vl_fputmbs(vl_locale_t *h, const char *string, void *stream) {
  if (!string) return fail(h, VL_EBADPTR);
  const int bytes = vl_mbsbytes(h, string);
  if (bytes <= 0) return -1;
  const size_t n = static_cast<size_t>(bytes - vl_mb_loc_min(h));
  if (n && _vl_ext_fwrite(string, 1, n, stream) != n) return fail(h, VL_EIO);
  return 0;
}

VLS_API int vl_fputwcs(vl_locale_t *h, const vl_wchar *wide, void *stream) {
  if (!wide) return fail(h, VL_EBADPTR);
  for (const vl_wchar *p = wide; *p; ++p)
    if (!put_wide(h, *p, stream)) return -1;
  return 0;
}

// At the end of the file before a line feed the characters read so far are
// dropped: the result is null with 16.
VLS_API char *vl_fgetmbs(vl_locale_t *h, char *target, int32_t size, void *stream) {
  const int32_t min = vl_mb_loc_min(h);
  char c[kMaxChar * 2];
  int32_t used = 0;
  int32_t n;
  for (;;) {
    if (h->single_byte) {
      const int b = sb_getc(h, stream);
      if (b < 0) return nullptr;
      c[0] = static_cast<char>(b);
      n = 1;
    } else {
      n = vl_full_fgetmb(h, c, stream);
      if (n < 0) return nullptr;
    }
    if (ismbnl(c, min, n)) break;
    if (n > size - used) {
      vls::set_error(h, VL_E2BIG);
      return nullptr;
    }
    memcpy(target + used, c, static_cast<size_t>(n));
    used += n;
  }
  if (n > size - used) {
    vls::set_error(h, VL_E2BIG);
    return nullptr;
  }
  memcpy(target + used, c, static_cast<size_t>(n));
  used += n;
  if (min > size - used) {
    vls::set_error(h, VL_E2BIG);
    return nullptr;
  }
  memset(target + used, 0, static_cast<size_t>(min));
  return target;
}

// In a single-byte locale the byte passes through the handle's scratch
// field, so this call writes the handle.
VLS_API vl_wchar *vl_fgetwcs(vl_locale_t *h, vl_wchar *target, int32_t size, void *stream) {
  int32_t used = 0;
  for (;;) {
    vl_wchar v;
    if (h->single_byte) {
      const int b = sb_getc(h, stream);
      if (b < 0) return nullptr;
      h->fgetwcs_scratch = reinterpret_cast<void *>(static_cast<uintptr_t>(b));
      v = static_cast<vl_wchar>(reinterpret_cast<uintptr_t>(h->fgetwcs_scratch));
    } else {
      const int32_t r = vl_full_fgetwc(h, stream);
      if (r == -1) return nullptr;
      v = static_cast<vl_wchar>(r);
    }
    if (v == kLineFeed) break;
    if (used >= size) {
      vls::set_error(h, VL_E2BIG);
      return nullptr;
    }
    target[used++] = v;
  }
  if (used >= size) {
    vls::set_error(h, VL_E2BIG);
    return nullptr;
  }
  target[used++] = kLineFeed;
  if (used >= size) {
    vls::set_error(h, VL_E2BIG);
    return nullptr;
  }
  target[used] = 0;
  return target;
}

}  // extern "C"
