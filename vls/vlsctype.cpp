// Character classes and case: the LC_CTYPE section reader, class lookup by
// name, and classification and case mapping of wide and multibyte
// characters through the two trees (or the bridge).
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsctypefast.h"
#include "vlsint.h"
#include "vlsscan.h"
#include "vlswalk.h"

namespace {

constexpr int kNameBuf = 128;
// Far above any real codeset; a larger count in a file is damage.
constexpr int32_t kMaxClasses = 4096;
// A locale-defined class at bit b answers 2048 << b.
constexpr int32_t kMaxClassBit = 20;
constexpr int32_t kMaxPairs = 1 << 22;

struct Builtin {
  std::string_view name;
  uint32_t mask;
};
constexpr Builtin kBuiltins[] = {
    {"alpha", VL_CT_ALPHA}, {"lower", VL_CT_LOWER}, {"upper", VL_CT_UPPER}, {"digit", VL_CT_DIGIT},
    {"xdigit", VL_CT_XDIGIT}, {"alnum", VL_CT_ALNUM}, {"blank", VL_CT_BLANK}, {"space", VL_CT_SPACE},
    {"punct", VL_CT_PUNCT}, {"graph", VL_CT_GRAPH}, {"print", VL_CT_PRINT}, {"cntrl", VL_CT_CNTRL},
};

inline bool bridged(const vl_locale_t *h) { return _vlu_active(h, VL_LC_CTYPE); }

inline uint16_t row_u16(const void *row) {
  uint16_t v;
  memcpy(&v, row, sizeof v);
  return v;
}

// The case pair behind a row of the case tree, or null for none (index 0,
// or an index beyond the pairs a damaged file supplied).
inline const vl_case_pair *pair_of(const vl_locale_t *h, const void *row) {
  if (!row || !h->ctype.case_pairs) return nullptr;
  uint16_t index = row_u16(row);
  if (index == 0 || index > h->case_pair_count) return nullptr;
  return &h->ctype.case_pairs[index];
}

template <bool Upper>
inline vl_wchar pick(const vl_case_pair *p) {
  return p ? (Upper ? p->upper : p->lower) : 0;
}

// ---- the derived table of class and case ----------------------------------------------
//
using vls::ctype::FastCtype;
using vls::ctype::FastLeaf;
using vls::ctype::fast_of;
using vls::ctype::leaf_of;
using vls::ctype::kFastMark;
using vls::ctype::kLeafUnit;

template <bool Upper>
__attribute__((noinline)) vl_wchar im_towcase_walk(vl_locale_t *h, vl_wchar value) {
  if (bridged(h))
    return _vlu_call(h, Upper ? fn_vlu_uc32toupper : fn_vlu_uc32tolower, _vlu_locale(h, VL_LC_CTYPE), value);
  const void *row = vls::tree::wide_row_walk(h, value, h->ctype.case_tree);
  vl_wchar to = pick<Upper>(pair_of(h, row));
  return to ? to : value;
}

// A loaded category answers from its derived table; the bridge, values the
// table leaves out and categories without one walk the case tree.
template <bool Upper>
inline vl_wchar im_towcase(vl_locale_t *h, vl_wchar value) {
  if (__builtin_expect(!bridged(h), 1))
    if (const FastCtype *f = fast_of(h)) {
      if (value < f->cas_limit) return Upper ? f->upper[value] : f->lower[value];
      const size_t b = value & 0xFFu;
      if (__builtin_expect(value <= 0xFFFFFFu, 1))
        if (const FastLeaf &l = leaf_of(f, f->cas_lead, value); __builtin_expect(l.flags[b] == VL_MULTI_COMPLETE, 1)) {
          const uint32_t index = row_u16(l.data + 2 * b);
          if (index == 0 || static_cast<int32_t>(index) > h->case_pair_count) return value;
          const vl_case_pair &p = h->ctype.case_pairs[index];
          const vl_wchar to = Upper ? p.upper : p.lower;
          return to ? to : value;
        }
    }
  return im_towcase_walk<Upper>(h, value);
}

inline uint16_t pack(int consumed, int written) {
  return static_cast<uint16_t>(((consumed & 0xFF) << 8) | (written & 0xFF));
}

template <bool Upper>
uint16_t im_tomcase(vl_locale_t *h, char *target, const char *source) {
  if (bridged(h))
    return static_cast<uint16_t>(
        _vlu_call(h, Upper ? fn_vlu_mbtoupper : fn_vlu_mbtolower, _vlu_locale(h, VL_LC_CTYPE), target, source, 4) & 0xFFFF);
  int32_t bytes = 0;
  const void *row = vls::tree::text_row<false>(reinterpret_cast<const unsigned char *>(source), h->ctype.case_tree,
                                               0, &bytes, h);
  vl_wchar to = pick<Upper>(pair_of(h, row));
  if (!to) {
    memcpy(target, source, static_cast<size_t>(bytes));
    return pack(bytes, bytes);
  }
  return pack(bytes, vl_full_wctomb(h, target, to));
}

template <bool Upper>
uint16_t kvx_im_tomcase(vl_locale_t *h, char *target, const char *source, int32_t limit) {
  int32_t bytes = 0;
  const void *row = vls::tree::text_row<true>(reinterpret_cast<const unsigned char *>(source), h->ctype.case_tree,
                                              limit, &bytes, h);
  if (!row) return 0;
  vl_wchar to = pick<Upper>(pair_of(h, row));
  if (!to) {
    memcpy(target, source, static_cast<size_t>(bytes));
    return pack(bytes, bytes);
  }
  return pack(bytes, vl_full_wctomb(h, target, to));
}

template <bool Upper>
int tombscase(vl_locale_t *h, char *target, const char *source) {
  if (bridged(h))
    return _vlu_call(h, Upper ? fn_vlu_mbstoupper : fn_vlu_mbstolower, _vlu_locale(h, VL_LC_CTYPE), target, source);
  if (const unsigned char *table = Upper ? h->upper_table : h->lower_table) {
    const auto *s = reinterpret_cast<const unsigned char *>(source);
    auto *t = reinterpret_cast<unsigned char *>(target);
    int n = 0;
    for (; s[n]; ++n) t[n] = table[s[n]];
    t[n] = 0;
    return n;
  }
  const char *s = source;
  char *t = target;
  while (!vl_ismbsterm(h, s)) {
    int32_t bytes = 0;
    const void *row =
        vls::tree::text_row<false>(reinterpret_cast<const unsigned char *>(s), h->ctype.case_tree, 0, &bytes, h);
    if (!row) return -1;
    vl_wchar to = pick<Upper>(pair_of(h, row));
    int written = to ? vl_full_wctomb(h, t, to) : -1;
    if (written < 0) {  // no mapping (or none writable): the character stays
      memcpy(t, s, static_cast<size_t>(bytes));
      written = bytes;
    }
    t += written;
    s += bytes;
  }
  vl_mbsterm(h, t);
  return static_cast<int>(t - target);
}

template <bool Upper>
int towcscase(vl_locale_t *h, vl_wchar *target, const vl_wchar *source) {
  if (bridged(h))
    return _vlu_call(h, Upper ? fn_vlu_ucs32toupper : fn_vlu_ucs32tolower, _vlu_locale(h, VL_LC_CTYPE), target, source);
  if (const unsigned char *table = Upper ? h->upper_table : h->lower_table) {
    for (;; ++source, ++target) {
      vl_wchar v = *source;
      if (v == 0) break;
      if (v > 255) {
        vls::set_error(h, VL_EILSEQ);
        return -1;
      }
      *target = table[v];
    }
    *target = 0;
    return 0;
  }
  for (;; ++source, ++target) {
    vl_wchar v = *source;
    if (v == 0) break;
    const void *row = vls::tree::wide_row(h, v, h->ctype.case_tree);
    if (!row) return -1;
    vl_wchar to = pick<Upper>(pair_of(h, row));
    *target = to ? to : v;
  }
  *target = 0;
  return 0;
}

void free_class_names(ctype_category &c, int32_t made) {
  for (int32_t i = 0; i < made; ++i) {
    _vl_free_ptr(c.class_names[i].name);
    c.class_names[i].name = nullptr;
  }
}

__attribute__((noinline)) uint32_t iswctype_walk(vl_locale_t *h, vl_wchar value, uint32_t mask) {
  if (bridged(h)) return static_cast<uint32_t>(fn_vlu_isuc32type(value, mask));
  const void *row = vls::tree::wide_row_walk(h, value, h->ctype.ctype_tree);
  return row ? (row_u16(row) & mask) : 0;
}

}  // namespace

