// The locale handle: creation of the null locale, the flags and function
// pointers derived from the loaded data, character length through the
// LC_CTYPE tree, and release of categories and handles.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsctype.h>
#include <vls/vlsspec.h>
#include <vls/vlstime.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"
#include "vlstreepool.h"
#include "vlswalk.h"

static_assert(offsetof(vl_locale_t, vl_errno) == 0, "the error number must be the first field");
static_assert(sizeof(vl_wchar) == 4);
static_assert(offsetof(multi_t, data_size) == 0 && offsetof(multi_t, max_length) == 4 &&
              offsetof(multi_t, min_length) == 8 && offsetof(multi_t, tree_flags) == 12 &&
              offsetof(multi_t, err) == 28 && offsetof(multi_t, root) == 32);
static_assert(offsetof(unc_multi_arr_t, next_count) == 0 && offsetof(unc_multi_arr_t, data_index) == 8 &&
              offsetof(unc_multi_arr_t, flags) == (sizeof(void *) == 8 ? 16 : 12));
static_assert(sizeof(vl_desc_t) == 8);
static_assert(offsetof(vl_nmm_block, grouping) == 4 * sizeof(void *));
static_assert(offsetof(vlconv, int_frac_digits) == 22 * sizeof(void *));

extern "C" {

VLS_API vl_locale_t vl_nomem_locale = [] {
  vl_locale_t h{};
  h.vl_errno = VL_ENOMEM;
  return h;
}();
VLS_API vl_locale_t vl_nofile_locale = [] {
  vl_locale_t h{};
  h.vl_errno = VL_ENOENT;
  return h;
}();

const char *const cat_names[VL_CATEGORY_ROWS] = {"VL_CTYPE", "VL_COLLATE", "VL_NUMERIC",
                                                         "VL_MONETARY", "VL_TIME", "VL_MESSAGES"};
const char *const category_params[8] = {"", "", "VL_CTYPE", "VL_COLLATE", "VL_NUMERIC",
                                                 "VL_MONETARY", "VL_TIME", "VL_MESSAGES"};
const char *const category_markers[8] = {"",
                                                 "",
                                                 "### LC_CTYPE\n",
                                                 "### LC_COLLATE\n",
                                                 "### LC_NUMERIC\n",
                                                 "### LC_MONETARY\n",
                                                 "### LC_TIME\n",
                                                 "### LC_MESSAGES\n"};

}  // extern "C"

namespace {

multi_t *empty_tree() {
  const uint16_t zero = 0;
  return _vl_create_multi(2, 0, &zero);
}

void free_derived_tables(vl_locale_t *h) {
  _vl_free_ptr(h->upper_table);
  _vl_free_ptr(h->lower_table);
  _vl_free_ptr(h->class_table);
  h->upper_table = h->lower_table = nullptr;
  h->class_table = nullptr;
}

void free_ctype(vl_locale_t *h) {
  ctype_category &c = h->ctype;
  _vl_free_multi(c.ctype_tree);
  _vl_free_multi(c.case_tree);
  if (c.class_names)
    for (int32_t i = 0; i < c.class_count; ++i) _vl_free_ptr(c.class_names[i].name);
  _vl_free_ptr(c.class_names);
  _vl_free_ptr(c.case_pairs);
  c.ctype_tree = c.case_tree = nullptr;
  c.class_names = nullptr;
  c.class_count = 0;
  c.case_pairs = nullptr;
  h->case_pair_count = 0;
  free_derived_tables(h);
}

void clear_rows(vl_locale_t *h, int category) {
  if (category >= VL_LC_CTYPE && category <= VL_LC_MESSAGES) {
    int r = vls::ctype_row(category);
    h->codeset_names[r][0] = '\0';
    h->locale_names[r][0] = '\0';
  }
  set_categories_vlu_null(h, category);
  if (category >= VL_LC_CTYPE && category <= VL_LC_MESSAGES) h->bridge_active[vls::ctype_row(category)] = 0;
}

// Class mask of byte i: row i of the root, or the default value.
uint16_t root_mask(const multi_t *t, unsigned i) {
  if (!t) return 0;
  const unsigned char *row = t->root && t->root->data ? t->root->data + (size_t{i} << t->data_shift) : t->default_data;
  if (!row) return 0;
  uint16_t m;
  memcpy(&m, row, sizeof m);
  return m;
}

// The common length walk of the two vl_full_mblen twins.
template <bool CountedTwin>
inline int full_mblen(vl_locale_t *h, const char *string, int32_t limit) {
  if (!string) return 0;
  if (_vlu_active(h, VL_LC_CTYPE)) {
    int16_t status = 0;
    int r = fn_vlu_mblen(_vlu_locale(h, VL_LC_CTYPE), string, limit, &status);
    if (status > 0) vls::set_error(h, static_cast<uint32_t>(status));
    return r;
  }
  if (limit <= 0) {
    vls::set_error(h, VL_EINVAL);
    return -1;
  }
  const auto *s = reinterpret_cast<const unsigned char *>(string);
  const vls::tree::Walk w = vls::tree::walk(h->ctype.ctype_tree, vls::tree::Counted{s, limit});
  if (!w.ok()) {
    vls::set_error(h, w.err);
    return -1;
  }
  if (!CountedTwin && w.value == 0) return 0;
  return w.bytes;
}

}  // namespace

