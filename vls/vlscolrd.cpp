// The collation reader: the LC_COLLATE section of a locale file into the
// handle's collate_category and coll_rows, and the tables derived from it
// (first-byte candidates, ignored and equivalent characters).
//
// The section, in file order: the kind line; the character-to-row tree;
// the code-order flag; "max_row passes elements expansions max_weight";
// the pass flags; element and expansion lines; one line of weight words
// per row (or, in code order, words separated by optional spaces).
//
// A compiled file is trusted for its layout, but nothing in it may lead a
// later walk outside a table: rows beyond max_row, expansion indexes beyond
// the expansions, more than eight passes, empty elements and expansions are
// all refused as a damaged file (11).
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsmulti.h>
#include <vls/vlsutils.h>

#include "vlscollidx.h"
#include "vlsint.h"
#include "vlsscan.h"
#include "vlstreepool.h"
#include "vlswalk.h"

namespace {

using vls::fail;
using vls::set_error;

constexpr int kKindLine = 128;
constexpr int32_t kMaxRow = 0xFFFF;
constexpr int32_t kMaxRecords = 0x4000;  // expansion indexes have 14 bits
constexpr uint16_t kExpansion = 0x4000, kTie = 0x8000, kIndex = 0x3FFF;
constexpr int32_t kGrowth = 100;

// Hex digit values as _vl_get_hex takes them: any other byte is 0.
constexpr std::array<unsigned char, 256> kHexValue = [] {
  std::array<unsigned char, 256> t{};
  for (int c = '0'; c <= '9'; ++c) t[static_cast<size_t>(c)] = static_cast<unsigned char>(c - '0');
  for (int c = 'a'; c <= 'f'; ++c) t[static_cast<size_t>(c)] = static_cast<unsigned char>(c - 'a' + 10);
  for (int c = 'A'; c <= 'F'; ++c) t[static_cast<size_t>(c)] = static_cast<unsigned char>(c - 'A' + 10);
  return t;
}();

inline uint32_t hex_of(const unsigned char *p, int digits) {
  uint32_t v = 0;
  for (int i = 0; i < digits; ++i) v = (v << 4) | kHexValue[p[i]];
  return v;
}
// A word of the row lines: four digits, unrolled.
inline uint16_t hex4(const unsigned char *p) {
  return static_cast<uint16_t>(kHexValue[p[0]] << 12 | kHexValue[p[1]] << 8 | kHexValue[p[2]] << 4 | kHexValue[p[3]]);
}

// The section's fixed-width hex fields, read as _vl_get_hex and
// _vl_skip_nl read them: straight from the C library's buffer while it
// holds the bytes, through the host's slots otherwise.
class HexReader {
 public:
  explicit HexReader(void *stream) : stream_(stream), in_(stream) {}
  uint32_t get(int digits) {
    if (const unsigned char *p = in_.peek(static_cast<size_t>(digits))) {
      in_.skip(static_cast<size_t>(digits));
      if (digits == 8) return static_cast<uint32_t>(hex4(p)) << 16 | hex4(p + 4);
      return digits == 4 ? hex4(p) : hex_of(p, digits);
    }
    return _vl_get_hex(stream_, digits);
  }
  // One row line: a 4-digit word for each of `passes` tables at `row`,
  // then a newline (looked for only when there are words). False when the
  // newline is missing.
  bool row_line(uint16_t *const *tables, int32_t passes, int32_t row) {
    const size_t n = 4 * static_cast<size_t>(passes);
    if (const unsigned char *p = passes > 0 ? in_.peek(n + 1) : nullptr) {
      for (int32_t q = 0; q < passes; ++q) tables[q][row] = hex4(p + 4 * q);
      if (p[n] != '\n') {
        in_.skip(n);
        return false;
      }
      in_.skip(n + 1);
      return true;
    }
    for (int32_t q = 0; q < passes; ++q) tables[q][row] = static_cast<uint16_t>(_vl_get_hex(stream_, 4));
    return passes == 0 || _vl_skip_nl(stream_);
  }

 private:
  void *stream_;
  vls::ByteReader in_;
};

// Appends `value` to a scratch array: it starts at kGrowth entries and
// doubles, so that a class of many characters (a UTF-8 locale's ignored
// ones) fills in linear time.
template <typename T>
bool push(T *&items, int32_t &count, int32_t &capacity, const T &value) {
  if (count == capacity) {
    const int32_t more = capacity < kGrowth ? kGrowth : capacity;
    T *grown = vls::alloc_array<T>(static_cast<size_t>(capacity) + static_cast<size_t>(more));
    if (!grown) return false;
    if (count) memcpy(grown, items, sizeof(T) * static_cast<size_t>(count));
    if (capacity > 0) _vl_free_ptr(items);
    items = grown;
    capacity += more;
  }
  items[count++] = value;
  return true;
}

// A copy of `length` bytes with four zero bytes behind them.
char *mb_copy(const char *bytes, int32_t length) {
  char *s = static_cast<char *>(_vl_alloc_ptr(static_cast<size_t>(length) + 4));
  if (!s) return nullptr;
  memcpy(s, bytes, static_cast<size_t>(length));
  memset(s + length, 0, 4);
  return s;
}

// Where read_collate keeps what the scratch records hold by row, so that
// the per-character work of the analysis does not search them.
struct RowIndex {
  int32_t *class_of = nullptr;    // class number of a row, or -1
  unsigned char *ignored = nullptr;
};

// ---- records ------------------------------------------------------------------------

// Fills `chars` from `count` groups of eight hex digits, raising the
// handle's collation expansion to the count.
int read_codes(vl_locale_t *h, void *stream, uint32_t count, vl_wchar **chars) {
  if (count == 0) return fail(h, VL_EBADFILE);  // an empty record has no meaning
  *chars = vls::alloc_array<vl_wchar>(count);
  if (!*chars) return fail(h, VL_ENOMEM);
  HexReader in(stream);
  for (uint32_t i = 0; i < count; ++i) (*chars)[i] = in.get(8);
  if (!_vl_skip_nl(stream)) return fail(h, VL_EBADFILE);
  if (static_cast<double>(count) > h->coll_expansion) h->coll_expansion = count;
  return 0;
}

// ---- row analysis -------------------------------------------------------------------

// The lowest earlier row whose words equal a row's in every pass, found
// through a hash of the words rather than a search of all earlier rows.
class IdenticalRows {
 public:
  IdenticalRows(const collate_category &c) : c_(c) {
    size_t need = 2 * (static_cast<size_t>(c.max_row) + 1);
    while (size_ < need) size_ <<= 1;
    slots_.reset(vls::alloc_array<int32_t>(size_));
    if (slots_)
      for (size_t i = 0; i < size_; ++i) slots_[i] = -1;
  }
  bool ok() const { return static_cast<bool>(slots_); }
  // The first row with the words of `r` (r itself when it is the first);
  // row r is remembered when it is.
  int32_t first_like(int32_t r) {
    size_t i = hash(r) & (size_ - 1);
    while (slots_[i] >= 0) {
      if (same(slots_[i], r)) return slots_[i];
      i = (i + 1) & (size_ - 1);
    }
    slots_[i] = r;
    return r;
  }