extern "C" {

VLS_API int ub2_reader(void *stream, void *target) {
  uint16_t v = static_cast<uint16_t>(_vl_get_hex(stream, 4));
  memcpy(target, &v, sizeof v);
  return 0;
}

VLS_API int _vl_read_vl_wchar(void *stream, void *target) {
  vl_wchar v = _vl_get_hex(stream, 8);
  memcpy(target, &v, sizeof v);
  return 0;
}

}  // extern "C"

namespace {

// One of the two trees, its values read as ub2_reader reads them; the
// tree's own error goes to the handle.
int read_tree(void *stream, vl_locale_t *h, multi_t *tree) {
  int r = vls::scan_multi(stream, tree, 4, nullptr, 4);
  if (r != 0) vls::set_error(h, static_cast<uint32_t>(_vl_multi_err(tree)));
  return r;
}

// The count of locale-defined classes and a line for each: bit number,
// an optional space, the name.
int read_classes(void *stream, vl_locale_t *h) {
  ctype_category &c = h->ctype;
  int32_t count = _vl_get_int(stream);
  if (!_vl_skip_nl(stream) || count > kMaxClasses) return vls::fail(h, VL_EBADFILE);
  if (count <= 0) return 0;
  c.class_names = vls::alloc_array<vl_class_name>(static_cast<size_t>(count));
  if (!c.class_names) return vls::fail(h, VL_ENOMEM);
  for (int32_t i = 0; i < count; ++i) c.class_names[i] = {0, nullptr};
  c.class_count = count;
  char name[kNameBuf];
  for (int32_t i = 0; i < count; ++i) {
    int32_t bit = _vl_get_int(stream);
    if (bit < 0 || bit > kMaxClassBit) return vls::fail(h, VL_EBADFILE);  // its mask would not fit the answer
    _vl_skip_space_if_needed(stream);
    if (_vl_get_str(name, kNameBuf, stream) != 0) return vls::fail(h, VL_ENOMEM);
    if (!_vl_skip_nl(stream)) return vls::fail(h, VL_EBADFILE);
    size_t n = strlen(name) + 1;
    char *copy = static_cast<char *>(_vl_alloc_ptr(n));
    if (!copy) {
      free_class_names(c, i);
      return vls::fail(h, VL_ENOMEM);
    }
    memcpy(copy, name, n);
    c.class_names[i] = {static_cast<uint32_t>(bit), copy};
  }
  return 0;
}

inline vl_wchar hex8(const unsigned char *p) {
  vl_wchar v = 0;
  for (int i = 0; i < 8; ++i) v = (v << 4) | static_cast<vl_wchar>(vls::hex_value(p[i]));
  return v;
}

// N and N pairs of upper and lower values, a line each; row 0 is never
// used, since case indexes start at 1.
int read_case_pairs(void *stream, vl_locale_t *h) {
  ctype_category &c = h->ctype;
  int32_t n = _vl_get_int(stream);
  if (n < 0 || n > kMaxPairs) return vls::fail(h, VL_EBADFILE);
  c.case_pairs = vls::alloc_array<vl_case_pair>(static_cast<size_t>(n) + 1);
  if (!c.case_pairs) return vls::fail(h, VL_ENOMEM);
  c.case_pairs[0] = {0, 0};
  vls::ByteReader in(stream);
  for (int32_t i = 1; i <= n; ++i) {
    // A line feed and two values of eight digits, in place when the
    // buffer holds them.
    if (const unsigned char *p = in.peek(17); p && p[0] == '\n') {
      c.case_pairs[i].upper = hex8(p + 1);
      c.case_pairs[i].lower = hex8(p + 9);
      in.skip(17);
      continue;
    }
    if (!_vl_skip_nl(stream)) {
      h->case_pair_count = i - 1;
      return vls::fail(h, VL_EBADFILE);
    }
    _vl_read_vl_wchar(stream, &c.case_pairs[i].upper);
    _vl_read_vl_wchar(stream, &c.case_pairs[i].lower);
  }
  h->case_pair_count = n;
  return 0;
}

// A case expansion far beyond what any codeset needs is damage.
constexpr double kMaxExpansion = 64.0;

// The whole factor vl_case_conv_outbuflen multiplies by: the expansion
// rounded up.
int32_t outbuf_factor(double e) {
  int32_t k = static_cast<int32_t>(e);
  if (e - k != 0) ++k;
  return k;
}

// Bytes of a wide value in the locale's codeset: the shortest length,
// raised as the value needs.
int32_t value_bytes(int32_t min_length, vl_wchar v) {
  if (v > 0xFFFFFF) return 4;
  if (v > 0xFFFF) return min_length < 3 ? 3 : min_length;
  if (v > 0xFF) return min_length < 2 ? 2 : min_length;
  return min_length;
}

// Factors of childless nodes already weighed, by their arrays and depth:
// a tree read from a file has many alike leaves. A full table just stops
// remembering.
struct LeafFactors {
  struct Entry {
    const unsigned char *flags, *data;
    int32_t depth, factor;
  };
  static constexpr uint32_t kSize = 1024;
  Entry *entries = nullptr;  // kSize of them, or null without memory
  uint32_t used = 0;
  Entry *find(const unc_multi_arr_t *n, int32_t depth) {
    if (!entries) return nullptr;
    uintptr_t k = reinterpret_cast<uintptr_t>(n->flags) * 31 + reinterpret_cast<uintptr_t>(n->data) * 7 + static_cast<uintptr_t>(depth);
    for (uint32_t i = static_cast<uint32_t>((k * 0x9E3779B97F4A7C15ull) >> 40) % kSize, tries = 0; tries < 16; i = (i + 1) % kSize, ++tries) {
      Entry &e = entries[i];
      if (!e.flags || (e.flags == n->flags && e.data == n->data && e.depth == depth)) return &e;
    }
    return nullptr;
  }
};

// The largest factor by which case changes the length of a character
// `depth` bytes long under `node` of the case tree (the pair of its row
// against the character's own length).
int32_t node_expansion(const vl_locale_t *h, const unc_multi_arr_t *node, int32_t depth, int32_t min, LeafFactors &memo) {
  int32_t most = 1;
  if (!node || !node->flags) return most;
  const multi_t *t = h->ctype.case_tree;
  // A tree read from a file holds next_count children, in at most 256
  // slots (a slot left empty by a damaged count is null).
  const int32_t children = node->next ? (node->next_count < 256 ? node->next_count : 256) : 0;
  LeafFactors::Entry *known = children == 0 && memo.used < LeafFactors::kSize / 2 ? memo.find(node, depth) : nullptr;
  if (known && known->flags) return known->factor;
  if (node->data) {
    for (unsigned b = 0; b < 256; ++b) {
      if (node->flags[b] != VL_MULTI_COMPLETE) continue;
      uint16_t row;
      memcpy(&row, node->data + (static_cast<size_t>(b) << t->data_shift), sizeof row);
      if (row == 0 || row > h->case_pair_count) continue;
      const vl_case_pair &p = h->ctype.case_pairs[row];
      for (vl_wchar v : {p.upper, p.lower}) {
        if (!v) continue;
        int32_t f = (value_bytes(min, v) + depth - 1) / depth;
        if (f > most) most = f;
      }
    }
  }
  if (known) {
    *known = {node->flags, node->data, depth, most};
    ++memo.used;
  }
  // A tree read from a file shares its alike leaves: each is weighed once
  // per parent.
  const unc_multi_arr_t *last = nullptr;
  for (int32_t i = 0; i < children; ++i) {
    if (node->next[i] == last && !last->next) continue;
    last = node->next[i];
    int32_t f = node_expansion(h, last, depth + 1, min, memo);
    if (f > most) most = f;
  }
  return most;
}

int32_t pair_expansion(const vl_locale_t *h) {
  if (h->case_pair_count <= 0) return 1;
  vls::HostPtr<LeafFactors::Entry> entries(vls::alloc_array<LeafFactors::Entry>(LeafFactors::kSize));
  if (entries) memset(entries.get(), 0, LeafFactors::kSize * sizeof(LeafFactors::Entry));
  LeafFactors memo{entries.get(), 0};
  return node_expansion(h, h->ctype.case_tree->root, 1, _vl_multi_min_length(h->ctype.ctype_tree), memo);
}

// The rest of the last line: empty for 4.0, else the case expansion.
int read_expansion(void *stream, vl_locale_t *h) {
  char line[kNameBuf];
  if (!_vl_ext_fgets(line, sizeof line, stream) || check_nl(line)) return vls::fail(h, VL_EBADFILE);
  if (line[0] == '\n') {
    h->case_expansion = 4.0;
    return 0;
  }
  double e;
  if (sscanf(line, "%lf", &e) != 1) return vls::fail(h, VL_EBADFILE);
  // Callers size case targets by it (vl_case_conv_outbuflen): it must cover
  // the widest change of length among the pairs, and stay a sane factor.
  if (!(e <= kMaxExpansion) || outbuf_factor(e) < pair_expansion(h)) return vls::fail(h, VL_EBADFILE);
  h->case_expansion = e;
  return 0;
}

// ---- building the derived table --------------------------------------------------------

using vls::ctype::kNoFlags;
using Node = vls::tree::Node;

// The rows and leaves as they are gathered from both trees (alike nodes
// share a leaf), and each tree's leads and limit.
struct FastBuilder {
  static constexpr int32_t kMaxRows = 128, kMaxLeaves = 4096, kSlots = 8192;
  static_assert(kMaxLeaves * sizeof(FastLeaf) / kLeafUnit <= 0xFFFF);
  uint16_t *rows;      // kMaxRows * 256
  FastLeaf *leaves;    // kMaxLeaves
  uint16_t *slots;     // kSlots: leaf numbers by hash, 0 empty
  int32_t row_count = 1, leaf_count = 1;