extern "C" {

VLS_API int vl_create_null_locale_4(vl_locale_t **out) {
  auto *h = static_cast<vl_locale_t *>(_vl_alloc_ptr(sizeof(vl_locale_t)));
  if (!h) {
    *out = &vl_nomem_locale;
    return -1;
  }
  h->vl_errno = 0;
  *out = h;
  h->case_expansion = 1.0;
  h->coll_expansion = 1.0;
  h->upper_table = h->lower_table = nullptr;
  h->class_table = nullptr;
  h->single_byte = 0;
  h->codepoint_collation = 0;
  h->coll_sb_tables[0] = h->coll_sb_tables[1] = nullptr;
  h->bridge_collation = 0;
  h->coll_rows = nullptr;
  h->fgetwcs_scratch = nullptr;
  h->case_pair_count = 0;
  // The rows are filled before make_null reads them.
  memset(h->codeset_names, 0, sizeof h->codeset_names);
  memset(h->codeset_names_w, 0, sizeof h->codeset_names_w);
  memset(h->locale_names, 0, sizeof h->locale_names);
  memset(h->locale_names_w, 0, sizeof h->locale_names_w);
  init_vlconv_monetary(&h->vlconv);
  init_vlconv_numeric(&h->vlconv);
  for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) {
    h->bridge_locale[vls::ctype_row(c)] = nullptr;
    h->bridge_active[vls::ctype_row(c)] = 0;
    vl_make_null_category(h, c);
  }
  return 0;
}

VLS_API void vl_make_null_category(vl_locale_t *h, int category) {
  switch (category) {
    case VL_LC_CTYPE: {
      ctype_category &c = h->ctype;
      c.ctype_tree = empty_tree();
      c.class_count = 0;
      c.class_names = nullptr;
      c.case_tree = empty_tree();
      c.case_pairs = nullptr;
      if (!c.ctype_tree || !c.case_tree) vls::set_error(h, VL_ENOMEM);
      free_derived_tables(h);
      break;
    }
    case VL_LC_COLLATE:
      h->coll_rows = empty_tree();
      if (!h->coll_rows) vls::set_error(h, VL_ENOMEM);
      memset(&h->collate, 0, sizeof h->collate);
      h->coll_sb_tables[0] = h->coll_sb_tables[1] = nullptr;
      h->coll_expansion = 1.0;
      h->bridge_collation = 0;
      break;
    case VL_LC_NUMERIC:
      _vl_init_numeric(&h->nmm);
      free_vlconv_numeric(&h->vlconv);
      break;
    case VL_LC_MONETARY:
      _vl_init_monetary(&h->nmm);
      free_vlconv_monetary(&h->vlconv);
      break;
    case VL_LC_TIME:
      _vl_init_ltime(&h->time);
      break;
    case VL_LC_MESSAGES:
      _vl_init_messages(&h->nmm);
      break;
    default:
      break;
  }
  clear_rows(h, category);
}

VLS_API int set_flags(vl_locale_t *h) {
  h->single_byte = 0;
  h->codepoint_collation = 0;
  if (h->ctype.ctype_tree && _vl_multi_max_length(h->ctype.ctype_tree) == 1) h->single_byte = 1;
  if (h->collate.codeset_order != 0) h->codepoint_collation = 1;
  h->bridge_collation = h->bridge_active[vls::ctype_row(VL_LC_COLLATE)];
  return set_function_pointers(h) == 0 ? 0 : -1;
}

VLS_API int set_function_pointers(vl_locale_t *h) {
  if (h->single_byte) {
    vls::HostPtr<unsigned char> upper(vls::alloc_array<unsigned char>(256));
    vls::HostPtr<unsigned char> lower(vls::alloc_array<unsigned char>(256));
    vls::HostPtr<uint16_t> classes(vls::alloc_array<uint16_t>(256));
    if (!upper || !lower || !classes) {
      vls::set_error(h, VL_ENOMEM);
      return -1;
    }
    for (unsigned i = 0; i < 256; ++i)
      upper[i] = h->upper_table ? h->upper_table[i] : static_cast<unsigned char>(_vl_im_towupper(h, i));
    _vl_free_ptr(h->upper_table);
    h->upper_table = upper.release();
    for (unsigned i = 0; i < 256; ++i)
      lower[i] = h->lower_table ? h->lower_table[i] : static_cast<unsigned char>(_vl_im_towlower(h, i));
    _vl_free_ptr(h->lower_table);
    h->lower_table = lower.release();
    for (unsigned i = 0; i < 256; ++i) classes[i] = root_mask(h->ctype.ctype_tree, i);
    _vl_free_ptr(h->class_table);
    h->class_table = classes.release();
    h->mbstowcs_fn = _vl_is_mbstowcs;
    h->mbfstowcfs_fn = _kvx_vl_is_mbfstowcfs;
  } else {
    h->mbstowcs_fn = _vl_im_mbstowcs;
    h->mbfstowcfs_fn = _kvx_vl_im_mbfstowcfs;
  }
  set_collation_fp(h);
  return 0;
}