 private:
  uint32_t hash(int32_t r) const {
    uint32_t x = 2166136261u;
    for (int32_t p = 0; p < c_.num_passes; ++p) x = (x ^ c_.pass_weights[p][r]) * 16777619u;
    return x;
  }
  bool same(int32_t a, int32_t b) const {
    for (int32_t p = 0; p < c_.num_passes; ++p)
      if (c_.pass_weights[p][a] != c_.pass_weights[p][b]) return false;
    return true;
  }
  const collate_category &c_;
  size_t size_ = 16;
  vls::HostPtr<int32_t> slots_;
};

// The facts one row's words give.
struct RowFacts {
  bool ignored = true, code_tiebreak = false, one_expansion = true;
  uint16_t expansion_word = 0;
};

RowFacts row_facts(const collate_category &c, int32_t r) {
  RowFacts f;
  for (int32_t p = 0; p < c.num_passes; ++p) {
    const uint16_t w = c.pass_weights[p][r];
    if (w & kTie) {
      f.code_tiebreak = true;
      f.one_expansion = f.ignored = false;
    } else if (w & kExpansion) {
      if (f.expansion_word == 0)
        f.expansion_word = w;
      else if (w != f.expansion_word)
        f.one_expansion = false;
      f.ignored = false;
    } else if (w != 1) {
      // An ignored word leaves the row's expansion alone: a row of all
      // ones still stands for expansion 0, which feeds only the lists.
      f.one_expansion = false;
      f.ignored = false;
    }
  }
  return f;
}

// ---- derived lists ------------------------------------------------------------------

// save: the searches of the exported form.
int save_impl(vl_locale_t *h, row_set *ignored, class_set *classes, int32_t row, const char *bytes, int32_t length) {
  bool is_ignored = false;
  for (int32_t i = 0; i < ignored->count && !is_ignored; ++i) is_ignored = ignored->rows[i] == row;
  if (is_ignored) {
    char *s = mb_copy(bytes, length);
    if (!s || register_chars(h, ignored, s) != 0) {
      _vl_free_ptr(s);
      return fail(h, VL_ENOMEM);
    }
  }
  int32_t k = -1;
  for (int32_t i = 0; i < classes->count && k < 0; ++i)
    for (int32_t j = 0; j < classes->classes[i].count; ++j)
      if (classes->classes[i].rows[j] == row) {
        k = i;
        break;
      }
  if (k < 0) return 0;
  char *s = mb_copy(bytes, length);
  if (!s || register_chars(h, &classes->classes[k], s) != 0) {
    _vl_free_ptr(s);
    return fail(h, VL_ENOMEM);
  }
  return 0;
}

// The multibyte text of `count` wide codes through the collation tree;
// the byte count, or -1 with 1 stored.
int32_t codes_text(vl_locale_t *h, const vl_wchar *chars, uint32_t count, char *out) {
  int32_t n = 0;
  for (uint32_t i = 0; i < count; ++i) {
    int r = _vl_sl_wctomb(h, out + n, chars[i]);
    if (r < 0) return -1;
    n += r;
  }
  return n;
}

int enumerate_impl(vl_locale_t *h, row_set *ignored, class_set *classes, unsigned char *bytes, int32_t depth) {
  if (depth >= vls::tree::kMaxChar) return 0;
  for (unsigned b = 0; b < 256; ++b) {
    bytes[depth] = static_cast<unsigned char>(b);
    int32_t row = 0;
    const int r = get_chars_row(h->coll_rows, bytes, depth + 1, &row);
    if (r == 0) {
      if (enumerate_impl(h, ignored, classes, bytes, depth + 1) != 0) return -1;
    } else if (r == 1) {
      if (save_impl(h, ignored, classes, row, reinterpret_cast<char *>(bytes), depth + 1) != 0) return -1;
    }
  }
  return 0;
}

// What walks of a byte tree know about nodes they have seen, keyed by the
// node and the depth it was met at: a tree read in compressed form shares
// nodes between parents, and a walk that has seen a node at a depth need
// not walk it there again. A failed allocation only makes the map forget;
// the walks then see every node again, with the same result.
template <typename V>
class NodeMap {
 public:
  NodeMap() = default;
  NodeMap(const NodeMap &) = delete;
  NodeMap &operator=(const NodeMap &) = delete;
  ~NodeMap() { _vl_free_ptr(slots_); }
  const V *find(const unc_multi_arr_t *n, int32_t depth) const {
    if (!slots_) return nullptr;
    for (size_t i = slot(n, depth);; i = (i + 1) & (capacity_ - 1)) {
      if (!slots_[i].node) return nullptr;
      if (slots_[i].node == n && slots_[i].depth == depth) return &slots_[i].value;
    }
  }
  void put(const unc_multi_arr_t *n, int32_t depth, const V &value) {
    if (2 * (used_ + 1) > capacity_ && !grow()) return;
    size_t i = slot(n, depth);
    while (slots_[i].node) {
      if (slots_[i].node == n && slots_[i].depth == depth) return;
      i = (i + 1) & (capacity_ - 1);
    }
    slots_[i] = {n, depth, value};
    ++used_;
  }

 private:
  struct Slot {
    const unc_multi_arr_t *node;
    int32_t depth;
    V value;
  };
  size_t slot(const unc_multi_arr_t *n, int32_t depth) const {
    const uint32_t x = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(n) >> 4) ^ static_cast<uint32_t>(depth);
    return static_cast<size_t>(x * 2654435761u) & (capacity_ - 1);
  }
  bool grow() {
    const size_t capacity = capacity_ ? 2 * capacity_ : 256;
    Slot *slots = vls::alloc_array<Slot>(capacity);
    if (!slots) return false;
    for (size_t i = 0; i < capacity; ++i) slots[i].node = nullptr;
    Slot *old = slots_;
    const size_t old_capacity = capacity_;
    slots_ = slots;
    capacity_ = capacity;
    used_ = 0;
    for (size_t i = 0; i < old_capacity; ++i)
      if (old[i].node) put(old[i].node, old[i].depth, old[i].value);
    _vl_free_ptr(old);
    return true;
  }
  Slot *slots_ = nullptr;
  size_t capacity_ = 0, used_ = 0;
};

