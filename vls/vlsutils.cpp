// Support utilities: the diagnostic log, memory wrappers, the search for a
// file below the product directory, and the lexical readers with which every
// compiled object file is read.
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include "vlsint.h"

namespace {

constexpr const char kLogName[] = "vls.log";
constexpr const char kDefaultBase[] = "/usr/kelvanix/";
constexpr size_t kPathArea = 1024;
constexpr size_t kMaxDirVar = 256;

bool is_blank(int c) { return c == ' ' || c == '\t'; }
bool is_digit(int c) { return c >= '0' && c <= '9'; }


// open_file: open for reading with a service set, log the outcome and store
// 8 in the handle when it fails.
void *open_file(void *handle, const char *path, const vl_file_services &svc) {
  void *f = svc.open(path, "r");
  if (f) {
    vls::logf("Opened: %s", path);
  } else {
    vls::logf("Could not open: %s", path);
    if (handle) vls::set_error(handle, VL_ENOENT);
  }
  return f;
}

// Joins the pieces into `buf` (stack first, heap beyond 1 KiB) and opens
// the result. `dir_len` is the length of the leading part that names the
// directory; it is handed out through `dir_out` when the open succeeds.
struct Attempt {
  void *handle;
  const vl_file_services &svc;
  char **dir_out;
  bool has_saved;
  uint32_t saved;

  void *open(std::initializer_list<std::string_view> dir_parts, std::string_view name) {
    if (handle && has_saved) vls::set_error(handle, saved);
    size_t dir_len = 0;
    for (auto p : dir_parts) dir_len += p.size();
    size_t total = dir_len + 1 + name.size() + 1;
    char local[kPathArea];
    char *buf = local;
    if (total > kPathArea) {
      buf = static_cast<char *>(svc.alloc(total));
      if (!buf) {
        if (handle) vls::set_error(handle, VL_ENOMEM);
        return nullptr;
      }
    }
    char *w = buf;
    for (auto p : dir_parts) {
      memcpy(w, p.data(), p.size());
      w += p.size();
    }
    *w++ = '/';
    memcpy(w, name.data(), name.size());
    w[name.size()] = '\0';
    void *f = open_file(handle, buf, svc);
    if (f && dir_out) {
      char *d = static_cast<char *>(svc.alloc(dir_len + 1));
      if (d) {
        memcpy(d, buf, dir_len);
        d[dir_len] = '\0';
      } else if (handle) {
        vls::set_error(handle, VL_ENOMEM);
      }
      *dir_out = d;
    }
    if (buf != local) svc.free(buf);
    return f;
  }
};

void *path_search1(char **dir_out, void *handle, const char *name, const char *sub, const char *ver,
                   const vl_file_services &svc) {
  if (dir_out) *dir_out = nullptr;
  if (chk_kelvanixdir(handle)) return nullptr;
  if (!name) return nullptr;
  Attempt at{handle, svc, dir_out, handle != nullptr, handle ? vls::get_error(handle) : 0u};
  std::string_view nm(name);

  // A byte 255 marks a full path built by the locale-name layer.
  if (nm.find('\xff') != std::string_view::npos) return vl_open_file(handle, name);

  if (name[0] == '/') {
    void *f = open_file(handle, name, svc);
    if (f && dir_out) {
      char *d = static_cast<char *>(svc.alloc(2));
      if (d) {
        d[0] = '/';
        d[1] = '\0';
      }
      *dir_out = d;
    }
    return f;
  }

  if (const char *vp = vl_get_vl_path()) {
    std::string_view list(vp);
    while (!list.empty()) {
      size_t colon = list.find(':');
      std::string_view item = list.substr(0, colon);
      list = colon == std::string_view::npos ? std::string_view() : list.substr(colon + 1);
      if (item.empty()) continue;
      if (void *f = at.open({item}, nm)) return f;
    }
    return nullptr;
  }

  const char *base = _vl_get_env_var("KELVANIXDIR");
  if (!base) base = kDefaultBase;
  std::string_view b(base), s(sub ? sub : ""), v(ver ? ver : "");
  if (!v.empty()) {
    if (void *f = at.open({b, "/", "vls", "/", s, v}, nm)) return f;
  }
  return at.open({b, "/", "vls", "/", s}, nm);
}

}  // namespace