VLS_API void set_collation_fp(vl_locale_t *h) {
  const collate_category &c = h->collate;
  if (c.collation_kind == VL_COLL_THAI) {
    h->mbscoll_fn = _vl_thaismocoll;
    h->mbfscoll_fn = _kvx_vl_thaismoncoll;
    h->mbsxfrm_fn = _vl_thaismoxfrm;
    return;
  }
  if (c.collation_kind == VL_COLL_BRIDGE) {
    h->mbscoll_fn = _vlu_mbscoll;
    h->mbfscoll_fn = _vlu_mbfscoll;
    h->mbsxfrm_fn = _vlu_mbsxfrm;
    return;
  }
  h->mbsxfrm_fn = vl_full_mbsxfrm;
  h->mbscoll_fn = _vl_im_mbscoll;
  h->mbfscoll_fn = _kvx_vl_im_mbfscoll;
  if (!h->single_byte) return;
  const bool e = c.num_coll_elems > 0;
  const bool x = c.num_expansions > 0;
  bool b = false;
  const int passes = c.num_passes < VL_MAX_PASSES ? c.num_passes : VL_MAX_PASSES;
  for (int i = 0; i < passes; ++i)
    if (c.pass_flags[i] == 2) b = true;
  const int s = int{e} + int{x} + int{b};
  if (x && s == 1) {
    h->mbscoll_fn = _vl_is_mbscoll_exp;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_exp;
  } else if (e && s == 1) {
    h->mbscoll_fn = _vl_is_mbscoll_elem;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_elem;
  } else if ((b && s == 1) || s == 0) {
    h->mbscoll_fn = _vl_is_mbscoll_back;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_back;
  } else if (e && x && !b) {
    h->mbscoll_fn = _vl_is_mbscoll_exp_elem;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_exp_elem;
  }
}

VLS_API int vl_full_mblen(vl_locale_t *h, const char *string, int32_t limit) {
  return full_mblen<false>(h, string, limit);
}

VLS_API int _kvx_vl_full_mblen(vl_locale_t *h, const char *string, int32_t limit) {
  return full_mblen<true>(h, string, limit);
}

VLS_API int vl_mb_loc_max(vl_locale_t *h) {
  if (_vlu_active(h, VL_LC_CTYPE)) return fn_vlu_mb_loc_max(_vlu_locale(h, VL_LC_CTYPE));
  return _vl_multi_max_length(h->ctype.ctype_tree);
}

VLS_API int vl_mb_loc_min(vl_locale_t *h) {
  if (_vlu_active(h, VL_LC_CTYPE)) return fn_vlu_mb_loc_min(_vlu_locale(h, VL_LC_CTYPE));
  return _vl_multi_min_length(h->ctype.ctype_tree);
}

// ---- release ------------------------------------------------------------------------

VLS_API void vl_free_category(vl_locale_t *h, int category) {
  switch (category) {
    case VL_LC_CTYPE:
      free_ctype(h);
      break;
    case VL_LC_COLLATE:
      free_collate(h);
      break;
    case VL_LC_NUMERIC:
      free_numeric(&h->nmm);
      free_vlconv_numeric(&h->vlconv);
      break;
    case VL_LC_MONETARY:
      free_monetary(&h->nmm);
      free_vlconv_monetary(&h->vlconv);
      break;
    case VL_LC_TIME:
      free_ltime(h, &h->time);
      break;
    case VL_LC_MESSAGES:
      free_messages(&h->nmm);
      break;
    default:
      break;
  }
  clear_rows(h, category);
}

VLS_API void vl_lc_unload(vl_locale_t *h) {
  if (!h || vls::is_static_handle(h)) return;
  vls::logf("freeing locale 0x%x", static_cast<unsigned>(reinterpret_cast<uintptr_t>(h)));
  for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) vl_free_category(h, c);
  free_derived_tables(h);
  _vl_free_ptr(h);
}

VLS_API void vl_free_nonshared_loc(vl_locale_t *h) {
  if (!h || vls::is_static_handle(h)) return;
  free_derived_tables(h);
  free_vlconv_monetary(&h->vlconv);
  free_vlconv_numeric(&h->vlconv);
  if (h->time.era_info) {  // the era records are private to each handle
    era_cleanup(h->time.era_info, h->time.era_count);
    h->time.era_info = nullptr;
  }
  _vl_free_ptr(h);
}

}  // extern "C"

// ---- the locale object file ---------------------------------------------------------