// Rows of the tree beyond max_row would index past the pass tables.
bool rows_in_range(const multi_t *t, const unc_multi_arr_t *node, int32_t max_row, int depth, NodeMap<bool> &seen) {
  if (!node || !node->flags || depth > vls::tree::kMaxChar || seen.find(node, depth)) return true;
  for (unsigned b = 0; b < 256; ++b) {
    if (node->flags[b] == VL_MULTI_COMPLETE) {
      if (vls::tree::u16(vls::tree::row(t, node, b)) > max_row) return false;
    } else if (node->flags[b] == VL_MULTI_LEADS && node->next && node->offsets) {
      if (!rows_in_range(t, vls::tree::child(node, b), max_row, depth + 1, seen)) return false;
    }
  }
  seen.put(node, depth, true);
  return true;
}

// The common case of rows_in_range, decided without a walk: a tree read in
// compressed form takes every node's rows from its shared data arrays
// (the root aside, which root_rows_in_range sees whole), and when no row
// of any of them lies beyond max_row no character's row can. False only
// means that the walk must decide.
bool shared_rows_in_range(const multi_t *t, int32_t max_row) {
  if (!(t->tree_flags & VL_MULTI_COMPRESSED) || !t->data_arrs || t->data_shift < 1) return false;
  // Arrays packed into one block are all seen in one pass over it.
  if (const int32_t most = vls::packed_rows_max(t); most >= 0) return most <= max_row;
  const size_t step = size_t{1} << t->data_shift;
  const unsigned limit = static_cast<unsigned>(max_row);
  unsigned beyond = 0;
  for (int32_t i = 0; i < t->data_arr_count; ++i) {
    const unsigned char *d = t->data_arrs[i];
    if (!d) return false;
    if (step == 2) {
      for (size_t b = 0; b < 256; ++b) {
        uint16_t v;
        memcpy(&v, d + 2 * b, sizeof v);
        beyond |= v > limit;
      }
    } else {
      for (size_t b = 0; b < 256; ++b) beyond |= vls::tree::u16(d + b * step) > limit;
    }
  }
  return beyond == 0;
}

// The single-byte paths take any byte's row straight from the root (its
// own, or the default): every one of them must lie within the tables.
bool root_rows_in_range(const multi_t *t, int32_t max_row) {
  if (vls::tree::u16(t->default_data) > max_row) return false;
  const unc_multi_arr_t *root = t->root;
  if (!root || !root->data) return true;
  for (unsigned b = 0; b < 256; ++b)
    if (vls::tree::u16(vls::tree::row(t, root, b)) > max_row) return false;
  return true;
}

// Every word that names an expansion names one that exists.
bool expansions_in_range(const collate_category &c) {
  // Eight words at a time (an index has 14 bits: signed lanes hold it).
  typedef int16_t Lanes __attribute__((vector_size(16)));
  constexpr int32_t kLanes = static_cast<int32_t>(sizeof(Lanes) / sizeof(int16_t));
  const int32_t rows = c.max_row + 1;
  const int16_t count = static_cast<int16_t>(c.num_expansions < kExpansion ? c.num_expansions : kExpansion);
  for (int32_t p = 0; p < c.num_passes; ++p) {
    const uint16_t *words = c.pass_weights[p];
    Lanes bad = {};
    int32_t r = 0;
    for (; r + kLanes <= rows; r += kLanes) {
      Lanes w;
      memcpy(&w, words + r, sizeof w);
      bad |= ((w & static_cast<int16_t>(kExpansion)) != 0) & ((w & static_cast<int16_t>(kIndex)) >= count);
    }
    for (int32_t k = 0; k < kLanes; ++k)
      if (bad[k]) return false;
    for (; r < rows; ++r)
      if ((words[r] & kExpansion) && (words[r] & kIndex) >= c.num_expansions) return false;
  }
  return true;
}

// ---- the section's parts ------------------------------------------------------------

// The kind line: 1 to go on, 0 done (Thai), -1 failed.
int read_kind(void *stream, vl_locale_t *h) {
  collate_category &c = h->collate;
  char line[kKindLine];
  if (!_vl_ext_fgets(line, sizeof line, stream) || check_nl(line)) return fail(h, VL_EBADFILE);
  if (strcmp(line, "thai_smo\n") == 0) {
    c.collation_kind = VL_COLL_THAI;
    return 0;
  }
  if (strcmp(line, "as_specified\n") != 0) {
    c.collation_kind = VL_COLL_NONE;
    return -1;  // the error number stays as it was
  }
  c.collation_kind = VL_COLL_TABLE;
  return 1;
}

int read_counts(void *stream, vl_locale_t *h) {
  collate_category &c = h->collate;
  c.codeset_order = _vl_get_int(stream);
  if (!_vl_skip_nl(stream)) return fail(h, VL_EBADFILE);
  c.max_row = _vl_get_int(stream);
  c.num_passes = _vl_get_int(stream);
  const int32_t elems = _vl_get_int(stream);
  const int32_t exps = _vl_get_int(stream);
  c.max_weight = static_cast<uint32_t>(_vl_get_int(stream));
  if (!_vl_skip_nl(stream)) return fail(h, VL_EBADFILE);
  if (c.max_row < 0 || c.max_row > kMaxRow || c.num_passes > VL_MAX_PASSES || elems < 0 || elems > kMaxRow + 1 ||
      exps < 0 || exps > kMaxRecords) {
    c.num_passes = 0;
    return fail(h, VL_EBADFILE);
  }
  c.num_coll_elems = elems;
  c.num_expansions = exps;
  return 0;
}

int read_pass_flags(void *stream, vl_locale_t *h) {
  collate_category &c = h->collate;
  if (c.num_passes < 1) return 0;
  for (int32_t p = 0; p < c.num_passes; ++p) {
    c.pass_flags[p] = _vl_get_hex(stream, 4);
    c.pass_weights[p] = vls::alloc_array<uint16_t>(static_cast<size_t>(c.max_row) + 1);
    if (!c.pass_weights[p]) {
      for (int32_t q = p; q < VL_MAX_PASSES; ++q) c.pass_weights[q] = nullptr;
      return fail(h, VL_ENOMEM);
    }
  }
  if (!_vl_skip_nl(stream)) return fail(h, VL_EBADFILE);
  return 0;
}

