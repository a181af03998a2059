// Library-internal helpers shared by the service areas. Not installed.
#ifndef VLS_VLSINT_H
#define VLS_VLSINT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include <stdio_ext.h>

#include <vls/vls.h>

namespace vls {

// Stores an error number through the host's errno slot. The one way to set
// an error: any record that starts with an error number (handle,
// conversion object, scratch), and a null record is left alone.
inline void set_error(void *record, uint32_t code) {
  if (!record) return;
  if (uint32_t *e = _vl_ext_errno(record)) *e = code;
}
// set_error, then the -1 of a failed call.
inline int fail(void *record, uint32_t code) {
  set_error(record, code);
  return -1;
}
inline uint32_t get_error(void *record) { return *_vl_ext_errno(record); }

// Typed allocation through the host table.
template <typename T>
inline T *alloc_array(size_t count) {
  return static_cast<T *>(_vl_alloc_ptr(count * sizeof(T)));
}

// A heap block owned through the host table; released on scope exit
// unless handed on with release().
template <typename T>
class HostPtr {
 public:
  HostPtr() = default;
  explicit HostPtr(T *p) : p_(p) {}
  HostPtr(const HostPtr &) = delete;
  HostPtr &operator=(const HostPtr &) = delete;
  HostPtr(HostPtr &&o) noexcept : p_(o.p_) { o.p_ = nullptr; }
  ~HostPtr() { _vl_free_ptr(p_); }
  T *get() const { return p_; }
  T *release() { return std::exchange(p_, nullptr); }
  void reset(T *p = nullptr) {
    _vl_free_ptr(p_);
    p_ = p;
  }
  explicit operator bool() const { return p_ != nullptr; }
  T &operator[](size_t i) const { return p_[i]; }

 private:
  T *p_ = nullptr;
};

// A stream closed on scope exit: by the host's close slot, or by the
// closer of the file services that opened it.
class HostFile {
 public:
  using Closer = int (*)(void *);
  HostFile() = default;
  explicit HostFile(void *s, Closer closer = _vl_ext_fclose) : s_(s), closer_(closer) {}
  HostFile(const HostFile &) = delete;
  HostFile &operator=(const HostFile &) = delete;
  HostFile(HostFile &&o) noexcept : s_(std::exchange(o.s_, nullptr)), closer_(o.closer_) {}
  HostFile &operator=(HostFile &&o) noexcept {
    if (this != &o) {
      close();
      s_ = std::exchange(o.s_, nullptr);
      closer_ = o.closer_;
    }
    return *this;
  }
  ~HostFile() { close(); }
  void *get() const { return s_; }
  explicit operator bool() const { return s_ != nullptr; }
  void close() {
    if (s_) closer_(s_);
    s_ = nullptr;
  }
  void *release() { return std::exchange(s_, nullptr); }

 private:
  void *s_ = nullptr;
  Closer closer_ = _vl_ext_fclose;
};

// A text buffer that lives on the stack while short and moves to the host
// heap beyond N bytes.
template <size_t N>
class ShortBuffer {
 public:
  ShortBuffer() = default;
  ShortBuffer(const ShortBuffer &) = delete;
  ShortBuffer &operator=(const ShortBuffer &) = delete;
  ~ShortBuffer() {
    if (p_ != local_) _vl_free_ptr(p_);
  }
  // Makes room for n bytes; false when the allocation fails.
  bool reserve(size_t n) {
    if (n <= N) return true;
    char *p = static_cast<char *>(_vl_alloc_ptr(n));
    if (!p) return false;
    if (p_ != local_) _vl_free_ptr(p_);
    p_ = p;
    return true;
  }
  char *data() { return p_; }

 private:
  alignas(8) char local_[N];
  char *p_ = local_;
};

// True when the host has replaced none of the stream slots: a stream the
// library opens is then the C library's own, and the library may read it
// through the C library's buffer directly.
bool default_streams_in_table();
inline bool default_streams() { return _vl_ext_func == 0 || default_streams_in_table(); }

// A stream that the library opened for one load and whose locking it has
// taken over (own_stream).
inline FILE *owned_file(void *stream) {
  if (!stream || !default_streams()) return nullptr;
  FILE *f = static_cast<FILE *>(stream);
  return (f->_flags & _IO_USER_LOCK) ? f : nullptr;
}

// Reads a stream byte by byte as the host's getc (or fgetc) and ungetc
// slots do. A stream that the library opened for one load is the C
// library's own, and its locking is left to its one reader
// (FSETLOCKING_BYCALLER): it is then read straight from the C library's
// buffer, with the same bytes and the same end.
class ByteReader {
 public:
  explicit ByteReader(void *stream) : s_(stream), f_(owned_file(stream)) {}
  int getc() { return f_ ? getc_unlocked(f_) : _vl_ext_getc(s_); }
  int fgetc() { return f_ ? getc_unlocked(f_) : _vl_ext_fgetc(s_); }
  void ungetc(int c) {
    if (f_)
      ::ungetc(c, f_);
    else
      _vl_ext_ungetc(c, s_);
  }
  // The next n bytes when the C library's buffer holds them, else null;
  // skip(n) then consumes them, as n calls of getc would.
  const unsigned char *peek(size_t n) const {
    if (!f_ || static_cast<size_t>(f_->_IO_read_end - f_->_IO_read_ptr) < n) return nullptr;
    return reinterpret_cast<const unsigned char *>(f_->_IO_read_ptr);
  }
  void skip(size_t n) { f_->_IO_read_ptr += n; }