extern "C" {

static constexpr int kHeaderLine = 128;
constexpr int kMarkerLimit = 32;
constexpr size_t kResultSize = 311;
constexpr size_t kMaxSpec = 312;
constexpr size_t kMaxName = 32;
constexpr size_t kMaxDirectory = 116;

const char *const kReadFailed[8] = {nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    "Failed to read numeric information\n",
                                    "Failed to read monetary information\n",
                                    "Failed to read time information\n",
                                    "Failed to read messages information\n"};
const char *const kInitFailed[8] = {nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    "Failed to initialize numeric information\n",
                                    "Failed to initialize monetary information\n",
                                    "Failed to initialize time information\n",
                                    "Failed to initialize messages information\n"};

// Reads one line into buf; true when it ends in a line feed, which is
// removed.
static bool good_line(char *buf, int size, void *stream) {
  if (!_vl_ext_fgets(buf, size, stream)) return false;
  return replace_nl(buf) == 0;
}

// Gives 1 on success, 0 with *code set on failure.
VLS_API int read_file_header(void *stream, char *codeset, int *code) {
  char line[kHeaderLine];
  if (!good_line(line, sizeof line, stream) || strcmp(line, "FILE_TYPE=locale_object") != 0) {
    *code = VL_EBADFILE;
    return 0;
  }
  if (!good_line(line, sizeof line, stream)) {
    *code = VL_EBADFILE;
    return 0;
  }
  if (strcmp(line, "COMPILER_VERSION=11") != 0) {
    *code = VL_EVERSION;
    return 0;
  }
  if (!good_line(line, sizeof line, stream)) {
    *code = VL_EBADFILE;
    return 0;
  }
  // The count covers the three lines read so far: below 3, or no number at
  // all, would make the next line read as the codeset name.
  const char *eq = strchr(line, '=');
  char *end = nullptr;
  long n = eq ? strtol(eq + 1, &end, 10) : 0;
  if (!eq || end == eq + 1 || n < 3) {
    *code = VL_EBADFILE;
    return 0;
  }
  for (long i = 3; i < n; ++i) {
    if (!good_line(line, sizeof line, stream)) {
      *code = VL_EBADFILE;
      return 0;
    }
  }
  if (!good_line(codeset, VL_CODESET_NAME_LEN, stream)) {
    *code = VL_EBADFILE;
    return 0;
  }
  return 1;
}

namespace {

// The largest file whose whole text a load buffers.
constexpr off_t kWholeFileLimit = 16 << 20;

// Gives a stream that the library opened, and that is the C library's own,
// a buffer of the whole file, so that one read fills it and later seeks
// and rewinds stay within it. Gives the buffer, freed by the caller after
// the stream is closed, or null when the stream keeps its own.
void *buffer_whole_file(void *stream) {
  if (!stream || !vls::default_streams()) return nullptr;
  FILE *f = static_cast<FILE *>(stream);
  struct stat st;
  if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= 0 || st.st_size >= kWholeFileLimit)
    return nullptr;
  // One byte more than the file: the first read takes all of it.
  const size_t size = static_cast<size_t>(st.st_size) + 1;
  void *buffer = _vl_alloc_ptr(size);
  if (buffer && setvbuf(f, static_cast<char *>(buffer), _IOFBF, size) != 0) {
    _vl_free_ptr(buffer);
    buffer = nullptr;
  }
  return buffer;
}

// A load of several categories from one file opens it once, when the
// stream is the C library's own. Each category still reads the header from
// the start, and finds its marker as a scan from behind the header would:
// the scans remember, for each marker, where its first equal line ends,
// and where the scan stopped, so that no line is scanned twice.
struct LcoReuse {
  void *stream = nullptr;
  void *buffer = nullptr;  // the stream's buffer of the whole file, or null
  // The whole file, once the buffer holds it: seeks then move within it.
  const char *text = nullptr;
  size_t size = 0;
  char name[kMaxSpec + 1] = {};
  const char *directory = nullptr;
  long resume = -1;     // behind the last line scanned; -1: behind the header
  bool at_end = false;  // a scan met the end of the file
  long after[8] = {-1, -1, -1, -1, -1, -1, -1, -1};

  LcoReuse() = default;
  LcoReuse(const LcoReuse &) = delete;
  LcoReuse &operator=(const LcoReuse &) = delete;
  ~LcoReuse() { close(); }
  bool holds(const char *n, const char *dir) const { return stream && dir == directory && strcmp(n, name) == 0; }
  void close() {
    if (stream) _vl_ext_fclose(stream);
    stream = nullptr;
    _vl_free_ptr(buffer);
    buffer = nullptr;
    text = nullptr;
    size = 0;
  }
  void take(void *f, const char *n, const char *dir) {
    close();
    stream = f;
    buffer = buffer_whole_file(f);
    if (buffer) {
      // The first read takes the whole file into the buffer.
      FILE *file = static_cast<FILE *>(f);
      struct stat st;
      if (getc_unlocked(file) != EOF) {
        --file->_IO_read_ptr;
        if (file->_IO_read_base == buffer && fstat(fileno(file), &st) == 0 &&
            file->_IO_read_end - file->_IO_read_base == st.st_size) {
          text = file->_IO_read_base;
          size = static_cast<size_t>(st.st_size);
        }
      }
    }
    snprintf(name, sizeof name, "%s", n);
    directory = dir;
    resume = -1;
    at_end = false;
    for (long &a : after) a = -1;
  }
  // Finds the category's marker and leaves the stream behind it.
  bool find(int category) {
    if (after[category] < 0 && !scan(category)) return false;
    if (seek_in_text(static_cast<size_t>(after[category]))) return true;
    return _vl_ext_fseek(stream, after[category], SEEK_SET) == 0;
  }
  void rewind_stream() {
    if (!seek_in_text(0)) rewind(static_cast<FILE *>(stream));
  }
  // A seek within the buffered text (a stream reading pushed-back bytes
  // has another read base), as fseek would leave the stream (the
  // end-of-file and error marks cleared); false when the text is not
  // buffered whole.
  bool seek_in_text(size_t offset) {
    FILE *f = static_cast<FILE *>(stream);
    if (!text || offset > size || f->_IO_read_base != text ||
        static_cast<size_t>(f->_IO_read_end - f->_IO_read_base) != size)
      return false;
    f->_IO_read_ptr = const_cast<char *>(text) + offset;
    f->_flags &= ~(_IO_EOF_SEEN | _IO_ERR_SEEN);
    return true;
  }
  // The stream's offset within the buffered text, or -1.
  long text_offset() const {
    const FILE *f = static_cast<const FILE *>(stream);
    if (!text || f->_IO_read_base != text ||
        static_cast<size_t>(f->_IO_read_end - f->_IO_read_base) != size)
      return -1;
    return static_cast<long>(f->_IO_read_ptr - f->_IO_read_base);
  }

  // Notes the markers that the piece at `q` of `len` bytes, which ends in
  // a line feed, equals; true when it is the category's.
  bool note_piece(const char *piece, size_t len, long at, int category) {
    for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) {
      const char *m = category_markers[c];
      if (after[c] < 0 && strlen(m) == len && memcmp(piece, m, len) == 0) {
        after[c] = at + static_cast<long>(len);
        if (c == category) {
          resume = after[c];
          return true;
        }
      }
    }
    return false;
  }

  // scan over the buffered text: only pieces that start with '#' can be
  // markers, so the scan goes from one '#' to the next and tells from the
  // line it lies in whether a piece starts there.
  bool scan_text(int category, size_t pos) {
    constexpr size_t kPiece = kHeaderLine - 1;
    const char *t = text;
    const size_t n = size;
    while (pos < n) {  // pos starts a piece
      const char *hash = static_cast<const char *>(memchr(t + pos, '#', n - pos));
      if (!hash) break;
      const size_t q = static_cast<size_t>(hash - t);
      const char *nl = q > pos ? static_cast<const char *>(memrchr(t + pos, '\n', q - pos)) : nullptr;
      const size_t line = nl ? static_cast<size_t>(nl - t) + 1 : pos;  // a piece starts here
      if ((q - line) % kPiece != 0) {
        // Behind the piece that holds q: its line feed, or the next cut.
        const size_t next = line + ((q - line) / kPiece + 1) * kPiece;
        const size_t stop = next < n ? next : n;
        const char *e = static_cast<const char *>(memchr(t + q, '\n', stop - q));
        pos = e ? static_cast<size_t>(e - t) + 1 : next;
        continue;
      }
      const size_t span = n - q < kPiece ? n - q : kPiece;
      const char *e = static_cast<const char *>(memchr(t + q, '\n', span));
      const size_t len = e ? static_cast<size_t>(e - (t + q)) + 1 : span;
      if (e && note_piece(t + q, len, static_cast<long>(q), category)) return true;
      pos = q + len;
    }
    at_end = true;
    return false;
  }

  // Scans on as find_marker's fgets of kHeaderLine bytes would, in blocks:
  // a piece ends behind a line feed, after kHeaderLine - 1 bytes, or at the
  // end of the file, and it equals a marker when its bytes are the marker's
  // (each marker ends in its line feed and holds no zero byte).
  bool scan(int category) {
    if (at_end) return false;
    if (long at = resume >= 0 ? resume : text_offset(); text && at >= 0) return scan_text(category, static_cast<size_t>(at));
    FILE *f = static_cast<FILE *>(stream);
    long base = resume >= 0 ? resume : ftell(f);
    if (base < 0 || fseek(f, base, SEEK_SET) != 0) return false;
    constexpr size_t kBlock = 16384, kPiece = kHeaderLine - 1;
    char buf[kBlock];
    size_t have = 0, p = 0;
    bool eof = false;
    for (;;) {
      if (have - p < kPiece && !eof) {
        memmove(buf, buf + p, have - p);
        base += static_cast<long>(p);
        have -= p;
        p = 0;
        size_t n = fread(buf + have, 1, kBlock - have, f);
        have += n;
        if (n == 0) eof = true;
        continue;
      }
      if (p == have) break;
      size_t span = have - p < kPiece ? have - p : kPiece;
      const char *nl = static_cast<const char *>(memchr(buf + p, '\n', span));
      size_t len = nl ? static_cast<size_t>(nl - (buf + p)) + 1 : span;
      if (buf[p] == '#' && nl && note_piece(buf + p, len, base + static_cast<long>(p), category)) return true;
      p += len;
    }
    at_end = true;
    return false;
  }
};

}  // namespace