int read_records(void *stream, vl_locale_t *h) {
  collate_category &c = h->collate;
  if (c.num_coll_elems > 0) {
    c.coll_elems = vls::alloc_array<coll_elem>(static_cast<size_t>(c.num_coll_elems));
    if (!c.coll_elems) return fail(h, VL_ENOMEM);
    // Unread records stay empty, so that a release after a failure frees
    // only what was read.
    for (int32_t i = 0; i < c.num_coll_elems; ++i) c.coll_elems[i] = {0, nullptr, 0};
    for (int32_t i = 0; i < c.num_coll_elems; ++i)
      if (read_coll_elem(h, stream, &c.coll_elems[i]) != 0) return -1;
  }
  if (c.num_expansions > 0) {
    c.expansions = vls::alloc_array<coll_exp_record>(static_cast<size_t>(c.num_expansions));
    if (!c.expansions) return fail(h, VL_ENOMEM);
    for (int32_t i = 0; i < c.num_expansions; ++i) c.expansions[i] = {0, nullptr};
    for (int32_t i = 0; i < c.num_expansions; ++i)
      if (read_expansion(h, stream, &c.expansions[i]) != 0) return -1;
  }
  return 0;
}

// The code-order form: words with optional spaces, no line structure.
void read_code_order_rows(void *stream, collate_category &c) {
  for (int32_t r = 0; r <= c.max_row; ++r)
    for (int32_t p = 0; p < c.num_passes; ++p) {
      _vl_skip_space_if_needed(stream);
      c.pass_weights[p][r] = static_cast<uint16_t>(_vl_get_hex(stream, 4));
    }
}

// Scratch of the analysis, released on every path.
struct Scratch {
  row_set ignored{};
  exp_set exps{};
  class_set classes{};
  RowIndex index;
  ~Scratch() {
    cleanup_rows(&ignored);
    cleanup_exps(&exps);
    cleanup_classes(&classes);
    _vl_free_ptr(index.class_of);
    _vl_free_ptr(index.ignored);
  }
};

// A new class: old_row first, then new_row unless it is -1.
int new_class(vl_locale_t *h, class_set *classes, int32_t new_row, int32_t old_row) {
  row_set fresh{};
  if (register_row(h, &fresh, old_row) != 0 || (new_row != -1 && register_row(h, &fresh, new_row) != 0) ||
      !push(classes->classes, classes->count, classes->capacity, fresh)) {
    cleanup_rows(&fresh);
    return fail(h, VL_ENOMEM);
  }
  return 0;
}

// register_class through the row index: the same classes without the
// searches.
int add_to_class(vl_locale_t *h, Scratch &s, int32_t new_row, int32_t old_row) {
  int32_t *class_of = s.index.class_of;
  const int32_t k = class_of[old_row];
  if (new_row < 0) {
    if (k >= 0) return 0;
  } else if (k >= 0 && s.classes.classes[k].rows[0] == old_row) {
    if (register_row(h, &s.classes.classes[k], new_row) != 0) return -1;
    if (class_of[new_row] < 0) class_of[new_row] = k;
    return 0;
  }
  if (new_class(h, &s.classes, new_row, old_row) != 0) return -1;
  if (k < 0) class_of[old_row] = s.classes.count - 1;
  if (new_row >= 0 && class_of[new_row] < 0) class_of[new_row] = s.classes.count - 1;
  return 0;
}

// The line form: one line of words per row.
int read_line_rows(void *stream, vl_locale_t *h) {
  collate_category &c = h->collate;
  HexReader in(stream);
  for (int32_t r = 0; r <= c.max_row; ++r)
    if (!in.row_line(c.pass_weights, c.num_passes, r)) return -1;  // the error number stays as it was
  return 0;
}

// The analysis of the line form's rows: ignored rows, classes of
// identical rows, rows that stand for one expansion.
int analyse_rows(vl_locale_t *h, Scratch &s) {
  collate_category &c = h->collate;
  const size_t rows = static_cast<size_t>(c.max_row) + 1;
  s.index.class_of = vls::alloc_array<int32_t>(rows);
  s.index.ignored = vls::alloc_array<unsigned char>(rows);
  if (!s.index.class_of || !s.index.ignored) return fail(h, VL_ENOMEM);
  for (size_t i = 0; i < rows; ++i) s.index.class_of[i] = -1;
  memset(s.index.ignored, 0, rows);
  IdenticalRows identical(c);
  if (!identical.ok()) return fail(h, VL_ENOMEM);
  for (int32_t r = 0; r <= c.max_row; ++r) {
    const RowFacts f = row_facts(c, r);
    const int32_t k = identical.first_like(r);
    if (f.ignored) {
      if (register_row(h, &s.ignored, r) != 0) return -1;
      s.index.ignored[r] = 1;
    } else if (!f.code_tiebreak && r > 0 && k != r) {
      if (add_to_class(h, s, r, k) != 0) return -1;
    }
    if (f.one_expansion) {
      if (register_exp(h, &s.exps, f.expansion_word & kIndex, r) != 0) return -1;
      if (add_to_class(h, s, -1, r) != 0) return -1;
    }
  }
  return 0;
}

// ---- the handle's lists ---------------------------------------------------------------
//
// The ignored characters and the equivalent pairs are the strings that the
// documented saves give, in the same order: the elements' texts, the texts
// of the rows that stand for one expansion, then every character of the
// tree in byte order. They are made in two walks: the first counts the
// strings of the ignored set and of each class, the second writes them
// into one heap block, the pointer arrays in front and the strings of each
// list or class together behind them:
//   [ignored_chars: n + 1 pointers][equivalent_chars: m + 1 pairs]
//   [ignored strings][strings of class 0][strings of class 1]...
// free_collate releases the block through the first list that is set.

// Where a row's characters go: the ignored set, a class, or neither.
struct Listing {
  const int32_t *class_of;
  const unsigned char *ignored;  // null when no row is ignored
  int32_t max_row;
  bool ignored_row(int32_t row) const { return ignored && row <= max_row && ignored[row]; }
  int32_t class_of_row(int32_t row) const { return row <= max_row ? class_of[row] : -1; }
};

// What the first walk found below a node: its listed characters, and when
// they all go to one class and none to the ignored set, that class, their
// bytes and the length of the last one (else class -2).
struct Found {
  int32_t count = 0;
  int32_t only_class = -1;  // -1 none yet
  int32_t last_length = 0;
  size_t bytes = 0;
  void add(const Found &f) {
    if (f.count == 0) return;
    only_class = count == 0 ? f.only_class : only_class == f.only_class ? only_class : -2;
    count += f.count;
    bytes += f.bytes;
    last_length = f.last_length;
  }
};