  // The offset unit of a node's leaf, 0 for none.
  uint16_t leaf(const Node *n) {
    if (!n || !n->flags || !n->data) return 0;  // no node, or rows by default: walk
    const uint64_t k = reinterpret_cast<uintptr_t>(n->flags) * 31 + reinterpret_cast<uintptr_t>(n->data);
    for (uint32_t i = static_cast<uint32_t>((k * 0x9E3779B97F4A7C15ull) >> 40) % kSlots;; i = (i + 1) % kSlots) {
      uint16_t &s = slots[i];
      if (s == 0) {
        if (!memchr(n->flags, VL_MULTI_COMPLETE, 256)) return 0;  // ends no value: the walk tells
        if (leaf_count == kMaxLeaves) return 0;  // beyond any shipped codeset: the walk tells
        leaves[leaf_count] = {n->flags, n->data};
        s = static_cast<uint16_t>(leaf_count++);
      } else if (leaves[s].flags != n->flags || leaves[s].data != n->data) {
        continue;
      }
      return static_cast<uint16_t>(s * (sizeof(FastLeaf) / kLeafUnit));
    }
  }

  // A row for the nodes under `n` by their byte (`n` itself at byte 0 of
  // the first row), as the first entry of the rows; 0 when it would hold
  // no leaf.
  uint32_t row(const Node *n, bool first) {
    if (row_count == kMaxRows) return 0;  // beyond any shipped codeset: the walk tells
    uint16_t *r = rows + size_t{256} * static_cast<uint32_t>(row_count);
    bool any = false;
    const Node *last = nullptr;
    for (unsigned b = 0; b < 256; ++b) {
      const Node *c = first && b == 0 ? n : n->flags[b] == VL_MULTI_LEADS ? vls::tree::child(n, b) : nullptr;
      r[b] = c && c == last ? r[b - 1] : leaf(c);  // alike leaves are often one node
      last = c;
      any |= r[b] != 0;
    }
    if (!any) return 0;
    for (int32_t i = 1; i < row_count; ++i)  // a row alike to an earlier one is that one
      if (memcmp(rows + size_t{256} * static_cast<uint32_t>(i), r, 256 * sizeof *r) == 0) return 256 * static_cast<uint32_t>(i);
    return 256 * static_cast<uint32_t>(row_count++);
  }