// Reads lines until one equals the marker of the category; false at the end.
static bool find_marker(void *stream, int category, int limit) {
  char line[kHeaderLine];
  const char *marker = category_markers[category];
  while (_vl_ext_fgets(line, limit, stream)) {
    if (strcmp(line, marker) == 0) return true;
  }
  return false;
}

// The reader and finisher of one section; 0 or 1. `one_category` selects
// the wording of the lone-category path for a failed messages read.
static int read_section(vl_locale_t *h, int category, void *stream, bool one_category) {
  int32_t err = 0;
  int r = 0;
  int (*finisher)(vl_locale_t *) = nullptr;
  switch (category) {
    case VL_LC_CTYPE:
      return read_ctype(stream, h) == 0 ? 0 : 1;
    case VL_LC_COLLATE:
      return read_collate(stream, h) == 0 ? 0 : 1;
    case VL_LC_NUMERIC:
      r = _vl_read_numeric(stream, &h->nmm, &err);
      finisher = init_numeric_info;
      break;
    case VL_LC_MONETARY:
      r = _vl_read_monetary(stream, &h->nmm, &err);
      finisher = init_monetary_info;
      break;
    case VL_LC_TIME:
      r = _vl_read_time(stream, &h->time, &err);
      finisher = init_time_info;
      break;
    case VL_LC_MESSAGES:
      r = _vl_read_messages(stream, &h->nmm, &err);
      finisher = init_message_info;
      break;
    default:
      return 1;
  }
  if (r != 0) {
    vls::set_error(h, static_cast<uint32_t>(err));
    vl_message(one_category && category == VL_LC_MESSAGES ? kInitFailed[category] : kReadFailed[category]);
    return 1;
  }
  if (finisher(h) <= 0) {
    vl_message(kInitFailed[category]);
    return 1;
  }
  return 0;
}