// The strings of the ignored set and of each class.
struct Counts {
  int32_t *count;       // per class
  size_t *bytes;        // per class
  int32_t *last_length; // per class: length of its last string
  int32_t ignored = 0;
  size_t ignored_bytes = 0;
  void add(bool ignored_row, int32_t k, int32_t length, int32_t n = 1) {
    const size_t size = static_cast<size_t>(length) + 4;
    if (ignored_row) {
      ignored += n;
      ignored_bytes += size * static_cast<size_t>(n);
    }
    if (k >= 0) {
      count[k] += n;
      bytes[k] += size * static_cast<size_t>(n);
      last_length[k] = length;
    }
  }
};

// The strings' places in the block.
struct Fill {
  const int32_t *count;
  const int32_t *first_pair;  // per class: its first pair
  int32_t *seen;              // per class: strings written
  char **at;                  // per class: where its next string goes
  char *const *last;          // per class: its last string
  char **ignored_list;
  char *ignored_at;
  vl_equiv_pair *pairs;
  bool with_pairs;
  int32_t ignored = 0;
  static char *put(char *&at, const unsigned char *bytes, int32_t length) {
    char *s = at;
    if (length <= vls::tree::kMaxChar)
      memcpy(s, bytes, vls::tree::kMaxChar);  // the block has room behind its last string
    else
      memcpy(s, bytes, static_cast<size_t>(length));
    memset(s + length, 0, 4);
    at += length + 4;
    return s;
  }
  void add(bool ignored_row, int32_t k, const unsigned char *bytes, int32_t length) {
    if (ignored_row) ignored_list[ignored++] = put(ignored_at, bytes, length);
    if (k < 0 || !with_pairs || count[k] < 2) return;
    char *s = put(at[k], bytes, length);
    const int32_t j = seen[k]++;
    if (j < count[k] - 1) pairs[first_pair[k] + j] = {s, last[k]};
  }
};

// The characters of the tree below `node` whose rows are listed, in byte
// order: counted into `counts` (Count) or written through `fill`.
template <bool Count>
Found walk_listed(const multi_t *t, const unc_multi_arr_t *node, unsigned char *bytes, int32_t depth,
                  const Listing &l, NodeMap<Found> &seen, Counts *counts, Fill *fill) {
  Found found;
  if (depth >= vls::tree::kMaxChar || !node->flags) return found;
  if (const Found *f = seen.find(node, depth)) {
    if (f->count == 0) return *f;
    if (Count && f->only_class >= 0) {
      counts->count[f->only_class] += f->count;
      counts->bytes[f->only_class] += f->bytes;
      counts->last_length[f->only_class] = f->last_length;
      return *f;
    }
  }
  const unsigned char *flags = node->flags;
  const bool leads = node->next && node->offsets;
  const int32_t length = depth + 1;
  // Without data every character of the node has the default row.
  const uint16_t default_row = vls::tree::u16(t->default_data);
  bool ignored_row = !node->data && l.ignored_row(default_row);
  int32_t k = node->data ? -1 : l.class_of_row(default_row);
  if (!Count && !node->data && !ignored_row && k >= 0 && !leads) {
    // A node of characters of one class (a range of unassigned
    // characters): their strings and pairs straight.
    if (!fill->with_pairs || fill->count[k] < 2) return found;
    char *at = fill->at[k];
    int32_t j = fill->seen[k];
    const int32_t pairs_left = fill->count[k] - 1;
    vl_equiv_pair *pair = fill->pairs + fill->first_pair[k];
    char *const last = fill->last[k];
    const uint32_t zeros = 0;
    for (unsigned b = 0; b < 256; ++b) {
      if (flags[b] != VL_MULTI_COMPLETE) continue;
      bytes[depth] = static_cast<unsigned char>(b);
      memcpy(at, bytes, vls::tree::kMaxChar);
      memcpy(at + length, &zeros, 4);
      if (j < pairs_left) pair[j] = {at, last};
      ++j;
      at += length + 4;
    }
    fill->at[k] = at;
    fill->seen[k] = j;
    return found;
  }
  for (unsigned b = 0; b < 256; ++b) {
    if (flags[b] == VL_MULTI_COMPLETE) {
      if (node->data) {
        const uint16_t row = vls::tree::u16(vls::tree::row(t, node, b));
        ignored_row = l.ignored_row(row);
        k = l.class_of_row(row);
      }
      if (!ignored_row && k < 0) continue;
      bytes[depth] = static_cast<unsigned char>(b);
      if (Count)
        counts->add(ignored_row, k, length);
      else
        fill->add(ignored_row, k, bytes, length);
      Found one;
      one.count = 1;
      one.only_class = ignored_row ? -2 : k;
      one.bytes = static_cast<size_t>(length) + 4;
      one.last_length = length;
      found.add(one);
    } else if (flags[b] == VL_MULTI_LEADS && leads) {
      if (const unc_multi_arr_t *next = vls::tree::child(node, b)) {
        bytes[depth] = static_cast<unsigned char>(b);
        found.add(walk_listed<Count>(t, next, bytes, depth + 1, l, seen, counts, fill));
      }
    }
  }
  if (Count) seen.put(node, depth, found);
  return found;
}

// A listed text of an element or of an expansion's row, kept between the
// two walks.
struct ListedText {
  int32_t row;
  int32_t length;
  unsigned char text[15 * 4];
};