namespace vls {
void logf(const char *format, ...) {
  if (vls_debug_initialized && !vls_logging && !vls_popups) return;
  char text[1024];
  va_list ap;
  va_start(ap, format);
  vsnprintf(text, sizeof text, format, ap);
  va_end(ap);
  vl_message(text);
}
}  // namespace vls

extern "C" {

VLS_API int vls_logging = 0;
VLS_API int vls_popups = 0;
VLS_API int vls_debug_initialized = 0;
VLS_API int pg_have_debug_file = 0;
VLS_API void *pg_debug_file = nullptr;

static void *reg_alloc(size_t n) { return malloc(n); }
static void reg_free(void *p) { free(p); }
static void *reg_open(const char *path, const char *mode) { return fopen(path, mode); }
static int reg_close(void *f) { return fclose(static_cast<FILE *>(f)); }

const vl_file_services vl_ext_functions = {_vl_ext_malloc, _vl_ext_free, _vl_ext_fopen, _vl_ext_fclose};
const vl_file_services vl_reg_functions = {reg_alloc, reg_free, reg_open, reg_close};

VLS_API void vl_init_debug(void) {
  vls_debug_initialized = 1;
  const char *v = _vl_ext_getenv("VLSLOG");
  if (v && tolower(static_cast<unsigned char>(v[0])) == 'o' && v[1] &&
      tolower(static_cast<unsigned char>(v[1])) == 'n') {
    vls_logging = 1;
    void *f = _vl_ext_fopen(kLogName, "a");
    if (f) {
      time_t now = time(nullptr);
      char stamp[64];
      char line[128];
      const char *ct = ctime_r(&now, stamp);
      int n = snprintf(line, sizeof line, "----\nVLS log started %s----\n", ct ? ct : "\n");
      _vl_ext_fwrite(line, 1, static_cast<size_t>(n), f);
      _vl_ext_fclose(f);
    }
  }
  const char *d = _vl_ext_getenv("VLSDEBUG");
  if (d && (d[0] == 'o' || d[0] == 'O') && d[1] == 'n') vls_popups = 1;
}

VLS_API void vl_message(const char *text) {
  if (!vls_debug_initialized) vl_init_debug();
  if (!text) text = "";
  if (vls_logging) {
    void *f = _vl_ext_fopen(kLogName, "a");
    if (f) {
      _vl_ext_fwrite(text, 1, strlen(text), f);
      _vl_ext_fwrite("\n", 1, 1, f);
      _vl_ext_fclose(f);
    }
  }
  if (vls_popups) {
    printf("%s: %s\n", "VLS", text);
    fflush(stdout);
  }
}

VLS_API void vl_assert_failed(const char *file_name, int32_t line) {
  fprintf(stderr, "Assert in %s at line %ld failed.\n", file_name ? file_name : "", static_cast<long>(line));
  exit(1);
}

VLS_API void *_vl_alloc_ptr(size_t size) { return size == 0 ? nullptr : _vl_ext_malloc(size); }
VLS_API void _vl_free_ptr(void *pointer) { _vl_ext_free(pointer); }

VLS_API char *_vl_get_env_var(const char *name) {
  char *v = _vl_ext_getenv(name);
  return (v && *v) ? v : nullptr;
}

VLS_API char *vl_get_vl_path(void) {
  char *v = getenv("VL_PATH");
  return (v && *v) ? v : nullptr;
}

VLS_API int chk_kelvanixdir(void *handle) {
  const char *v = _vl_ext_getenv("KELVANIXDIR");
  if (!v || strlen(v) <= kMaxDirVar) return 0;
  if (handle) vls::set_error(handle, VL_ENOENT);
  vl_message("Environment variable KELVANIXDIR cannot be greater than 256 characters");
  return 1;
}

VLS_API void *vl_path_search(void *handle, const char *name, const char *sub, const char *ver) {
  char *dir = nullptr;
  void *f = path_search1(&dir, handle, name, sub, ver, vl_ext_functions);
  if (dir) vl_ext_functions.free(dir);
  return f;
}

VLS_API void *vl_path_search_rpath(char **directory, void *handle, const char *name, const char *sub,
                                   const char *ver) {
  return path_search1(directory, handle, name, sub, ver, vl_ext_functions);
}

VLS_API void *vl_path_search_no_ext(void *handle, const char *name, const char *sub, const char *ver) {
  char *dir = nullptr;
  void *f = path_search1(&dir, handle, name, sub, ver, vl_reg_functions);
  if (dir) vl_reg_functions.free(dir);
  return f;
}

VLS_API void *vl_path_search_no_ext_rpath(char **directory, void *handle, const char *name, const char *sub,
                                          const char *ver) {
  return path_search1(directory, handle, name, sub, ver, vl_reg_functions);
}

VLS_API void *vl_open_file(void *handle, const char *path) {
  if (!path) return nullptr;
  size_t n = strlen(path) + 1;
  vls::ShortBuffer<kPathArea> buf;
  if (!buf.reserve(n)) {
    if (handle) vls::set_error(handle, VL_ENOMEM);
    return nullptr;
  }
  char *p = buf.data();
  for (size_t i = 0; i < n; ++i) p[i] = static_cast<unsigned char>(path[i]) > 254 ? '/' : path[i];
  return open_file(handle, p, vl_ext_functions);
}

VLS_API int check_nl(const char *line) {
  size_t n = line ? strlen(line) : 0;
  return (n > 0 && line[n - 1] == '\n') ? 0 : 1;
}

VLS_API int replace_nl(char *line) {
  if (check_nl(line)) return 1;
  line[strlen(line) - 1] = '\0';
  return 0;
}

// ---- lexical readers ----------------------------------------------------------

VLS_API void _vl_skip_whitespace(void *stream) {
  vls::ByteReader in(stream);
  int c;
  while ((c = in.getc()) != EOF) {
    if (!isspace(c)) {
      in.ungetc(c);
      return;
    }
  }
}

VLS_API void _vl_skip_space_if_needed(void *stream) {
  vls::ByteReader in(stream);
  int c = in.getc();
  if (c != EOF && !is_blank(c)) in.ungetc(c);
}

VLS_API int _vl_skip_nl(void *stream) {
  vls::ByteReader in(stream);
  int c = in.getc();
  if (c == '\n') return 1;
  if (c != EOF) in.ungetc(c);
  return 0;
}

VLS_API int _vl_get_hex_digit(void *stream) { return vls::hex_value(vls::ByteReader(stream).getc()); }

VLS_API int _vl_get_hex_byte(void *stream) {
  vls::ByteReader in(stream);
  int hi = vls::hex_value(in.getc());
  return hi * 16 + vls::hex_value(in.getc());
}

VLS_API uint32_t _vl_get_hex(void *stream, int digits) {
  if (digits > 8) digits = 8;
  vls::ByteReader in(stream);
  uint32_t v = 0;
  if (digits > 0) {
    if (const unsigned char *p = in.peek(static_cast<size_t>(digits))) {
      for (int i = 0; i < digits; ++i) v = (v << 4) | static_cast<uint32_t>(vls::hex_value(p[i]));
      in.skip(static_cast<size_t>(digits));
      return v;
    }
  }
  for (int i = 0; i < digits; ++i) v = (v << 4) | static_cast<uint32_t>(vls::hex_value(in.getc()));
  return v;
}

namespace {

// The value of an integer's text (a sign or digit, then digits), held to
// the 32-bit range; a lone sign is 0.
int32_t int_of_text(const unsigned char *text, size_t n) {
  const bool negative = text[0] == '-';
  int64_t v = 0;
  for (size_t i = (text[0] == '-' || text[0] == '+') ? 1 : 0; i < n; ++i) {
    v = v * 10 + (text[i] - '0');
    if (v > int64_t{1} << 40) v = int64_t{1} << 40;  // far beyond the range either way
  }
  if (negative) v = -v;
  if (v > INT32_MAX) v = INT32_MAX;
  if (v < INT32_MIN) v = INT32_MIN;
  return static_cast<int32_t>(v);
}

constexpr size_t kIntKept = 40;  // characters of an integer's text kept; further digits are dropped

}  // namespace

VLS_API int32_t _vl_get_int(void *stream) {
  vls::ByteReader in(stream);
  // Straight from the C library's buffer when the whole number lies in it.
  constexpr size_t kWindow = 64;
  if (const unsigned char *p = in.peek(kWindow)) {
    size_t i = is_blank(p[0]) ? 1 : 0;  // one optional blank
    if (!is_digit(p[i]) && p[i] != '-' && p[i] != '+') {
      in.skip(i);
      return 0;
    }
    const size_t start = i++;
    while (i < kWindow && is_digit(p[i])) ++i;
    if (i < kWindow) {
      const size_t n = i - start;
      const int32_t v = int_of_text(p + start, n < kIntKept ? n : kIntKept);
      in.skip(i);
      return v;
    }
  }
  unsigned char text[48];
  size_t n = 0;
  int c = in.getc();
  if (c == EOF || is_blank(c)) c = in.getc();  // one optional blank
  if (c == EOF) return 0;
  if (!is_digit(c) && c != '-' && c != '+') {
    in.ungetc(c);
    return 0;
  }
  text[n++] = static_cast<unsigned char>(c);
  while ((c = in.getc()) != EOF && is_digit(c)) {
    if (n < kIntKept) text[n++] = static_cast<unsigned char>(c);  // further digits are dropped
  }
  if (c != EOF) in.ungetc(c);
  return int_of_text(text, n);
}

VLS_API double _vl_get_dbl(void *stream) {
  char text[84];
  size_t n = 0;
  vls::ByteReader in(stream);
  int c;
  while (n < 80 && (c = in.getc()) != EOF) {
    if (is_digit(c) || c == 'E' || c == 'e' || c == '.' || c == '-' || c == '+') {
      text[n++] = static_cast<char>(c);
    } else {
      in.ungetc(c);
      break;
    }
  }
  text[n] = '\0';
  return strtod(text, nullptr);
}

VLS_API int _vl_get_str(char *target, int size, void *stream) {
  if (!target || size < 1) return -1;
  vls::ByteReader in(stream);
  int n = 0;
  while (n < size - 1) {
    int c = in.getc();
    if (c == EOF) break;
    if (isspace(c)) {
      in.ungetc(c);
      target[n] = '\0';
      return 0;
    }
    target[n++] = static_cast<char>(c);
  }
  target[n] = '\0';
  return -1;
}

// ---- numbers ----------------------------------------------------------------------

VLS_API int _vl_udigits(uint32_t value, int base) {
  if (base < 2) return 1;
  int n = 1;
  while (value >= static_cast<uint32_t>(base)) {
    value /= static_cast<uint32_t>(base);
    ++n;
  }
  return n;
}

VLS_API int _vl_digits(int32_t value, int base) {
  uint32_t mag = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  return _vl_udigits(mag, base);
}

VLS_API int32_t _vl_ipow(int32_t base, int32_t exponent) {
  uint32_t r = 1;
  for (int32_t i = 0; i < exponent; ++i) r *= static_cast<uint32_t>(base);
  return static_cast<int32_t>(r);
}

VLS_API double _vl_fpow(double base, int32_t exponent) {
  double r = 1.0;
  if (exponent > 0) {
    for (int32_t i = 0; i < exponent; ++i) r *= base;
  } else {
    for (int32_t i = 0; i > exponent; --i) r /= base;
  }
  return r;
}

VLS_API void _vl_exit_utilities(void) {
  if (pg_have_debug_file) {
    if (pg_debug_file) _vl_ext_fclose(pg_debug_file);
    pg_debug_file = nullptr;
    pg_have_debug_file = 0;
  }
}

}  // extern "C"