VLS_API int read_locale_file(void *stream, vl_locale_t *h) {
  char codeset[VL_CODESET_NAME_LEN];
  int code = 0;
  if (!read_file_header(stream, codeset, &code)) {
    vls::set_error(h, code ? static_cast<uint32_t>(code) : static_cast<uint32_t>(VL_EBADFILE));
    return 1;
  }
  for (auto &row : h->codeset_names) memcpy(row, codeset, sizeof row);
  for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) {
    if (!find_marker(stream, c, kMarkerLimit)) {
      vls::set_error(h, VL_EBADFILE);
      return 1;
    }
    if (read_section(h, c, stream, false) != 0) return 1;
  }
  return 0;
}

// Compares the codeset numbers of the LC_CTYPE row and the category's row
// without touching the handle's error number.
VLS_API int verify_codesets(vl_locale_t *h, int category) {
  struct {
    uint32_t vl_errno;
  } scratch{0};
  uint16_t a = vl_cs_name2cs_num(&scratch, h->codeset_names[0], nullptr);
  uint16_t b = vl_cs_name2cs_num(&scratch, h->codeset_names[vls::ctype_row(category)], nullptr);
  if (a != b) {
    vls::set_error(h, VL_ECATCODESET);
    return 1;
  }
  return 0;
}

static int read_one_category_from(vl_locale_t *h, int category, void *stream, LcoReuse *reuse) {
  int code = 0;
  if (!read_file_header(stream, h->codeset_names[vls::ctype_row(category)], &code)) {
    vls::set_error(h, code ? static_cast<uint32_t>(code) : static_cast<uint32_t>(VL_EBADFILE));
    return 1;
  }
  if (verify_codesets(h, category)) return 1;
  if (reuse ? !reuse->find(category) : !find_marker(stream, category, kHeaderLine)) {
    vls::set_error(h, VL_EBADFILE);
    return 1;
  }
  return read_section(h, category, stream, true);
}

VLS_API int read_one_category(vl_locale_t *h, int category, void *stream) {
  return read_one_category_from(h, category, stream, nullptr);
}

VLS_API int check_codesets(vl_locale_t *h) {
  uint16_t ctype = vl_cs_name2cs_num(h, h->codeset_names[0], nullptr);
  if (vls::get_error(h) == VL_ENOMEM) return -1;
  for (int c : {VL_LC_COLLATE, VL_LC_NUMERIC, VL_LC_MONETARY, VL_LC_TIME}) {
    uint16_t n = vl_cs_name2cs_num(h, h->codeset_names[vls::ctype_row(c)], nullptr);
    if (vls::get_error(h) == VL_ENOMEM) return -1;
    if (n != ctype) {
      vls::set_error(h, VL_EMISMATCH);
      return -1;
    }
  }
  vls::set_error(h, 0);
  return 0;
}

static void free_and_null(vl_locale_t *h, int category) {
  vl_free_category(h, category);
  vl_make_null_category(h, category);
}

// Reads an opened category file into a fresh null category, and closes it
// unless `reuse` keeps it for the next category.
static int read_category_file(vl_locale_t *h, int category, void *stream, LcoReuse *reuse = nullptr) {
  free_and_null(h, category);
  int r = read_one_category_from(h, category, stream, reuse);
  if (!reuse) _vl_ext_fclose(stream);
  return r;
}

static void *open_in(vl_locale_t *h, const char *name, const char *directory) {
  if (directory) {
    // Directory, slash and name, never cut short: a cut path could open
    // another file.
    size_t n = strlen(directory) + 1 + strlen(name) + 1;
    vls::ShortBuffer<kHeaderLine + kMaxSpec + 8> path;
    if (!path.reserve(n)) {
      vls::set_error(h, VL_ENOMEM);
      return nullptr;
    }
    snprintf(path.data(), n, "%s/%s", directory, name);
    return vl_open_file(h, path.data());
  }
  return vl_path_search(h, name, "lc", "11");
}

VLS_API int load_native_category(vl_locale_t *h, int category, char *name_out, const char *directory) {
  strcpy(name_out, "native");
  void *f = directory ? open_in(h, "native", directory) : vl_path_search(h, "default.lco", "lc", "11");
  if (!f) return 1;
  vls::own_stream(f);
  return read_category_file(h, category, f);
}