int derive_lists(vl_locale_t *h, Scratch &s) {
  collate_category &c = h->collate;
  if (s.ignored.count == 0 && s.classes.count == 0) return 0;
  const Listing l{s.index.class_of, s.ignored.count > 0 ? s.index.ignored : nullptr, c.max_row};
  const size_t classes = static_cast<size_t>(s.classes.count);
  vls::HostPtr<int32_t> ints(vls::alloc_array<int32_t>(4 * classes + 1));
  vls::HostPtr<size_t> bytes(vls::alloc_array<size_t>(classes + 1));
  vls::HostPtr<char *> places(vls::alloc_array<char *>(2 * classes + 1));
  if (!ints || !bytes || !places) return fail(h, VL_ENOMEM);
  int32_t *count = ints.get(), *first_pair = count + classes, *seen = first_pair + classes,
          *last_length = seen + classes;
  char **at = places.get(), **last = at + classes;
  for (size_t k = 0; k < classes; ++k) count[k] = seen[k] = last_length[k] = 0, bytes[k] = 0;
  Counts counts{count, bytes.get(), last_length};

  // The texts of the elements and of the rows that stand for one
  // expansion; a code without a character fails here (1).
  ListedText *texts = nullptr;
  int32_t text_count = 0, text_capacity = 0;
  struct FreeTexts {
    ListedText *&t;
    ~FreeTexts() { _vl_free_ptr(t); }
  } free_texts{texts};
  auto add_text = [&](int32_t row, const vl_wchar *chars, uint32_t n) {
    ListedText t;
    t.row = row;
    t.length = codes_text(h, chars, n, reinterpret_cast<char *>(t.text));
    if (t.length < 0) return -1;
    const bool ignored_row = l.ignored_row(row);
    const int32_t k = l.class_of_row(row);
    if (!ignored_row && k < 0) return 0;
    if (!push(texts, text_count, text_capacity, t)) return fail(h, VL_ENOMEM);
    counts.add(ignored_row, k, t.length);
    return 0;
  };
  for (int32_t i = 0; i < c.num_coll_elems; ++i)
    if (add_text(c.coll_elems[i].row, c.coll_elems[i].chars, c.coll_elems[i].count) != 0) return -1;
  for (int32_t i = 0; i < s.exps.count; ++i) {
    const exp_pair &p = s.exps.pairs[i];
    if (p.index >= c.num_expansions) continue;  // a row of all ones: no expansion behind it
    if (add_text(p.row, c.expansions[p.index].chars, c.expansions[p.index].count) != 0) return -1;
  }
  unsigned char path[vls::tree::kMaxChar + 4] = {};
  NodeMap<Found> found;
  const multi_t *t = h->coll_rows;
  if (t && t->root) walk_listed<true>(t, t->root, path, 0, l, found, &counts, nullptr);

  // The pairs are made when the strings outnumber the classes; a class of
  // n strings gives n - 1 of them.
  int64_t total = -static_cast<int64_t>(classes);
  for (size_t k = 0; k < classes; ++k) total += count[k];
  const bool with_pairs = total > 0;
  int32_t pair_count = 0;
  size_t string_bytes = counts.ignored_bytes;
  if (with_pairs)
    for (size_t k = 0; k < classes; ++k) {
      first_pair[k] = pair_count;
      if (count[k] < 2) continue;
      pair_count += count[k] - 1;
      string_bytes += bytes[k];
    }
  if (counts.ignored == 0 && !with_pairs) return 0;
  const size_t list_bytes = counts.ignored > 0 ? sizeof(char *) * (static_cast<size_t>(counts.ignored) + 1) : 0;
  const size_t pair_bytes = with_pairs ? sizeof(vl_equiv_pair) * (static_cast<size_t>(pair_count) + 1) : 0;
  char *block = static_cast<char *>(_vl_alloc_ptr(list_bytes + pair_bytes + string_bytes + vls::tree::kMaxChar));
  if (!block) return fail(h, VL_ENOMEM);
  auto *list = list_bytes ? reinterpret_cast<char **>(block) : nullptr;
  auto *pairs = pair_bytes ? reinterpret_cast<vl_equiv_pair *>(block + list_bytes) : nullptr;
  char *strings = block + list_bytes + pair_bytes;
  Fill fill{count, first_pair, seen, at, last, list, strings, pairs, with_pairs};
  char *next = strings + counts.ignored_bytes;
  for (size_t k = 0; k < classes; ++k) {
    at[k] = last[k] = nullptr;
    if (!with_pairs || count[k] < 2) continue;
    at[k] = next;
    next += bytes[k];
    last[k] = next - last_length[k] - 4;
  }
  for (int32_t i = 0; i < text_count; ++i)
    fill.add(l.ignored_row(texts[i].row), l.class_of_row(texts[i].row), texts[i].text, texts[i].length);
  if (t && t->root) walk_listed<false>(t, t->root, path, 0, l, found, nullptr, &fill);
  if (list) {
    list[counts.ignored] = nullptr;
    h->coll_sb_tables[0] = list;
  }
  if (pairs) {
    pairs[pair_count] = {nullptr, nullptr};
    h->coll_sb_tables[1] = pairs;
  }
  return 0;
}

// What derive_lists would refuse in the texts of the elements and of the
// rows that stand for one expansion (a code without a character, 1),
// found without making the lists.
int listed_texts_ok(vl_locale_t *h, const Scratch &s) {
  const collate_category &c = h->collate;
  if (s.ignored.count == 0 && s.classes.count == 0) return 0;
  char text[15 * 4];
  for (int32_t i = 0; i < c.num_coll_elems; ++i)
    if (codes_text(h, c.coll_elems[i].chars, c.coll_elems[i].count, text) < 0) return -1;
  for (int32_t i = 0; i < s.exps.count; ++i) {
    const exp_pair &p = s.exps.pairs[i];
    if (p.index < c.num_expansions && codes_text(h, c.expansions[p.index].chars, c.expansions[p.index].count, text) < 0)
      return -1;
  }
  return 0;
}

// Whether the text of every element and of every expansion converts, so
// that no listed text can fail whatever the rows give.
bool all_texts_convert(vl_locale_t *h) {
  const collate_category &c = h->collate;
  char text[15 * 4];
  for (int32_t i = 0; i < c.num_coll_elems; ++i)
    if (codes_text(h, c.coll_elems[i].chars, c.coll_elems[i].count, text) < 0) return false;
  for (int32_t i = 0; i < c.num_expansions; ++i)
    if (codes_text(h, c.expansions[i].chars, c.expansions[i].count, text) < 0) return false;
  return true;
}

// A collation of more characters than this (a UTF-8 or GB18030 one: its
// lists run to hundreds of thousands of strings) makes its lists on
// request; any smaller one, every 8- and 16-bit codeset among them, at load.
constexpr int64_t kListedAtLoad = 65536;

// The characters of the tree below `node`, counted until they pass `limit`.
// Nodes of a compressed tree share their flag arrays (a UTF-8 tree has a
// thousand leaves and a few dozen distinct arrays), so the counts of the
// last array seen are kept for the next node that has the same one.
struct FlagCounts {
  const unsigned char *flags = nullptr;
  int64_t complete = 0;
  unsigned leads = 0;
};