  // The leads of one tree; its limit.
  uint32_t gather(const multi_t *t, uint32_t *lead) {
    const Node *root = t->root;
    lead[0] = row(root, true);
    for (unsigned b = 1; b < 256; ++b) {
      const Node *c = root->flags[b] == VL_MULTI_LEADS ? vls::tree::child(root, b) : nullptr;
      const bool deeper = c && c->flags && memchr(c->flags, VL_MULTI_LEADS, 256);  // values of three bytes
      lead[b] = (deeper ? row(c, false) : 0) - 256 * b;
    }
    return vls::tree::all_complete(root->flags, 0, 256) ? 0x100 : vls::tree::all_complete(root->flags, 0, 0x80) ? 0x80 : 0;
  }
};

// Trees the table serves: one-byte characters and 16-bit rows.
bool fast_tree(const multi_t *t) { return t && t->root && t->root->flags && t->min_length == 1 && t->data_shift == 1; }

// Moves the case pairs into a block that carries the derived table behind
// them. Without memory, or for trees it does not serve, the category stays
// as it is (every value then walks).
void build_fast(vl_locale_t *h) {
  ctype_category &c = h->ctype;
  if (!c.case_pairs || !fast_tree(c.ctype_tree) || !fast_tree(c.case_tree)) return;
  vls::HostPtr<uint16_t> rows(vls::alloc_array<uint16_t>(size_t{FastBuilder::kMaxRows} * 256));
  vls::HostPtr<FastLeaf> leaves(vls::alloc_array<FastLeaf>(FastBuilder::kMaxLeaves));
  vls::HostPtr<uint16_t> slots(vls::alloc_array<uint16_t>(FastBuilder::kSlots));
  if (!rows || !leaves || !slots) return;
  memset(rows.get(), 0, 256 * sizeof(uint16_t));
  memset(slots.get(), 0, FastBuilder::kSlots * sizeof(uint16_t));
  leaves[0] = {kNoFlags, nullptr};
  FastBuilder b{rows.get(), leaves.get(), slots.get()};
  uint32_t lead[2][256];
  const uint32_t cls_limit = b.gather(c.ctype_tree, lead[0]), cas_limit = b.gather(c.case_tree, lead[1]);
  const size_t pair_bytes = (static_cast<size_t>(h->case_pair_count) + 1) * sizeof(vl_case_pair);
  const size_t leaf_bytes = static_cast<size_t>(b.leaf_count) * sizeof(FastLeaf);
  const size_t table_bytes = offsetof(FastCtype, leaves) + leaf_bytes;
  const size_t row_bytes = size_t{256} * static_cast<uint32_t>(b.row_count) * sizeof(uint16_t);
  auto *block = static_cast<unsigned char *>(_vl_alloc_ptr(pair_bytes + table_bytes + row_bytes));
  if (!block) return;
  static_assert(sizeof(vl_case_pair) % alignof(FastCtype) == 0);  // the table lies aligned behind the pairs
  memcpy(block, &kFastMark, sizeof kFastMark);
  memcpy(block + sizeof(vl_case_pair), c.case_pairs + 1, pair_bytes - sizeof(vl_case_pair));
  auto *f = reinterpret_cast<FastCtype *>(block + pair_bytes);
  auto *f_rows = reinterpret_cast<uint16_t *>(block + pair_bytes + table_bytes);
  memcpy(f_rows, rows.get(), row_bytes);
  memcpy(block + pair_bytes + offsetof(FastCtype, leaves), leaves.get(), leaf_bytes);
  f->rows = f_rows;
  f->cls_limit = cls_limit;
  f->cas_limit = cas_limit;
  f->ctype_tree = c.ctype_tree;
  f->lead2 = 0;
  for (unsigned lb = 0xC0; lb < 0xE0; ++lb)
    if (vls::tree::lead_takes_trails(c.ctype_tree, lb)) f->lead2 |= 1u << (lb - 0xC0);
  memcpy(f->cls_lead, lead[0], sizeof f->cls_lead);
  memcpy(f->cas_lead, lead[1], sizeof f->cas_lead);
  // The direct answers, as the walk gives them.
  for (vl_wchar v = 0; v < 256; ++v) {
    f->masks[v] = v < cls_limit ? vls::tree::u16(vls::tree::row(c.ctype_tree, c.ctype_tree->root, v)) : 0;
    const vl_case_pair *p = v < cas_limit ? pair_of(h, vls::tree::row(c.case_tree, c.case_tree->root, v)) : nullptr;
    const vl_wchar up = pick<true>(p), lo = pick<false>(p);
    f->upper[v] = up ? up : v;
    f->lower[v] = lo ? lo : v;
  }
  _vl_free_ptr(c.case_pairs);
  c.case_pairs = reinterpret_cast<vl_case_pair *>(block);
}

}  // namespace