// Finds the category's name in a specification; name_out holds up to 32
// characters and a NUL.
static int load_category_reusing(vl_locale_t *h, int category, const char *spec, char *name_out,
                                 const char *directory, LcoReuse *reuse) {
  char name[kMaxSpec + 1];
  if (spec[0] != '\0') {
    const char *key = strstr(spec, category_params[category]);
    if (key) {
      const char *p = strchr(key, '=');
      size_t n = 0;
      if (p) {
        ++p;
        while (*p == ' ' || *p == '\t') ++p;
        while (p[n] && p[n] != ' ' && p[n] != '\t' && n < kMaxName) ++n;
        memcpy(name, p, n);
      }
      name[n] = '\0';
    } else {
      snprintf(name, sizeof name, "%s", spec);
    }
  } else {
    const char *v = _vl_get_env_var("VL_ALL");
    if (!v) v = _vl_get_env_var(category_params[category]);
    if (!v) v = _vl_get_env_var("VL_LANG");
    if (!v) v = "default.lco";
    if (strlen(v) > kMaxName) {
      vls::set_error(h, VL_ENOENT);
      return 1;
    }
    strcpy(name, v);
  }
  if (strcmp(name, "native") == 0) return load_native_category(h, category, name_out, directory);
  size_t n = strnlen(name, kMaxName);
  memcpy(name_out, name, n);
  name_out[n] = '\0';
  if (reuse && reuse->holds(name, directory)) {
    // The file of the previous category: read again from its start.
    reuse->rewind_stream();
  } else {
    if (reuse) reuse->close();
    void *f = open_in(h, name, directory);
    if (!f) return 1;
    if (reuse && vls::default_streams()) {
      // The stream is the C library's and stays within this load.
      vls::own_stream(f);
      reuse->take(f, name, directory);
    } else if (read_category_file(h, category, f) != 0) {
      return 1;
    } else {
      return set_categories_vlu(h, category, name);
    }
  }
  if (read_category_file(h, category, reuse->stream, reuse) != 0) return 1;
  return set_categories_vlu(h, category, name);
}

VLS_API int load_category(vl_locale_t *h, int category, const char *spec, char *name_out, const char *directory) {
  return load_category_reusing(h, category, spec, name_out, directory, nullptr);
}

VLS_API void query_locname(vl_locale_t *h, int category, char *out, size_t size) {
  if (category >= VL_LC_CTYPE && category <= VL_LC_MESSAGES) {
    snprintf(out, size, "%s", h->locale_names[vls::ctype_row(category)]);
    return;
  }
  size_t used = 0;
  out[0] = '\0';
  for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES && used < size; ++c) {
    int n = snprintf(out + used, size - used, "%s = %.32s ; ", category_params[c], h->locale_names[vls::ctype_row(c)]);
    if (n < 0) break;
    used += static_cast<size_t>(n);
  }
}

VLS_API char *set_categories(vl_locale_t *h, int category, const char *spec, const char *directory) {
  char *result = static_cast<char *>(_vl_alloc_ptr(kResultSize));
  if (!result) {
    vls::set_error(h, VL_ENOMEM);
    return nullptr;
  }
  if (!spec) {
    query_locname(h, category, result, kResultSize);
    return result;
  }
  if (strlen(spec) >= kMaxSpec || category < VL_LC_ALL || category > VL_LC_MESSAGES) {
    vls::set_error(h, VL_EBADARG);
    _vl_free_ptr(result);
    return nullptr;
  }
  char local[kMaxSpec];
  strcpy(local, spec);
  int first = category == VL_LC_ALL ? VL_LC_CTYPE : category;
  int last = category == VL_LC_ALL ? VL_LC_MESSAGES : category;
  vls::RegistryScope registry_once;
  vls::TreeLoadScope trees_once;
  LcoReuse reuse;
  for (int c = first; c <= last; ++c) {
    char name[kMaxName + 1];
    if (load_category_reusing(h, c, local, name, directory, &reuse) != 0) {
      _vl_free_ptr(result);
      if (vls::get_error(h) == 0) vls::set_error(h, VL_ECATFAILED);
      return nullptr;
    }
    memset(h->locale_names[vls::ctype_row(c)], 0, VL_LOCALE_NAME_LEN);
    memcpy(h->locale_names[vls::ctype_row(c)], name, strnlen(name, VL_LOCALE_NAME_LEN - 1));
  }
  update_locale(h);
  if (init_locale_info(h) < 0) {
    _vl_free_ptr(result);
    return nullptr;
  }
  query_locname(h, category, result, kResultSize);
  return result;
}

static void copy_category(vl_locale_t *t, vl_locale_t *s, int category) {
  vl_free_category(t, category);
  switch (category) {
    case VL_LC_CTYPE:
      t->ctype = s->ctype;
      t->case_pair_count = s->case_pair_count;
      break;
    case VL_LC_COLLATE:
      t->coll_rows = s->coll_rows;
      t->collate = s->collate;
      t->coll_sb_tables[0] = s->coll_sb_tables[0];
      t->coll_sb_tables[1] = s->coll_sb_tables[1];
      break;
    case VL_LC_NUMERIC:
      _vl_copy_numeric(&t->nmm, &s->nmm);
      free_vlconv_numeric(&t->vlconv);
      load_vlconv_numeric(t);
      break;
    case VL_LC_MONETARY:
      _vl_copy_monetary(&t->nmm, &s->nmm);
      free_vlconv_monetary(&t->vlconv);
      load_vlconv_monetary(t);
      break;
    case VL_LC_TIME:
      t->time = s->time;
      t->time.era_info = nullptr;  // the era cache stays private to each handle
      break;
    case VL_LC_MESSAGES:
      _vl_copy_messages(&t->nmm, &s->nmm);
      break;
    default:
      break;
  }
  int r = vls::ctype_row(category);
  memcpy(t->codeset_names[r], s->codeset_names[r], VL_CODESET_NAME_LEN);
  memcpy(t->locale_names[r], s->locale_names[r], VL_LOCALE_NAME_LEN);
  update_locale(t);
}

}  // extern "C"