int64_t chars_below(const unc_multi_arr_t *node, int32_t depth, int64_t limit, FlagCounts &last) {
  if (depth >= vls::tree::kMaxChar || !node || !node->flags) return 0;
  const unsigned char *f = node->flags;
  if (f != last.flags) {
    // A node's own characters, sixteen flags at a time: each lane counts
    // its matches (a match compares as all ones, subtracted as -1).
    typedef unsigned char Lanes __attribute__((vector_size(16)));
    Lanes complete_lanes = {}, lead_lanes = {};
    for (unsigned b = 0; b < 256; b += sizeof(Lanes)) {
      Lanes v;
      memcpy(&v, f + b, sizeof v);
      complete_lanes -= reinterpret_cast<Lanes>(v == static_cast<unsigned char>(VL_MULTI_COMPLETE));
      lead_lanes -= reinterpret_cast<Lanes>(v == static_cast<unsigned char>(VL_MULTI_LEADS));
    }
    // At most 16 in a lane: the eight lanes of a word add up in its top byte.
    auto lane_sum = [](const Lanes &v) {
      uint64_t w[2];
      memcpy(w, &v, sizeof w);
      return static_cast<unsigned>(((w[0] * 0x0101010101010101ull) >> 56) + ((w[1] * 0x0101010101010101ull) >> 56));
    };
    const int64_t complete = lane_sum(complete_lanes);
    const unsigned leads = lane_sum(lead_lanes);
    last = {f, complete, leads};
  }
  int64_t count = last.complete;
  // Then its children while the count has room.
  if (last.leads == 0 || !node->next || !node->offsets) return count;
  for (unsigned b = 0; b < 256 && count <= limit; ++b)
    if (f[b] == VL_MULTI_LEADS) count += chars_below(vls::tree::child(node, b), depth + 1, limit - count, last);
  return count;
}

bool lists_on_request(const multi_t *t) {
  FlagCounts last;
  return t && chars_below(t->root, 0, kListedAtLoad, last) > kListedAtLoad;
}

}  // namespace