extern "C" {

VLS_API int read_ctype(void *stream, vl_locale_t *h) {
  ctype_category &c = h->ctype;
  if (!c.ctype_tree || !c.case_tree) {
    vls::set_error(h, VL_ENOMEM);
    return -1;
  }
  if (int r = read_tree(stream, h, c.ctype_tree); r != 0) return r;
  if (read_classes(stream, h) != 0) return -1;
  if (int r = read_tree(stream, h, c.case_tree); r != 0) return r;
  if (read_case_pairs(stream, h) != 0) return -1;
  if (read_expansion(stream, h) != 0) return -1;
  build_fast(h);
  return 0;
}

VLS_API uint32_t vl_ctype(vl_locale_t *h, const char *name) {
  if (!name) return 0;
  std::string_view n(name);
  if (name[0] != 'f')
    for (const auto &b : kBuiltins)
      if (b.name == n) return b.mask;
  const ctype_category &c = h->ctype;
  if (c.class_names)
    for (int32_t i = 0; i < c.class_count; ++i)
      if (c.class_names[i].name && n == c.class_names[i].name) return VL_CT_LOCAL << c.class_names[i].bit;
  return 0;
}

VLS_API uint32_t _vl_im_iswctype(vl_locale_t *h, vl_wchar value, uint32_t mask) {
  // A loaded category answers from its derived table; the bridge, values
  // the table leaves out and categories without one walk.
  if (__builtin_expect(!bridged(h), 1))
    if (const FastCtype *f = fast_of(h)) {
      if (value < f->cls_limit) return f->masks[value] & mask;
      const size_t b = value & 0xFFu;
      if (__builtin_expect(value <= 0xFFFFFFu, 1))
        if (const FastLeaf &l = leaf_of(f, f->cls_lead, value); __builtin_expect(l.flags[b] == VL_MULTI_COMPLETE, 1))
          return row_u16(l.data + 2 * b) & mask;
    }
  return iswctype_walk(h, value, mask);
}

VLS_API uint32_t im_iswctype(vl_locale_t *h, vl_wchar value, uint32_t mask) { return _vl_im_iswctype(h, value, mask); }

VLS_API uint32_t _vl_im_ismctype(vl_locale_t *h, const char *s, uint32_t mask) {
  if (!s) {
    vls::set_error(h, VL_EBADPTR);
    return 0;
  }
  if (bridged(h)) return static_cast<uint32_t>(_vlu_call(h, fn_vlu_ismctype, _vlu_locale(h, VL_LC_CTYPE), s, 4, mask));
  const void *row =
      vls::tree::text_row<false>(reinterpret_cast<const unsigned char *>(s), h->ctype.ctype_tree, 0, nullptr, h);
  return row ? (row_u16(row) & mask) : 0;
}

VLS_API uint32_t im_ismctype(vl_locale_t *h, const char *s, uint32_t mask) { return _vl_im_ismctype(h, s, mask); }

VLS_API uint32_t _kvx_vl_im_ismctype(vl_locale_t *h, const char *s, int32_t limit, uint32_t mask) {
  if (!s) {
    vls::set_error(h, VL_EBADPTR);
    return 0;
  }
  if (bridged(h))
    return static_cast<uint32_t>(_vlu_call(h, fn_vlu_ismctype, _vlu_locale(h, VL_LC_CTYPE), s, limit, mask));
  const void *row =
      vls::tree::text_row<true>(reinterpret_cast<const unsigned char *>(s), h->ctype.ctype_tree, limit, nullptr, h);
  return row ? (row_u16(row) & mask) : 0;
}

VLS_API vl_wchar _vl_im_towupper(vl_locale_t *h, vl_wchar v) { return im_towcase<true>(h, v); }
VLS_API vl_wchar _vl_im_towlower(vl_locale_t *h, vl_wchar v) { return im_towcase<false>(h, v); }
VLS_API vl_wchar im_towlower(vl_locale_t *h, vl_wchar v) { return _vl_im_towlower(h, v); }

VLS_API uint16_t _vl_im_tomupper(vl_locale_t *h, char *t, const char *s) { return im_tomcase<true>(h, t, s); }
VLS_API uint16_t _vl_im_tomlower(vl_locale_t *h, char *t, const char *s) { return im_tomcase<false>(h, t, s); }
VLS_API uint16_t im_tomlower(vl_locale_t *h, char *t, const char *s) { return _vl_im_tomlower(h, t, s); }
VLS_API uint16_t _kvx_vl_im_tomupper(vl_locale_t *h, char *t, const char *s, int32_t limit) {
  return kvx_im_tomcase<true>(h, t, s, limit);
}
VLS_API uint16_t _kvx_vl_im_tomlower(vl_locale_t *h, char *t, const char *s, int32_t limit) {
  return kvx_im_tomcase<false>(h, t, s, limit);
}

VLS_API int vl_tombsupper(vl_locale_t *h, char *t, const char *s) { return tombscase<true>(h, t, s); }
VLS_API int vl_tombslower(vl_locale_t *h, char *t, const char *s) { return tombscase<false>(h, t, s); }
VLS_API int vl_towcsupper(vl_locale_t *h, vl_wchar *t, const vl_wchar *s) { return towcscase<true>(h, t, s); }
VLS_API int vl_towcslower(vl_locale_t *h, vl_wchar *t, const vl_wchar *s) { return towcscase<false>(h, t, s); }

VLS_API int32_t vl_case_conv_outbuflen(vl_locale_t *h, int32_t length) {
  if (bridged(h)) return fn_vlu_case_conv_outbuflen(_vlu_locale(h, VL_LC_CTYPE), length);
  double e = h->case_expansion;
  int32_t k = static_cast<int32_t>(e);
  if (e - k != 0) ++k;
  return k * length;
}

}  // extern "C"