extern "C" {

VLS_API int update_locale(vl_locale_t *h) {
  if (set_flags(h) != 0) return -1;
  return check_codesets(h);
}

VLS_API int init_locale_info(vl_locale_t *h) {
  for (int r = 0; r < VL_CATEGORY_ROWS; ++r) {
    for (int i = 0; i < VL_CODESET_NAME_LEN; ++i) {
      h->codeset_names_w[r][i] = static_cast<unsigned char>(h->codeset_names[r][i]);
      if (!h->codeset_names[r][i]) break;
    }
    for (int i = 0; i < VL_LOCALE_NAME_LEN; ++i) {
      h->locale_names_w[r][i] = static_cast<unsigned char>(h->locale_names[r][i]);
      if (!h->locale_names[r][i]) break;
    }
  }
  return 1;
}

VLS_API int vl_createlocale_4(vl_locale_t **out) { return vl_createlocale2_4(out, nullptr); }

VLS_API int vl_createlocale2_4(vl_locale_t **out, const char *directory) {
  if (directory && strlen(directory) > kMaxDirectory) {
    vls::set_error(out, VL_ENOENT);  // no handle yet: the number lands in *out
    return -1;
  }
  if (vl_create_null_locale_4(out) != 0) return -1;
  vl_locale_t *h = *out;
  vls::RegistryScope registry_once;
  vls::TreeLoadScope trees_once;
  void *f = nullptr;
  if (directory) {
    char path[kHeaderLine];
    snprintf(path, sizeof path, "%sdefault.lco", directory);
    f = _vl_ext_fopen(path, "r");
  }
  if (!f) f = vl_path_search(h, "default.lco", "lc", "11");
  if (!f) {
    vl_lc_unload(h);
    *out = &vl_nofile_locale;
    return -1;
  }
  vls::own_stream(f);
  void *buffer = buffer_whole_file(f);
  int r = read_locale_file(f, h);
  _vl_ext_fclose(f);
  _vl_free_ptr(buffer);
  if (r != 0) return -1;
  for (auto &row : h->locale_names) {
    memset(row, 0, sizeof row);
    strcpy(row, "default.lco");
  }
  if (update_locale(h) != 0) return -1;
  return init_locale_info(h) < 0 ? -1 : 0;
}

VLS_API char *vl_setlocale_4(vl_locale_t *h, int category, const char *spec) {
  vl_message("vl_setlocale: Begin");
  vl_message("vl_setlocale: Calling vl_init_vlu");
  if (vl_init_vlu(h) != 0) {
    vl_message("vl_setlocale: vl_init_vlu failed");
    return nullptr;
  }
  vl_message("vl_setlocale: Calling set_categories");
  char *s = set_categories(h, category, spec, nullptr);
  vl_message("vl_setlocale: retVal from set_categories");
  vl_message(s ? s : "NULL");
  vl_message("vl_setlocale: End");
  return s;
}

VLS_API int vl_lc_load(vl_locale_t **out, const char *spec, const char *registry, const char *directory) {
  // The file name, with the directory folded in, is loaded as a
  // specification, so it gets no more room than one: a longer name is
  // refused as a too-long specification would be.
  char name[kMaxSpec];
  struct {
    uint32_t vl_errno;
  } scratch{0};
  const char *use = spec ? spec : "";
  bool too_long = false;
  if (spec) {
    int r = vls::spec2fname_bounded(&scratch, spec, name, sizeof name, registry, directory, &too_long);
    if (r >= 0) use = name;
  }
  if (vl_create_null_locale_4(out) != 0) return -1;
  vl_locale_t *h = *out;
  if (vl_init_vlu(h) != 0) return -1;
  if (too_long) {
    vls::set_error(h, VL_EBADARG);
    return -1;
  }
  vl_destroystring(set_categories(h, VL_LC_ALL, use, directory));
  return h->vl_errno != 0 ? -1 : 0;
}

VLS_API void vl_destroystring(char *s) { _vl_free_ptr(s); }

VLS_API int vl_copy_cat(vl_locale_t *target, vl_locale_t *source, int category) {
  int first = category == VL_LC_ALL ? VL_LC_CTYPE : category;
  int last = category == VL_LC_ALL ? VL_LC_MESSAGES : category;
  if (first < VL_LC_CTYPE || last > VL_LC_MESSAGES) {
    vls::set_error(target, VL_EBADARG);
    return -1;
  }
  for (int c = first; c <= last; ++c) {
    int r = vls::ctype_row(c);
    if (!source->locale_names[r][0] || !source->codeset_names[r][0]) {
      vls::set_error(target, VL_ENOSRCCAT);
      return -1;
    }
    if (target->locale_names[r][0] || target->codeset_names[r][0]) {
      vls::set_error(target, VL_EDSTCAT);
      return -1;
    }
  }
  vls::RegistryScope registry_once;
  for (int c = first; c <= last; ++c) copy_category(target, source, c);
  return 0;
}

}  // extern "C"