extern "C" {

VLS_API int read_coll_elem(vl_locale_t *h, void *stream, coll_elem *elem) {
  HexReader in(stream);
  const uint32_t count = in.get(1);
  elem->row = static_cast<uint16_t>(in.get(4));
  if (elem->row > h->collate.max_row) return fail(h, VL_EBADFILE);
  if (read_codes(h, stream, count, &elem->chars) != 0) return -1;
  elem->count = count;
  return 0;
}

VLS_API int read_expansion(vl_locale_t *h, void *stream, coll_exp_record *exp) {
  const uint32_t count = HexReader(stream).get(1);
  if (read_codes(h, stream, count, &exp->chars) != 0) return -1;
  exp->count = count;
  return 0;
}

VLS_API int register_row(vl_locale_t *h, row_set *set, int32_t row) {
  return push(set->rows, set->count, set->capacity, row) ? 0 : fail(h, VL_ENOMEM);
}

VLS_API int register_chars(vl_locale_t *h, row_set *set, char *text) {
  return push(set->chars, set->char_count, set->char_capacity, text) ? 0 : fail(h, VL_ENOMEM);
}

VLS_API int register_exp(vl_locale_t *h, exp_set *exps, int32_t index, int32_t row) {
  for (int32_t i = 0; i < exps->count; ++i)
    if (exps->pairs[i].index == index) return 0;  // the first row keeps the expansion
  return push(exps->pairs, exps->count, exps->capacity, exp_pair{index, row}) ? 0 : fail(h, VL_ENOMEM);
}

VLS_API int register_class(vl_locale_t *h, class_set *classes, int32_t new_row, int32_t old_row) {
  if (new_row == -1) {
    for (int32_t i = 0; i < classes->count; ++i)
      for (int32_t j = 0; j < classes->classes[i].count; ++j)
        if (classes->classes[i].rows[j] == old_row) return 0;
  } else {
    for (int32_t i = 0; i < classes->count; ++i)
      if (classes->classes[i].count > 0 && classes->classes[i].rows[0] == old_row)
        return register_row(h, &classes->classes[i], new_row);
  }
  return new_class(h, classes, new_row, old_row);
}

VLS_API int save(vl_locale_t *h, row_set *ignored, class_set *classes, int32_t row, const char *bytes,
                 int32_t length) {
  return save_impl(h, ignored, classes, row, bytes, length);
}

VLS_API int get_chars_row(const multi_t *tree, const unsigned char *bytes, int32_t length, int32_t *row_out) {
  if (!tree || !tree->root || length < 1) return -1;
  const unc_multi_arr_t *node = tree->root;
  for (int32_t i = 0; i < length; ++i) {
    const unsigned b = bytes[i];
    const unsigned char flag = vls::tree::flag_of(node, b);
    if (flag == VL_MULTI_COMPLETE) {
      if (i != length - 1) return -1;
      *row_out = vls::tree::u16(vls::tree::row(tree, node, b));
      return 1;
    }
    if (flag != VL_MULTI_LEADS || !node->next || !node->offsets) return -1;
    if (i == length - 1) return 0;
    node = vls::tree::child(node, b);
  }
  return -1;
}

VLS_API int enumerate_codepoints(vl_locale_t *h, row_set *ignored, class_set *classes, unsigned char *bytes,
                                 int32_t depth) {
  return enumerate_impl(h, ignored, classes, bytes, depth);
}

VLS_API void cleanup_rows(row_set *set) {
  _vl_free_ptr(set->rows);
  if (set->chars) {
    for (int32_t i = 0; i < set->char_count; ++i) _vl_free_ptr(set->chars[i]);
    _vl_free_ptr(set->chars);
  }
  *set = row_set{};
}

VLS_API void cleanup_exps(exp_set *exps) {
  _vl_free_ptr(exps->pairs);
  *exps = exp_set{};
}

VLS_API void cleanup_classes(class_set *classes) {
  for (int32_t i = 0; i < classes->count; ++i) {
    _vl_free_ptr(classes->classes[i].rows);
    _vl_free_ptr(classes->classes[i].chars);
  }
  _vl_free_ptr(classes->classes);
  *classes = class_set{};
}

VLS_API int set_exp_candidates(vl_locale_t *h) {
  collate_category &c = h->collate;
  for (auto &t : c.exp_candidates) t = nullptr;
  for (int32_t p = 0; p < c.num_passes; ++p) {
    // Pass 0's table carries the fast table of multibyte text behind it,
    // filled once the element index is made.
    const size_t extra = p == 0 ? vls::coll::fast_table_bytes(std::min<int32_t>(c.num_passes, VL_MAX_PASSES)) : 0;
    c.exp_candidates[p] = static_cast<coll_exp_record **>(_vl_alloc_ptr(vls::coll::pass_table_bytes() + extra));
    if (!c.exp_candidates[p]) return fail(h, VL_ENOMEM);
    if (p == 0) vls::coll::fast_table_slot(c)->built = vls::coll::fast_table_slot(c)->lists_later = 0;
  }
  const multi_t *t = h->coll_rows;
  for (vl_wchar ch = 0; ch < 256; ++ch) {
    const void *row = _vl_retrieve_wchar_multi_nl(h, ch, t);
    const uint16_t r = vls::tree::u16(row);
    const uint16_t byte_row = t->root ? vls::tree::u16(vls::tree::row(t, t->root, ch)) : 0;
    for (int32_t p = 0; p < c.num_passes; ++p) {
      const uint16_t w = row ? c.pass_weights[p][r] : 0;
      c.exp_candidates[p][ch] = (w & kExpansion) ? &c.expansions[w & kIndex] : nullptr;
      vls::coll::byte_words(c.exp_candidates[p])[ch] = c.pass_weights[p][byte_row];
      vls::coll::byte_special(c.exp_candidates[p])[ch] = c.exp_candidates[p][ch] != nullptr;
    }
  }
  set_error(h, 0);
  return 0;
}

static int make_elem_candidates(vl_locale_t *h);

VLS_API int set_elem_candidates(vl_locale_t *h) {
  const int r = make_elem_candidates(h);
  if (r == 0) vls::coll::build_fast_table(h);
  return r;
}

static int make_elem_candidates(vl_locale_t *h) {
  collate_category &c = h->collate;
  c.elem_candidates = nullptr;
  if (c.num_coll_elems < 1) return 0;
  const int32_t n = c.num_coll_elems;
  const int32_t rows = h->coll_rows && h->coll_rows->root && c.max_row >= 0 ? c.max_row + 1 : 0;
  int32_t *cand = vls::alloc_array<int32_t>(vls::coll::elem_block_words(n, rows));
  vls::HostPtr<uint64_t> order(vls::alloc_array<uint64_t>(static_cast<size_t>(n)));
  if (!cand || !order) {
    _vl_free_ptr(cand);
    return fail(h, VL_ENOMEM);
  }
  memset(cand, 0, vls::coll::kFlags * sizeof(int32_t));
  for (int32_t i = 0; i < n; ++i) {
    const vl_wchar first = c.coll_elems[i].chars[0];
    if (first < 256) cand[first] = 1;
    order[i] = (static_cast<uint64_t>(first) << 32) | static_cast<uint32_t>(i);
  }
  std::sort(order.get(), order.get() + n);
  cand[vls::coll::kFlags] = n;
  int32_t longest = 0;
  for (int32_t i = 0; i < n; ++i)
    if (static_cast<int32_t>(c.coll_elems[i].count) > longest) longest = static_cast<int32_t>(c.coll_elems[i].count);
  cand[vls::coll::kFlags + 1] = longest;
  auto *firsts = reinterpret_cast<uint32_t *>(cand + vls::coll::kHead);
  int32_t *numbers = cand + vls::coll::kHead + n;
  for (int32_t i = 0; i < n; ++i) {
    firsts[i] = static_cast<uint32_t>(order[i] >> 32);
    numbers[i] = static_cast<int32_t>(order[i] & 0xFFFFFFFFu);
  }
  // The rows that an element's first code has.
  *vls::coll::elem_row_count(cand) = rows;
  auto *second = const_cast<unsigned char *>(vls::coll::elem_second_flags(cand));
  memset(second, 0, 256);
  for (int32_t i = 0; i < n; ++i) {
    const coll_elem &e = c.coll_elems[i];
    if (e.count < 2) {
      memset(second, 1, 256);
      break;
    }
    second[e.chars[1] & 0xFFu] = 1;
  }
  auto *row_flags = const_cast<unsigned char *>(vls::coll::elem_row_flags(cand));
  if (rows > 0) memset(row_flags, 0, static_cast<size_t>(rows));
  for (int32_t i = 0; i < n && rows > 0; ++i) {
    const vls::tree::Walk w = vls::tree::walk_wide(h->coll_rows, c.coll_elems[i].chars[0]);
    const unsigned char *r = w.ok() ? vls::tree::row(h->coll_rows, w) : nullptr;
    if (r && vls::tree::u16(r) < rows) row_flags[vls::tree::u16(r)] = 1;
  }
  c.elem_candidates = cand;
  for (int32_t p = 0; p < c.num_passes; ++p)
    if (c.exp_candidates[p])
      for (unsigned b = 0; b < 256; ++b)
        if (cand[b]) vls::coll::byte_special(c.exp_candidates[p])[b] = 1;
  return 0;
}

VLS_API int read_collate(void *stream, vl_locale_t *h) {
  collate_category &c = h->collate;
  if (int k = read_kind(stream, h); k <= 0) return k;
  if (!h->coll_rows) return fail(h, VL_ENOMEM);
  if (int r = vls::scan_multi(stream, h->coll_rows, 4, nullptr, 4); r != 0) {
    set_error(h, static_cast<uint32_t>(_vl_multi_err(h->coll_rows)));
    return r;
  }
  if (read_counts(stream, h) != 0 || read_pass_flags(stream, h) != 0 || read_records(stream, h) != 0) return -1;
  {
    NodeMap<bool> seen;
    if ((!shared_rows_in_range(h->coll_rows, c.max_row) &&
         !rows_in_range(h->coll_rows, h->coll_rows->root, c.max_row, 1, seen)) ||
        !root_rows_in_range(h->coll_rows, c.max_row))
      return fail(h, VL_EBADFILE);
  }
  if (c.codeset_order == 1) {
    read_code_order_rows(stream, c);
  } else if (read_line_rows(stream, h) != 0) {
    return -1;
  }
  if (!expansions_in_range(c)) return fail(h, VL_EBADFILE);
  // The lists of a collation of very many characters (hundreds of
  // thousands of strings in a UTF-8 one) are made on request, by
  // vl_coll_lists; the load still refuses what making them would refuse.
  bool later = false;
  if (c.codeset_order != 1) {
    later = c.num_passes > 0 && lists_on_request(h->coll_rows);
    if (!later || !all_texts_convert(h)) {
      Scratch s;
      if (analyse_rows(h, s) != 0) return -1;
      if (later ? listed_texts_ok(h, s) != 0 : derive_lists(h, s) != 0) return -1;
    }
  }
  set_exp_candidates(h);
  if (c.exp_candidates[0]) vls::coll::fast_table_slot(c)->lists_later = later;
  return set_elem_candidates(h);
}

VLS_API int vl_coll_lists(vl_locale_t *h) {
  if (!h) return -1;
  collate_category &c = h->collate;
  if (h->coll_sb_tables[0] || h->coll_sb_tables[1] || !c.exp_candidates[0] || c.collation_kind != VL_COLL_TABLE)
    return 0;
  vls::coll::FastTable *t = vls::coll::fast_table_slot(c);
  if (!t->lists_later) return 0;
  Scratch s;
  if (analyse_rows(h, s) != 0 || derive_lists(h, s) != 0) return -1;
  if (!h->coll_sb_tables[0] && !h->coll_sb_tables[1]) t->lists_later = 0;  // there are none
  return 0;
}

}  // extern "C"