 private:
  void *s_;
  FILE *f_;
};

// Leaves the locking of a stream that the library opened, and that no one
// else sees, to the library: it is then read through ByteReader's fast way.
inline void own_stream(void *stream) {
  if (stream && default_streams()) __fsetlocking(static_cast<FILE *>(stream), FSETLOCKING_BYCALLER);
}

// While a RegistryScope lives on a thread's stack (one load of a locale),
// the look-ups of that thread that would read the registry file read it
// once: the first takes a copy of its entries, and the others search the
// copy with the same results and error numbers as a reading of the file.
// Scopes nest; the outermost owns the copy.
class RegistryScope {
 public:
  RegistryScope();
  ~RegistryScope();
  RegistryScope(const RegistryScope &) = delete;
  RegistryScope &operator=(const RegistryScope &) = delete;

 private:
  bool outer_;
};

// Log with printf-style formatting (the text is cut at 1 KiB).
void logf(const char *format, ...) __attribute__((format(printf, 1, 2)));

inline bool is_static_handle(const vl_locale_t *h) { return h == &vl_nomem_locale || h == &vl_nofile_locale; }

inline int ctype_row(int category) { return category - VL_LC_CTYPE; }

// The finishers widen their strings with mbstowcs_fn: it must be chosen for
// the LC_CTYPE the handle holds now. In a whole-file load the finishers run
// before set_flags, so single_byte is brought up to date from the tree first
// (set_flags will give it the same value).
inline int ready_to_widen(vl_locale_t *h) {
  h->single_byte = h->ctype.ctype_tree && _vl_multi_max_length(h->ctype.ctype_tree) == 1;
  return set_function_pointers(h);
}

// Locale strings end in four zero bytes: the length is the offset of the
// first such run.
inline size_t mb_length(const char *s) {
  size_t n = 0;
  while (s[n] || s[n + 1] || s[n + 2] || s[n + 3]) ++n;
  return n;
}

inline int hex_value(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}

// vl_lc_spec2lc_fname into a buffer of `size` bytes; *too_long tells that
// the name did not fit (the call then fails).
int spec2fname_bounded(void *handle, const char *spec, char *output, size_t size, const char *registry,
                       const char *directory, bool *too_long);

// Behind the 256 flags of a collation's elem_candidates the reader keeps
// the elements ordered by their first code, so that finding the elements
// that may start at a character is a binary search:
//   [256 flags][count n][longest element][n first codes, ascending][n element numbers]
// (element numbers ascending among equal first codes: file order).
namespace coll {
constexpr size_t kFlags = 256, kHead = kFlags + 2;
inline size_t elem_index_words(int32_t elems) { return kHead + 2 * static_cast<size_t>(elems); }
inline int32_t elem_index_count(const int32_t *cand) { return cand[kFlags]; }
inline int32_t elem_longest(const int32_t *cand) { return cand[kFlags + 1]; }
inline const uint32_t *elem_firsts(const int32_t *cand) { return reinterpret_cast<const uint32_t *>(cand + kHead); }
inline const int32_t *elem_numbers(const int32_t *cand) { return cand + kHead + cand[kFlags]; }

// Behind the 256 expansion pointers of each pass's exp_candidates the
// reader keeps the pass's word for every byte (through the root's row, as
// the single-byte paths read it) and a flag for the bytes those paths must
// read with care (an expansion, or the first byte of an element):
//   [256 pointers][256 words][256 flags]
inline size_t pass_table_bytes() { return 256 * sizeof(void *) + 256 * sizeof(uint16_t) + 256; }
template <typename P>
inline uint16_t *byte_words(P *const *cand) {
  return reinterpret_cast<uint16_t *>(const_cast<P **>(cand) + 256);
}
template <typename P>
inline unsigned char *byte_special(P *const *cand) {
  return reinterpret_cast<unsigned char *>(byte_words(cand) + 256);
}
}  // namespace coll

}  // namespace vls

#endif
