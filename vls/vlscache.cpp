// String cache trees: wide strings mapped to the index stored with each,
// searched by the date parser for names, eras and alternative digits.
//
// A cache is a ternary search tree over wide values. Each node splits on one
// value: smaller values go left, larger right, and an equal value moves on to
// the next position of the key through the middle link. A node carries the
// index of the key that ends there, or -1. The nodes come from a chain of
// pools that grow as the tree grows, so that building costs one allocation
// per pool rather than one per node, and the whole tree goes with its pools.
#include <vls/vlstime.h>

#include "vlsint.h"

namespace {

struct Node {
  vl_wchar value;
  int32_t index;  // key ending at this node, -1 for none
  Node *lo;
  Node *eq;
  Node *hi;
};

struct Pool {
  Pool *next;
  uint32_t used;
  uint32_t capacity;
  // `capacity` nodes follow the header.
  Node *nodes() { return reinterpret_cast<Node *>(this + 1); }
};

static_assert(sizeof(Pool) % alignof(Node) == 0, "nodes follow the pool header aligned");

constexpr uint32_t kFirstPool = 32;
constexpr uint32_t kLargestPool = 4096;

int32_t key_length(const vl_wchar *wide, int32_t length) {
  if (length >= 0) return length;
  int32_t n = 0;
  while (wide[n]) ++n;
  return n;
}

}  // namespace

struct vl_wc_cache {
  Node *root;
  Pool *pools;        // newest first
  int32_t empty_index;  // index of the empty string, -1 for none
  int32_t count;
};

namespace {

Node *new_node(vl_wc_cache *c, vl_wchar value) {
  Pool *p = c->pools;
  if (!p || p->used == p->capacity) {
    uint32_t capacity = p ? p->capacity * 2 : kFirstPool;
    if (capacity > kLargestPool) capacity = kLargestPool;
    Pool *fresh = static_cast<Pool *>(_vl_alloc_ptr(sizeof(Pool) + capacity * sizeof(Node)));
    if (!fresh) return nullptr;
    fresh->next = p;
    fresh->used = 0;
    fresh->capacity = capacity;
    c->pools = p = fresh;
  }
  Node *n = p->nodes() + p->used++;
  n->value = value;
  n->index = -1;
  n->lo = n->eq = n->hi = nullptr;
  return n;
}

}  // namespace

extern "C" {

VLS_API vl_wc_cache *_vl_create_wc_cache(void) {
  vl_wc_cache *c = static_cast<vl_wc_cache *>(_vl_alloc_ptr(sizeof(vl_wc_cache)));
  if (!c) return nullptr;
  c->root = nullptr;
  c->pools = nullptr;
  c->empty_index = -1;
  c->count = 0;
  return c;
}

VLS_API int _vl_cache_wc_string(vl_wc_cache *c, const vl_wchar *wide, int32_t index) {
  if (!c || !wide || index < 0) return -1;
  if (!wide[0]) {
    if (c->empty_index < 0) {
      c->empty_index = index;
      ++c->count;
    }
    return 0;
  }
  Node **link = &c->root;
  const vl_wchar *k = wide;
  for (;;) {
    Node *n = *link;
    if (!n) {
      // Nodes linked so far stay in the tree without an index: harmless.
      if (!(n = new_node(c, *k))) return -1;
      *link = n;
    }
    if (*k < n->value) {
      link = &n->lo;
    } else if (*k > n->value) {
      link = &n->hi;
    } else if (!k[1]) {
      if (n->index < 0) {
        n->index = index;
        ++c->count;
      }
      return 0;
    } else {
      ++k;
      link = &n->eq;
    }
  }
}

VLS_API int32_t _vl_lookup_wc_string(const vl_wc_cache *c, const vl_wchar *wide, int32_t length) {
  if (!c || (!wide && length != 0)) return -1;
  const int32_t len = wide ? key_length(wide, length) : 0;
  if (len == 0) return c->empty_index;
  const Node *n = c->root;
  int32_t i = 0;
  while (n) {
    const vl_wchar v = wide[i];
    if (v < n->value) {
      n = n->lo;
    } else if (v > n->value) {
      n = n->hi;
    } else {
      if (++i == len) return n->index;
      n = n->eq;
    }
  }
  return -1;
}

VLS_API int32_t _vl_lookup_wc_prefix(const vl_wc_cache *c, const vl_wchar *wide, int32_t length,
                                     int32_t *matched) {
  if (matched) *matched = 0;
  if (!c || (!wide && length != 0)) return -1;
  const int32_t len = wide ? key_length(wide, length) : 0;
  int32_t best = c->empty_index, best_len = 0;
  const Node *n = c->root;
  int32_t i = 0;
  while (n && i < len) {
    const vl_wchar v = wide[i];
    if (v < n->value) {
      n = n->lo;
    } else if (v > n->value) {
      n = n->hi;
    } else {
      ++i;
      if (n->index >= 0) {
        best = n->index;
        best_len = i;
      }
      n = n->eq;
    }
  }
  if (matched && best >= 0) *matched = best_len;
  return best;
}

VLS_API int32_t _vl_wc_cache_count(const vl_wc_cache *c) { return c ? c->count : 0; }

VLS_API void _vl_free_wc_cache(vl_wc_cache *c) {
  if (!c) return;
  for (Pool *p = c->pools; p;) {
    Pool *next = p->next;
    _vl_free_ptr(p);
    p = next;
  }
  _vl_free_ptr(c);
}

}  // extern "C"
