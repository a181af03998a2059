// Multi-level byte tree: one level per byte of a character, each node a
// 256-entry flag array with offsets to the children and a row of data per
// byte. Built by insertion, shared by compression, stored as text.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <vls/vlscv.h>

#include "vlsint.h"
#include "vlsscan.h"
#include "vlstreepool.h"
#include "vlswalk.h"

namespace {

using Node = unc_multi_arr_t;
constexpr int kTableSize = 256;
constexpr int kMaxKey = 4;

inline size_t row_bytes(const multi_t *t) { return size_t{1} << t->data_shift; }
inline size_t data_bytes(const multi_t *t) { return row_bytes(t) * kTableSize; }

// An empty node in fresh memory (null stays null).
Node *blank_node(void *p) {
  Node *n = static_cast<Node *>(p);
  if (n) {
    n->next_count = 0;
    n->flag_index = -1;
    n->data_index = -1;
    n->flags = n->offsets = n->data = nullptr;
    n->next = nullptr;
  }
  return n;
}

Node *new_node() { return blank_node(_vl_alloc_ptr(sizeof(Node))); }

unsigned char *new_flags(multi_t *t) {
  auto *f = static_cast<unsigned char *>(_vl_alloc_ptr(kTableSize));
  if (f) {
    memset(f, 0, kTableSize);
    ++t->flag_arr_count;
  }
  return f;
}

// Every row of a fresh data array a copy of default_data, the slack of
// each row zero: the first row is made, then copied in doubling spans.
void fill_default_rows(const multi_t *t, unsigned char *d, size_t total) {
  const size_t rb = row_bytes(t);
  memset(d, 0, rb);
  memcpy(d, t->default_data, t->data_size);
  for (size_t filled = rb; filled < total; filled *= 2) memcpy(d + filled, d, filled < total - filled ? filled : total - filled);
}

unsigned char *new_data(multi_t *t) {
  auto *d = static_cast<unsigned char *>(_vl_alloc_ptr(data_bytes(t)));
  if (d) {
    fill_default_rows(t, d, data_bytes(t));
    ++t->data_arr_count;
  }
  return d;
}

void free_node(Node *n, bool sharing) {
  if (!n) return;
  if (n->next) {
    int count = n->next_count < kTableSize ? n->next_count : kTableSize;
    for (int i = 0; i < count; ++i) free_node(n->next[i], sharing);
  }
  _vl_free_ptr(n->offsets);
  _vl_free_ptr(n->next);
  if (!sharing) {
    _vl_free_ptr(n->flags);
    _vl_free_ptr(n->data);
  }
  _vl_free_ptr(n);
}

// ---- the arena of a tree read in compressed form ----------------------------------
//
// A compressed tree read from a file is only read from then on, and goes as
// a whole. Its nodes (but the root, which _vl_create_multi made) and their
// child arrays are carved from a chain of blocks, and leaves that are alike
// (the same shared flag and data arrays, no children) are one node. Its
// flag arrays, and the offsets that follow from them, lie in a pool that
// the trees read in one load share (FlagPool); its data arrays in one block
// of their own (see pack_rows). The chain hangs in front of
// flag_next_counts, which only such a tree has: the block that holds the
// counts begins with the chain's head.

struct alignas(8) ArenaBlock {
  ArenaBlock *next;
  size_t used;
  size_t capacity;
  unsigned char *bytes() { return reinterpret_cast<unsigned char *>(this + 1); }
};
static_assert(sizeof(ArenaBlock) % 8 == 0);

// Flag arrays by content, with the offsets each implies, shared by every
// tree that holds a reference; the last one to go frees it. Arrays are only
// added while a load runs (the table lives as long as that); from then on
// the pool is only read.
struct FlagPool {
  int32_t refs;
  ArenaBlock *blocks;  // each holds whole arrays, newest first
  struct Entry {
    uint64_t hash;
    unsigned char *flags;    // null for an empty slot
    unsigned char *offsets;  // null when no entry leads on
  };
  Entry *table;
  uint32_t capacity, count;
};

// The texts that gave arrays of the pool of the load in progress on this
// thread: a text met again gives the same array, its leads and offsets,
// unread. They go when the load ends.
struct LoadTexts {
  struct Text {
    uint64_t hash;
    const unsigned char *text;  // a copy, in blocks; null for an empty slot
    size_t length;
    int32_t leads;
    unsigned char *flags, *offsets;
  };
  Text *texts;
  uint32_t text_capacity, text_count;
  ArenaBlock *text_blocks;
};
thread_local LoadTexts t_load_texts = {};

struct ArenaHead {
  ArenaBlock *blocks;  // newest first
  size_t next_size;
  FlagPool *pool;        // the flag arrays' pool, one reference
  unsigned char *rows;   // the block of the data arrays
  size_t rows_bytes;     // its size
  unsigned char *ranges; // per data array its first and last row held, or null
};
constexpr size_t kArenaHeadBytes = (sizeof(ArenaHead) + 15) / 16 * 16;
// The first block is sized from the counts of a tree's arrays; later ones
// double up to kLargestBlock, kept small since the last is seldom full.
constexpr size_t kFirstBlock = 512, kLargestBlock = 4 * 1024, kLargestFirstBlock = 64 * 1024;

ArenaHead *arena_of(const multi_t *t) {
  return t->flag_next_counts
             ? reinterpret_cast<ArenaHead *>(reinterpret_cast<unsigned char *>(t->flag_next_counts) - kArenaHeadBytes)
             : nullptr;
}

void *arena_alloc(ArenaHead *a, size_t n) {
  n = (n + 7) & ~size_t{7};
  ArenaBlock *b = a->blocks;
  if (!b || b->capacity - b->used < n) {
    if (b && n > a->next_size / 4) {
      // A large request gets a block of its own, behind the one in use.
      auto *own = static_cast<ArenaBlock *>(_vl_alloc_ptr(sizeof(ArenaBlock) + n));
      if (!own) return nullptr;
      own->next = b->next;
      own->used = own->capacity = n;
      b->next = own;
      return own->bytes();
    }
    size_t size = a->next_size;
    while (size < n) size *= 2;
    b = static_cast<ArenaBlock *>(_vl_alloc_ptr(sizeof(ArenaBlock) + size));
    if (!b) return nullptr;
    b->next = a->blocks;
    b->used = 0;
    b->capacity = size;
    a->blocks = b;
    a->next_size = a->next_size < kLargestBlock ? a->next_size * 2 : kLargestBlock;
  }
  void *p = b->bytes() + b->used;
  b->used += n;
  return p;
}

void free_blocks(ArenaBlock *b) {
  while (b) {
    ArenaBlock *next = b->next;
    _vl_free_ptr(b);
    b = next;
  }
}

FlagPool *new_pool() {
  auto *p = static_cast<FlagPool *>(_vl_alloc_ptr(sizeof(FlagPool)));
  if (p) *p = FlagPool{1, nullptr, nullptr, 0, 0};
  return p;
}
FlagPool *hold_pool(FlagPool *p) {
  if (p) __atomic_add_fetch(&p->refs, 1, __ATOMIC_RELAXED);
  return p;
}
void drop_texts(LoadTexts *p) {
  _vl_free_ptr(p->texts);
  free_blocks(p->text_blocks);
  *p = LoadTexts{};
}
void release_pool(FlagPool *p) {
  if (!p || __atomic_sub_fetch(&p->refs, 1, __ATOMIC_ACQ_REL) != 0) return;
  free_blocks(p->blocks);
  _vl_free_ptr(p->table);
  _vl_free_ptr(p);
}
// The load that adds arrays is over: the table goes, the pool stays with
// the trees that use it.
void end_pool_load(FlagPool *p) {
  if (!p) return;
  _vl_free_ptr(p->table);
  p->table = nullptr;
  p->capacity = p->count = 0;
  release_pool(p);
}

// Four independent lanes over the words of a flag array, then mixed.
uint64_t flags_key(const unsigned char *f) {
  constexpr uint64_t k = 0xFF51AFD7ED558CCDull;
  uint64_t lane[4] = {0x9E3779B97F4A7C15ull, 1, 2, 3};
  for (int i = 0; i < kTableSize; i += 32)
    for (int j = 0; j < 4; ++j) {
      uint64_t w;
      memcpy(&w, f + i + 8 * j, sizeof w);
      lane[j] = (lane[j] ^ w) * k;
      lane[j] ^= lane[j] >> 29;
    }
  uint64_t h = lane[0] ^ (lane[1] << 16 | lane[1] >> 48) ^ (lane[2] << 32 | lane[2] >> 32) ^ (lane[3] << 48 | lane[3] >> 16);
  h = (h ^ (h >> 33)) * k;
  return h ^ (h >> 33);
}

FlagPool::Entry *pool_slot(FlagPool *p, uint64_t h, const unsigned char *f) {
  const uint32_t mask = p->capacity - 1;
  for (uint32_t i = static_cast<uint32_t>(h) & mask;; i = (i + 1) & mask) {
    FlagPool::Entry &e = p->table[i];
    if (!e.flags || (e.hash == h && memcmp(e.flags, f, kTableSize) == 0)) return &e;
  }
}

// Room in the table for `more` arrays; false without memory (the arrays
// are then not shared, which costs only memory).
bool pool_room(FlagPool *p, uint32_t more) {
  if (p->table && (p->count + more) * 2 <= p->capacity) return true;
  uint32_t capacity = p->capacity ? p->capacity : 256;
  while ((p->count + more) * 2 > capacity) capacity *= 2;
  FlagPool::Entry *old = p->table;
  const uint32_t old_capacity = p->capacity;
  p->table = vls::alloc_array<FlagPool::Entry>(capacity);
  if (!p->table) {
    p->table = old;
    return false;
  }
  memset(p->table, 0, capacity * sizeof(FlagPool::Entry));
  p->capacity = capacity;
  for (uint32_t i = 0; i < old_capacity; ++i)
    if (old[i].flags) *pool_slot(p, old[i].hash, old[i].flags) = old[i];
  _vl_free_ptr(old);
  return true;
}

// A hash of the text of a flag array, eight bytes at a time.
uint64_t text_key(const unsigned char *text, size_t length) {
  constexpr uint64_t k = 0xFF51AFD7ED558CCDull;
  uint64_t h = 0x9E3779B97F4A7C15ull ^ length;
  size_t i = 0;
  for (; i + 8 <= length; i += 8) {
    uint64_t w;
    memcpy(&w, text + i, sizeof w);
    h = (h ^ w) * k;
    h ^= h >> 29;
  }
  uint64_t w = 0;
  memcpy(&w, text + i, length - i);
  h = (h ^ w) * k;
  return h ^ (h >> 33);
}

// The slot of a text: its entry, or the empty slot where it goes.
LoadTexts::Text *text_slot(LoadTexts *p, uint64_t h, const unsigned char *text, size_t length) {
  const uint32_t mask = p->text_capacity - 1;
  for (uint32_t i = static_cast<uint32_t>(h) & mask;; i = (i + 1) & mask) {
    LoadTexts::Text &e = p->texts[i];
    if (!e.text || (e.hash == h && e.length == length && memcmp(e.text, text, length) == 0)) return &e;
  }
}

// The array that a text gave before in this load, or null.
const LoadTexts::Text *text_seen(LoadTexts *p, uint64_t h, const unsigned char *text, size_t length) {
  if (!p->texts) return nullptr;
  const LoadTexts::Text *e = text_slot(p, h, text, length);
  return e->text ? e : nullptr;
}

// Remembers that a text gave an array of the pool; without memory it is
// only not remembered.
void text_keep(LoadTexts *p, uint64_t h, const unsigned char *text, size_t length, int32_t leads,
               unsigned char *flags, unsigned char *offsets) {
  if ((p->text_count + 1) * 2 > p->text_capacity) {
    const uint32_t capacity = p->text_capacity ? p->text_capacity * 2 : 1024;
    LoadTexts::Text *old = p->texts;
    const uint32_t old_capacity = p->text_capacity;
    p->texts = vls::alloc_array<LoadTexts::Text>(capacity);
    if (!p->texts) {
      p->texts = old;
      return;
    }
    memset(p->texts, 0, capacity * sizeof(LoadTexts::Text));
    p->text_capacity = capacity;
    for (uint32_t i = 0; i < old_capacity; ++i)
      if (old[i].text) *text_slot(p, old[i].hash, old[i].text, old[i].length) = old[i];
    _vl_free_ptr(old);
  }
  LoadTexts::Text *e = text_slot(p, h, text, length);
  if (e->text) return;
  ArenaBlock *b = p->text_blocks;
  if (!b || b->capacity - b->used < length) {
    const size_t size = length > 16 * 1024 ? length : 16 * 1024;
    b = static_cast<ArenaBlock *>(_vl_alloc_ptr(sizeof(ArenaBlock) + size));
    if (!b) return;
    b->next = p->text_blocks;
    b->used = 0;
    b->capacity = size;
    p->text_blocks = b;
  }
  unsigned char *copy = b->bytes() + b->used;
  memcpy(copy, text, length);
  b->used += length;
  *e = LoadTexts::Text{h, copy, length, leads, flags, offsets};
  ++p->text_count;
}

// The offsets a flag array implies: each byte that leads on numbered in
// byte order, every other 0.
void offsets_of(const unsigned char *flags, unsigned char *offsets) {
  int pos = 0;
  for (int b = 0; b < kTableSize; ++b) offsets[b] = flags[b] == VL_MULTI_LEADS ? static_cast<unsigned char>(pos++) : 0;
}

// Replaces each of the `n` flag arrays by the pool's copy of its contents,
// added when new, and gives the copy's offsets (null when nothing leads on;
// `offsets` may be null); `leads` counts what leads on in each. The arrays
// new to the pool go into one block. False without memory for it.
bool intern_flags(FlagPool *p, unsigned char **arrs, const int32_t *leads, int32_t n, unsigned char **offsets,
                  const unsigned char *taken = nullptr) {
  if (n <= 0) return true;
  const bool table = pool_room(p, static_cast<uint32_t>(n));
  vls::HostPtr<uint64_t> keys(table ? vls::alloc_array<uint64_t>(static_cast<size_t>(n)) : nullptr);
  size_t bytes = 0;
  for (int32_t i = 0; i < n; ++i) {
    if (taken && taken[i]) continue;
    if (table) {
      const uint64_t h = flags_key(arrs[i]);
      if (keys) keys[i] = h;
      const FlagPool::Entry *e = pool_slot(p, h, arrs[i]);
      if (e->flags) continue;
    }
    bytes += kTableSize * (leads[i] > 0 ? 2 : 1);
  }
  unsigned char *at = nullptr;
  if (bytes) {
    auto *b = static_cast<ArenaBlock *>(_vl_alloc_ptr(sizeof(ArenaBlock) + bytes));
    if (!b) return false;
    b->next = p->blocks;
    b->used = b->capacity = bytes;
    p->blocks = b;
    at = b->bytes();
  }
  for (int32_t i = 0; i < n; ++i) {
    if (taken && taken[i]) continue;
    const uint64_t h = keys ? keys[i] : flags_key(arrs[i]);
    FlagPool::Entry *e = table ? pool_slot(p, h, arrs[i]) : nullptr;
    if (!e || !e->flags) {
      FlagPool::Entry fresh{h, at, nullptr};
      memcpy(at, arrs[i], kTableSize);
      at += kTableSize;
      if (leads[i] > 0) {
        offsets_of(fresh.flags, fresh.offsets = at);
        at += kTableSize;
      }
      if (e) {
        *e = fresh;
        ++p->count;
      } else {
        arrs[i] = fresh.flags;
        if (offsets) offsets[i] = fresh.offsets;
        continue;
      }
    }
    arrs[i] = e->flags;
    if (offsets) offsets[i] = e->offsets;
  }
  return true;
}

// The pool of the load in progress on this thread, if any.
thread_local FlagPool *t_load_pool = nullptr;

// The row of byte `b` in node `n` as the text gave it: a row that a
// packed data array does not hold is the default row.
const unsigned char *held_row(const multi_t *t, const Node *n, unsigned b) {
  const ArenaHead *a = arena_of(t);
  if (a && a->ranges && n->data && n != t->root && n->data_index >= 0 && n->data_index < t->data_arr_count) {
    const unsigned char *held = a->ranges + 2 * n->data_index;
    if (b < held[0] || b > held[1]) return t->default_data;
  }
  return vls::tree::row(t, n, b);
}

// The counts of a tree read in compressed form, behind the arena's head.
int32_t *new_counts(int32_t n) {
  auto *block = static_cast<unsigned char *>(_vl_alloc_ptr(kArenaHeadBytes + static_cast<size_t>(n) * sizeof(int32_t)));
  if (!block) return nullptr;
  auto *head = reinterpret_cast<ArenaHead *>(block);
  *head = ArenaHead{nullptr, kFirstBlock, nullptr, nullptr, 0, nullptr};
  return reinterpret_cast<int32_t *>(block + kArenaHeadBytes);
}

void free_counts(int32_t *counts) {
  if (!counts) return;
  unsigned char *block = reinterpret_cast<unsigned char *>(counts) - kArenaHeadBytes;
  auto *head = reinterpret_cast<ArenaHead *>(block);
  free_blocks(head->blocks);
  _vl_free_ptr(head->rows);
  release_pool(head->pool);
  _vl_free_ptr(block);
}

// ---- insertion -------------------------------------------------------------------

int recursive_insert(multi_t *t, Node *node, const vl_desc_t *key, const void *value, uint32_t depth) {
  unsigned b = key->bytes[depth];
  if (depth + 1 != key->length) {
    if (node->flags && node->flags[b] == VL_MULTI_COMPLETE) return -1;  // a character cannot lead on
    if (!node->flags && !(node->flags = new_flags(t))) return -1;
    if (!node->offsets) {
      node->offsets = static_cast<unsigned char *>(_vl_alloc_ptr(kTableSize));
      if (!node->offsets) return -1;
      memset(node->offsets, 0, kTableSize);
      ++t->offset_arr_count;
    }
    if (!node->next) {
      node->next = static_cast<Node **>(_vl_alloc_ptr(kTableSize * sizeof(Node *)));
      if (!node->next) return -1;
      for (int i = 0; i < kTableSize; ++i) node->next[i] = nullptr;
    }
    if (node->flags[b] == VL_MULTI_LEADS) return recursive_insert(t, node->next[node->offsets[b]], key, value, depth + 1);
    if (node->next_count >= kTableSize) return -1;
    int pos = node->next_count++;  // stays raised even if the child fails
    Node *child = new_node();
    if (!child) return -1;
    if (recursive_insert(t, child, key, value, depth + 1) != 0) {
      free_node(child, false);
      return -1;
    }
    node->flags[b] = VL_MULTI_LEADS;
    node->offsets[b] = static_cast<unsigned char>(pos);
    node->next[pos] = child;
    return 0;
  }
  if (t->tree_flags & VL_MULTI_ENDS_IN_4) {
    if (node->flags && node->flags[b] == VL_MULTI_LEADS) return -1;  // a prefix cannot be a character
    if (!node->flags && !(node->flags = new_flags(t))) return -1;
    node->flags[b] = VL_MULTI_COMPLETE;
  }
  if (value) {
    if (!node->data && !(node->data = new_data(t))) return -1;
    memcpy(node->data + (size_t{b} << t->data_shift), value, t->data_size);
  }
  return 0;
}

// A tree of one-byte keys only treats every byte as a character.
void single_byte_exists(multi_t *t) {
  if (t->max_length <= 1 && t->min_length == 1 && t->root->flags)
    memset(t->root->flags, VL_MULTI_COMPLETE, kTableSize);
}

// ---- compression ------------------------------------------------------------------

bool data_arrs_match(const multi_t *t, const unsigned char *a, const unsigned char *b) {
  size_t rb = row_bytes(t);
  for (int i = 0; i < kTableSize; ++i)
    if (memcmp(a + i * rb, b + i * rb, t->data_size) != 0) return false;
  return true;
}

// FNV-1a over the flags, or over the meaningful bytes of every row.
uint64_t mix(uint64_t h, const unsigned char *p, size_t n) {
  for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 0x100000001b3ull;
  return h;
}
constexpr uint64_t kHashSeed = 0xcbf29ce484222325ull;
uint64_t flags_hash(const unsigned char *f) { return mix(kHashSeed, f, kTableSize); }
uint64_t data_hash(const multi_t *t, const unsigned char *d) {
  uint64_t h = kHashSeed;
  for (int i = 0; i < kTableSize; ++i) h = mix(h, d + (size_t(i) << t->data_shift), t->data_size);
  return h;
}

// The arrays kept so far, found by content: an open table of indexes into
// the tree's list. Without room for it (no memory) every search is a walk
// of the list, with the same answers.
class Kept {
 public:
  explicit Kept(int32_t most) {
    while (cap_ < 2u * static_cast<uint32_t>(most > 0 ? most : 1)) cap_ <<= 1;
    slots_.reset(vls::alloc_array<int32_t>(cap_));
    if (slots_)
      for (uint32_t i = 0; i < cap_; ++i) slots_[i] = -1;
  }
  // The index of an array equal to `a` among list[0, count), or -1; on -1
  // the slot for `a` is remembered for add().
  template <typename Same>
  int32_t find(unsigned char *const *list, int32_t count, const unsigned char *a, uint64_t h, Same same) {
    if (!slots_) {
      for (int32_t i = 0; i < count; ++i)
        if (same(list[i], a)) return i;
      return -1;
    }
    for (slot_ = static_cast<uint32_t>(h) & (cap_ - 1); slots_[slot_] >= 0; slot_ = (slot_ + 1) & (cap_ - 1))
      if (same(list[slots_[slot_]], a)) return slots_[slot_];
    return -1;
  }
  void add(int32_t index) {
    if (slots_) slots_[slot_] = index;
  }

 private:
  uint32_t cap_ = 16, slot_ = 0;
  vls::HostPtr<int32_t> slots_;
};

struct Compressor {
  multi_t *t;
  Kept flags, data;

  void node(Node *n) {
    if (!n->flags) {
      n->flag_index = -1;
    } else {
      auto same = [](const unsigned char *a, const unsigned char *b) { return memcmp(a, b, kTableSize) == 0; };
      int32_t i = flags.find(t->flag_arrs, t->flag_arr_count, n->flags, flags_hash(n->flags), same);
      if (i >= 0) {
        _vl_free_ptr(n->flags);
        n->flags = t->flag_arrs[i];
      } else {
        flags.add(i = t->flag_arr_count);
        t->flag_arrs[t->flag_arr_count++] = n->flags;
      }
      n->flag_index = i;
    }
    if (!n->data) {
      n->data_index = -1;
    } else {
      auto same = [this](const unsigned char *a, const unsigned char *b) { return data_arrs_match(t, a, b); };
      int32_t i = data.find(t->data_arrs, t->data_arr_count, n->data, data_hash(t, n->data), same);
      if (i >= 0) {
        _vl_free_ptr(n->data);
        n->data = t->data_arrs[i];
      } else {
        data.add(i = t->data_arr_count);
        t->data_arrs[t->data_arr_count++] = n->data;
      }
      n->data_index = i;
    }
    if (n->flags && n->next)
      for (int b = 0; b < kTableSize; ++b)
        if (n->flags[b] == VL_MULTI_LEADS) node(n->next[n->offsets[b]]);
  }
};

// ---- textual form: writing -----------------------------------------------------------

struct Printer {
  void *stream;
  const multi_t *tree;
  vl_multi_writer writer;
  bool ok = true;

  void text(const char *format, ...) __attribute__((format(printf, 2, 3))) {
    char buf[64];
    va_list ap;
    va_start(ap, format);
    int n = vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    if (n < 0 || _vl_ext_fwrite(buf, 1, static_cast<size_t>(n), stream) != static_cast<size_t>(n)) ok = false;
  }
  void value(const unsigned char *row) {
    if (writer && writer(stream, row) < 0) ok = false;
  }
};

// The run form for flags (one byte each) and data rows alike.
struct FlagView {
  const unsigned char *a;
  bool eq(int i, int j) const { return a[i] == a[j]; }
  bool background(int i) const { return a[i] == 0; }
  void print(Printer &p, int i) const { p.text("%02x", a[i]); }
};
struct DataView {
  const multi_t *t;
  const unsigned char *a;
  const unsigned char *held = nullptr;  // first and last row held, or null for all
  // A row the array does not hold is the default row (see pack_rows).
  const unsigned char *row(int i) const {
    return !held || (i >= held[0] && i <= held[1]) ? a + (size_t(i) << t->data_shift) : t->default_data;
  }
  bool eq(int i, int j) const { return memcmp(row(i), row(j), t->data_size) == 0; }
  bool background(int i) const { return memcmp(row(i), t->default_data, t->data_size) == 0; }
  void print(Printer &p, int i) const { p.value(row(i)); }
};

// Prints the run that starts at `first`; gives the number of entries covered.
template <typename View>
int fprintf_run(Printer &p, const View &v, int first) {
  int current = first, equal = 0, last = first;
  bool repeat_mode = false, differed = false;
  for (int i = first + 1; i < kTableSize; ++i) {
    if (v.eq(i, current)) {
      if (++equal == 3) {
        if (differed) break;
        repeat_mode = true;
      }
    } else {
      if (repeat_mode) break;
      current = i;
      equal = 0;
    }
    if (!v.eq(i, first)) {
      if (repeat_mode) break;
      differed = true;
    }
    if (!v.background(i)) last = i;
  }
  int length = repeat_mode ? 1 : last - first + 1;
  int repeat = repeat_mode ? equal + 1 : 1;
  p.text("%02x%03x%03x", first, length, repeat);
  for (int i = 0; i < length; ++i) v.print(p, first + i);
  p.text("\n");
  return length * repeat;
}

template <typename View>
void fprintf_runs(Printer &p, const View &v) {
  for (int i = 0; i < kTableSize;) {
    if (v.background(i)) {
      ++i;
      continue;
    }
    i += fprintf_run(p, v, i);
  }
  p.text("0000000\n");
}

void fprintf_unc_node(Printer &p, const Node *n) {
  p.text("%d %d\n", n->flags ? 1 : 0, n->data ? 1 : 0);
  if (n->flags) fprintf_runs(p, FlagView{n->flags});
  if (n->data) fprintf_runs(p, DataView{p.tree, n->data});
  if (n->next_count != 0 && n->flags && n->next)
    for (int b = 0; b < kTableSize; ++b)
      if (n->flags[b] == VL_MULTI_LEADS) fprintf_unc_node(p, n->next[n->offsets[b]]);
}

void fprintf_comp_node(Printer &p, const Node *n) {
  p.text("%d %d %u %u\n", n->flags ? 1 : 0, n->data ? 1 : 0, n->flags ? unsigned(n->flag_index) : 0u,
         n->data ? unsigned(n->data_index) : 0u);
  if (n->next_count != 0 && n->flags && n->next)
    for (int b = 0; b < kTableSize; ++b)
      if (n->flags[b] == VL_MULTI_LEADS) fprintf_comp_node(p, n->next[n->offsets[b]]);
}

// ---- textual form: reading -------------------------------------------------------------
//
// The reader takes its bytes from a source: a stream that the library
// opened for one load is the C library's own (ByteReader's fast way), and
// is read straight from its buffer with a cursor that goes back to the
// stream whenever a value reader of the caller runs and when the reading
// ends; any other stream goes through the host's getc and ungetc slots.
// Both give the bytes and the end of file that those slots give, so the
// tree, the bytes consumed and the errors are the same either way.

constexpr int kEof = -1;

struct HostSource {
  void *stream;
  int get() { return _vl_ext_getc(stream); }
  void unget(int c) { _vl_ext_ungetc(c, stream); }
  bool eof() { return _vl_ext_feof(stream) != 0; }
  void sync() {}
  void load() {}
  const unsigned char *window(size_t) const { return nullptr; }
  size_t buffered() const { return 0; }
  void skip(size_t) {}
};

struct FileSource {
  FILE *f;
  const unsigned char *p = nullptr, *end = nullptr, *base = nullptr;
  explicit FileSource(FILE *file) : f(file) { load(); }
  FileSource(const FileSource &) = delete;
  FileSource &operator=(const FileSource &) = delete;
  ~FileSource() { sync(); }
  void load() {
    p = reinterpret_cast<const unsigned char *>(f->_IO_read_ptr);
    end = reinterpret_cast<const unsigned char *>(f->_IO_read_end);
    base = reinterpret_cast<const unsigned char *>(f->_IO_read_base);
  }
  void sync() { f->_IO_read_ptr = reinterpret_cast<char *>(const_cast<unsigned char *>(p)); }
  // The next n bytes when the buffer holds them, else null; skip(n) then
  // consumes them.
  const unsigned char *window(size_t n) const { return static_cast<size_t>(end - p) >= n ? p : nullptr; }
  size_t buffered() const { return static_cast<size_t>(end - p); }
  void skip(size_t n) { p += n; }
  int get() { return p < end ? *p++ : refill(); }
  int refill() {
    sync();
    int c = getc_unlocked(f);
    load();
    return c;
  }
  // Only ever the byte just read.
  void unget(int c) {
    if (p > base) {
      --p;
    } else {
      sync();
      ::ungetc(c, f);
      load();
    }
  }
  bool eof() {
    sync();
    return feof_unlocked(f) != 0;
  }
};

// The value of a hexadecimal digit; any other byte, and the end, is 0.
struct HexTable {
  unsigned char v[256] = {};
  constexpr HexTable() {
    for (int c = '0'; c <= '9'; ++c) v[c] = static_cast<unsigned char>(c - '0');
    for (int c = 'a'; c <= 'f'; ++c) v[c] = static_cast<unsigned char>(c - 'a' + 10);
    for (int c = 'A'; c <= 'F'; ++c) v[c] = static_cast<unsigned char>(c - 'A' + 10);
  }
};
constexpr HexTable kHex;
inline uint32_t hex_of(int c) { return c < 0 ? 0u : kHex.v[c]; }
inline bool digit(int c) { return c >= '0' && c <= '9'; }

// The lexical readers of the object files, over a source: the same bytes
// consumed and the same values as _vl_get_int, _vl_get_hex, _vl_skip_nl
// and _vl_skip_space_if_needed.
#define VLS_INLINE inline __attribute__((always_inline))

template <typename Src>
struct Lexer {
  Src &in;
  VLS_INLINE int32_t get_int() {
    // Most numbers of a tree are short: read in place when the buffer
    // holds the number and what ends it.
    if (const unsigned char *w = in.window(16)) {
      size_t i = (w[0] == ' ' || w[0] == '\t') ? 1 : 0;
      if (digit(w[i])) {
        uint32_t v = static_cast<uint32_t>(w[i] - '0');
        size_t j = i + 1;
        while (j < i + 9 && digit(w[j])) v = v * 10 + static_cast<uint32_t>(w[j++] - '0');
        if (!digit(w[j])) {
          in.skip(j);
          return static_cast<int32_t>(v);
        }
      }
    }
    return get_int_slow();
  }
  int32_t get_int_slow() {
    int c = in.get();
    if (c == kEof || c == ' ' || c == '\t') c = in.get();  // one optional blank
    if (c == kEof) return 0;
    if (!digit(c) && c != '-' && c != '+') {
      in.unget(c);
      return 0;
    }
    const bool negative = c == '-';
    int64_t v = digit(c) ? c - '0' : 0;
    int kept = 1;  // characters of the text kept, the sign included; further digits are dropped
    while ((c = in.get()) != kEof && digit(c)) {
      if (kept < 40) {
        ++kept;
        v = v * 10 + (c - '0');
        if (v > int64_t{1} << 40) v = int64_t{1} << 40;
      }
    }
    if (c != kEof) in.unget(c);
    if (negative) v = -v;
    if (v > INT32_MAX) v = INT32_MAX;
    if (v < INT32_MIN) v = INT32_MIN;
    return static_cast<int32_t>(v);
  }
  VLS_INLINE uint32_t get_hex(int digits) {
    uint32_t v = 0;
    if (const unsigned char *w = in.window(static_cast<size_t>(digits))) {
      for (int i = 0; i < digits; ++i) v = (v << 4) | kHex.v[w[i]];
      in.skip(static_cast<size_t>(digits));
      return v;
    }
    for (int i = 0; i < digits; ++i) v = (v << 4) | hex_of(in.get());
    return v;
  }
  // `count` numbers (at most 4) and a line feed, as that many get_int and
  // a skip_nl read them; false when the line feed is missing. A line of
  // short unsigned numbers is read in place.
  bool ints_line(int32_t *out, int count) {
    if (const unsigned char *w = in.window(48)) {
      size_t j = 0;
      int k = 0;
      for (; k < count; ++k) {
        if (w[j] == ' ' || w[j] == '\t') ++j;
        if (!digit(w[j])) break;
        uint32_t v = static_cast<uint32_t>(w[j++] - '0');
        for (int d = 1; d < 9 && digit(w[j]); ++d) v = v * 10 + static_cast<uint32_t>(w[j++] - '0');
        if (digit(w[j])) break;
        out[k] = static_cast<int32_t>(v);
      }
      if (k == count && w[j] == '\n') {
        in.skip(j + 1);
        return true;
      }
    }
    for (int k = 0; k < count; ++k) out[k] = get_int();
    return skip_nl();
  }
  // A node line of a compressed body as ints_line(out, 4) reads it. Most
  // are "F D I J": two one-digit numbers, then two of up to nine digits,
  // single blanks between; they are read here in one pass, and any other
  // line as ints_line reads it.
  VLS_INLINE bool node_line(int32_t *out) {
    if (const unsigned char *w = in.window(24)) {
      const unsigned f = static_cast<unsigned>(w[0]) - '0', d = static_cast<unsigned>(w[2]) - '0';
      unsigned i = static_cast<unsigned>(w[4]) - '0';
      if (f < 10 && d < 10 && i < 10 && w[1] == ' ' && w[3] == ' ') {
        size_t j = 5;
        for (unsigned c; j < 13 && (c = static_cast<unsigned>(w[j]) - '0') < 10; ++j) i = i * 10 + c;
        unsigned k = static_cast<unsigned>(w[j + 1]) - '0';
        if (w[j] == ' ' && k < 10) {
          size_t e = j + 2;
          for (unsigned c; e < j + 10 && (c = static_cast<unsigned>(w[e]) - '0') < 10; ++e) k = k * 10 + c;
          if (w[e] == '\n') {
            out[0] = static_cast<int32_t>(f);
            out[1] = static_cast<int32_t>(d);
            out[2] = static_cast<int32_t>(i);
            out[3] = static_cast<int32_t>(k);
            in.skip(e + 1);
            return true;
          }
        }
      }
    }
    return ints_line(out, 4);
  }
  VLS_INLINE bool skip_nl() {
    int c = in.get();
    if (c == '\n') return true;
    if (c != kEof) in.unget(c);
    return false;
  }
  void skip_space_if_needed() {
    int c = in.get();
    if (c != kEof && c != ' ' && c != '\t') in.unget(c);
  }
};

// The bytes whose flag leads on, in order, into `out`; gives their count.
// Eight flags at a time: a word with none is passed over whole.
inline int bytes_that_lead(const unsigned char *flags, unsigned char *out) {
  int n = 0;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  constexpr uint64_t kOnes = 0x0101010101010101ull, kLow7 = 0x7F7F7F7F7F7F7F7Full;
  for (int base = 0; base < kTableSize; base += 8) {
    uint64_t w;
    memcpy(&w, flags + base, sizeof w);
    w ^= kOnes * VL_MULTI_LEADS;
    // The high bit of each byte that was VL_MULTI_LEADS (now zero), exactly.
    uint64_t zero = ~(((w & kLow7) + kLow7) | w | kLow7);
    while (zero) {
      out[n++] = static_cast<unsigned char>(base + (__builtin_ctzll(zero) >> 3));
      zero &= zero - 1;
    }
  }
#else
  for (int b = 0; b < kTableSize; ++b)
    if (flags[b] == VL_MULTI_LEADS) out[n++] = static_cast<unsigned char>(b);
#endif
  return n;
}

// How a data value is read: by the caller's reader through the stream, or
// (hex_digits > 0) as that many hexadecimal digits stored as an unsigned
// 16-bit value, as ub2_reader does.
struct ValueReader {
  vl_multi_reader reader;
  int hex_digits;
};

template <typename Src>
struct Scanner {
  void *stream;
  Src &in;
  Lexer<Src> lex;
  multi_t *tree;
  ValueReader value_reader;
  int longest;
  int err = 0;
  int shortest_key = kMaxKey + 1;  // lengths of the complete characters seen
  int longest_key = 0;
  ArenaHead *arena = nullptr;  // set while a compressed body is read
  // Leaves met so far, by their shared arrays: open addressing over
  // (flag index + 1, data index + 1), 0 for an empty slot.
  struct Leaf {
    uint64_t key;
    Node *node;
  };
  Leaf *leaves = nullptr;
  uint32_t leaf_capacity = 0, leaf_count = 0;
  // The offsets of a node follow from its flags alone: nodes that share a
  // flag array share one offsets array (by flag index; null until met).
  unsigned char **offsets_by_flags = nullptr;
  // Per flag array (by index) the first and the last byte that completes a
  // character (first > last: none).
  unsigned char *complete_spans = nullptr;

  // The data arrays of a compressed body until pack_rows places them: the
  // rows each was given (in `kept`), and the rows that must be its own.
  struct DataSpan {
    size_t at;                 // its rows in kept
    int16_t held_first, held_last;  // rows the text gave (first > last: none)
    int16_t first, last;       // rows it must hold
  };
  DataSpan *spans = nullptr;
  unsigned char *kept = nullptr;
  size_t kept_used = 0, kept_capacity = 0;
  // Nodes with data, given their row pointers by pack_rows.
  Node **with_data = nullptr;
  uint32_t with_data_count = 0, with_data_capacity = 0;

  // Child arrays kept so far, by their contents: open addressing, a null
  // array for an empty slot.
  struct NextSlot {
    uint64_t hash;
    Node **next;
    int count;
  };
  NextSlot *nexts = nullptr;
  uint32_t next_capacity = 0, next_count_kept = 0;

  NextSlot *next_slot(uint64_t h, Node *const *children, int count) {
    const uint32_t mask = next_capacity - 1;
    for (uint32_t i = static_cast<uint32_t>(h >> 32) & mask;; i = (i + 1) & mask) {
      NextSlot &s = nexts[i];
      if (!s.next) return &s;
      if (s.hash == h && s.count == count && memcmp(s.next, children, static_cast<size_t>(count) * sizeof(Node *)) == 0)
        return &s;
    }
  }
  // Room for one more array; false without memory (the array is then not
  // shared, which costs only memory).
  bool next_room() {
    if (next_count_kept * 2 < next_capacity) return true;
    const uint32_t capacity = next_capacity ? next_capacity * 2 : 256;
    NextSlot *old = nexts;
    const uint32_t old_capacity = next_capacity;
    nexts = vls::alloc_array<NextSlot>(capacity);
    if (!nexts) {
      nexts = old;
      return false;
    }
    memset(nexts, 0, capacity * sizeof(NextSlot));
    next_capacity = capacity;
    for (uint32_t i = 0; i < old_capacity; ++i)
      if (old[i].next) *next_slot(old[i].hash, old[i].next, old[i].count) = old[i];
    _vl_free_ptr(old);
    return true;
  }

  // Whether each distinct flag array completes any character (by index).
  unsigned char *completes = nullptr;

  Scanner(void *s, Src &source, multi_t *t, ValueReader r, int l)
      : stream(s), in(source), lex{source}, tree(t), value_reader(r), longest(l) {}
  Scanner(const Scanner &) = delete;
  Scanner &operator=(const Scanner &) = delete;
  ~Scanner() {
    _vl_free_ptr(leaves);
    _vl_free_ptr(offsets_by_flags);
    _vl_free_ptr(completes);
    _vl_free_ptr(complete_spans);
    _vl_free_ptr(spans);
    _vl_free_ptr(kept);
    _vl_free_ptr(with_data);
    _vl_free_ptr(nexts);
  }

  // One data value into `target`; false when the caller's reader fails.
  bool value(unsigned char *target) {
    if (value_reader.hex_digits > 0) {
      const uint16_t v = static_cast<uint16_t>(lex.get_hex(value_reader.hex_digits));
      memcpy(target, &v, sizeof v);
      return true;
    }
    if (!value_reader.reader) return true;
    in.sync();
    const int r = value_reader.reader(stream, target, tree->data_size);
    in.load();
    return r >= 0;
  }

  static uint32_t leaf_hash(uint64_t key) { return static_cast<uint32_t>((key * 0x9E3779B97F4A7C15ull) >> 32); }

  // The slot of `key`: its leaf, or the empty slot where it goes.
  Leaf *leaf_slot(uint64_t key) {
    uint32_t mask = leaf_capacity - 1;
    for (uint32_t i = leaf_hash(key) & mask;; i = (i + 1) & mask)
      if (leaves[i].key == key || leaves[i].key == 0) return &leaves[i];
  }

  // Room for one more leaf; false without memory (the leaf is then not
  // shared, which costs only memory).
  bool leaf_room(uint32_t want = 0) {
    if (leaf_count * 2 < leaf_capacity && want <= leaf_capacity) return true;
    uint32_t capacity = leaf_capacity ? leaf_capacity * 2 : 256;
    while (capacity < want) capacity *= 2;
    Leaf *old = leaves;
    uint32_t old_capacity = leaf_capacity;
    leaves = vls::alloc_array<Leaf>(capacity);
    if (!leaves) {
      leaves = old;
      return false;
    }
    memset(leaves, 0, capacity * sizeof(Leaf));
    leaf_capacity = capacity;
    for (uint32_t i = 0; i < old_capacity; ++i)
      if (old[i].key) *leaf_slot(old[i].key) = old[i];
    _vl_free_ptr(old);
    return true;
  }

  Node *node() {
    return arena ? blank_node(arena_alloc(arena, sizeof(Node))) : new_node();
  }
  void *bytes(size_t n) { return arena ? arena_alloc(arena, n) : _vl_alloc_ptr(n); }

  // Notes the key length `depth` when the node completes any character.
  void note_keys(const unsigned char *flags, int depth) {
    if (!flags || !memchr(flags, VL_MULTI_COMPLETE, kTableSize)) return;
    note_length(depth);
  }
  void note_length(int depth) {
    if (depth < shortest_key) shortest_key = depth;
    if (depth > longest_key) longest_key = depth;
  }

  // note_keys for the distinct flag array `fi`, tested once.
  void note_flags(int32_t fi, int depth) {
    if (!completes) {
      note_keys(tree->flag_arrs[fi], depth);
    } else if (completes[fi]) {
      note_length(depth);
    }
  }

  bool fail(int code) {
    if (err == 0) err = code;
    return false;
  }

  // Reads one run header; false at the terminator.
  bool run_header(int &first, int &length, int &repeat) {
    if (const unsigned char *w = in.window(8)) {
      first = static_cast<int>(kHex.v[w[0]] << 4 | kHex.v[w[1]]);
      length = static_cast<int>(kHex.v[w[2]] << 8 | kHex.v[w[3]] << 4 | kHex.v[w[4]]);
      repeat = static_cast<int>(kHex.v[w[5]] << 8 | kHex.v[w[6]] << 4 | kHex.v[w[7]]);
      in.skip(8);
      return length != 0;
    }
    first = static_cast<int>(lex.get_hex(2));
    length = static_cast<int>(lex.get_hex(3));
    repeat = static_cast<int>(lex.get_hex(3));
    return length != 0;
  }

  // The length of the runs that begin here, their terminator included,
  // when the buffer holds them all (as flag_runs reads them in place); 0
  // otherwise.
  size_t runs_length() const {
    const size_t avail = in.buffered();
    const unsigned char *w = in.window(avail);
    size_t at = 0;
    while (avail - at >= 8) {
      const size_t length = static_cast<size_t>(kHex.v[w[at + 2]] << 8 | kHex.v[w[at + 3]] << 4 | kHex.v[w[at + 4]]);
      if (length == 0) return at + 8;
      const size_t line = 8 + 2 * length + 1;
      if (length > kTableSize || avail - at < line) return 0;
      at += line;
    }
    return 0;
  }

  // Flags: counts every stored value 1 into *leads.
  bool flag_runs(unsigned char *flags, int32_t *leads) {
    int first, length, repeat;
    while (run_header(first, length, repeat)) {
      if (length > kTableSize || first + length * repeat > kTableSize) return fail(VL_ENOMEM);
      unsigned char values[kTableSize];
      if (const unsigned char *w = in.window(2 * static_cast<size_t>(length))) {
        for (int i = 0; i < length; ++i) values[i] = static_cast<unsigned char>(kHex.v[w[2 * i]] << 4 | kHex.v[w[2 * i + 1]]);
        in.skip(2 * static_cast<size_t>(length));
      } else {
        for (int i = 0; i < length; ++i) values[i] = static_cast<unsigned char>(lex.get_hex(2));
      }
      if (!lex.skip_nl()) return fail(VL_ENOMEM);
      if (length == 1) {
        memset(flags + first, values[0], static_cast<size_t>(repeat));
        if (values[0] == VL_MULTI_LEADS) *leads += repeat;
        continue;
      }
      for (int k = 0; k < repeat; ++k)
        for (int i = 0; i < length; ++i) {
          flags[first + length * k + i] = values[i];
          if (values[i] == VL_MULTI_LEADS) ++*leads;
        }
    }
    return true;
  }

  // Rows: the first and last row written widen [*lo, *hi] when given.
  bool data_runs(unsigned char *data, unsigned char *scratch, int *lo = nullptr, int *hi = nullptr) {
    size_t rb = row_bytes(tree);
    int first, length, repeat;
    while (run_header(first, length, repeat)) {
      if (length > kTableSize || first + length * repeat > kTableSize) return fail(VL_ENOMEM);
      if (lo && length * repeat > 0) {
        if (first < *lo) *lo = first;
        if (first + length * repeat - 1 > *hi) *hi = first + length * repeat - 1;
      }
      const unsigned char *w = value_reader.hex_digits == 4 ? in.window(4 * static_cast<size_t>(length) + 1) : nullptr;
      if (w && rb == 2 && repeat > 0 && w[4 * length] == '\n') {
        // Rows of two bytes whose line is whole in the buffer: straight
        // into place, the first copy of the run then repeated.
        unsigned char *at = data + static_cast<size_t>(first) * 2;
        for (int i = 0; i < length; ++i, w += 4) {
          const uint16_t v = static_cast<uint16_t>(kHex.v[w[0]] << 12 | kHex.v[w[1]] << 8 | kHex.v[w[2]] << 4 | kHex.v[w[3]]);
          memcpy(at + 2 * i, &v, sizeof v);
        }
        in.skip(4 * static_cast<size_t>(length) + 1);
        const size_t span = static_cast<size_t>(length) * 2;
        if (length == 1) {
          uint16_t v;
          memcpy(&v, at, sizeof v);
          for (int k = 1; k < repeat; ++k) memcpy(at + 2 * k, &v, sizeof v);
        } else {
          for (int k = 1; k < repeat; ++k) memcpy(at + span * k, at, span);
        }
        continue;
      }
      if (w) {
        for (int i = 0; i < length; ++i, w += 4) {
          const uint16_t v = static_cast<uint16_t>(kHex.v[w[0]] << 12 | kHex.v[w[1]] << 8 | kHex.v[w[2]] << 4 | kHex.v[w[3]]);
          memcpy(scratch + i * rb, &v, sizeof v);
        }
        in.skip(4 * static_cast<size_t>(length));
      } else {
        for (int i = 0; i < length; ++i)
          if (!value(scratch + i * rb)) return fail(VL_ENOMEM);
      }
      if (!lex.skip_nl()) return fail(VL_ENOMEM);
      if (length == 1 && rb == 2) {
        uint16_t v;
        memcpy(&v, scratch, sizeof v);
        for (int k = 0; k < repeat; ++k) memcpy(data + (first + k) * 2, &v, sizeof v);
        continue;
      }
      for (int k = 0; k < repeat; ++k) memcpy(data + (first + length * k) * rb, scratch, length * rb);
    }
    return true;
  }

  bool children(Node *n, int depth, bool compressed, unsigned char *scratch) {
    if (n->next_count == 0) return true;
    if (!n->flags) return fail(VL_ENOMEM);
    if (depth >= longest) return fail(VL_ETOODEEP);
    int slots = n->next_count < kTableSize ? n->next_count : kTableSize;
    unsigned char **shared = arena && offsets_by_flags && n->flag_index >= 0 ? &offsets_by_flags[n->flag_index] : nullptr;
    const bool fresh = !(shared && *shared);
    if (!fresh) {
      n->offsets = *shared;  // already holds the positions the loop below gives
    } else {
      n->offsets = static_cast<unsigned char *>(bytes(kTableSize));
      if (shared) *shared = n->offsets;
    }
    // Read in compressed form, the children are gathered first: a node
    // whose children are those of a node read before takes that node's
    // array (the tree is only read from, and goes as a whole).
    const bool gather = compressed && arena;
    Node *gathered[kTableSize];
    n->next = gather ? gathered : static_cast<Node **>(bytes(slots * sizeof(Node *)));
    if (!n->offsets || !n->next) {
      // keep the node consistent for release
      if (!arena) _vl_free_ptr(n->next);
      n->next = nullptr;
      return fail(VL_ENOMEM);
    }
    ++tree->offset_arr_count;
    if (fresh) memset(n->offsets, 0, kTableSize);
    for (int i = 0; i < slots; ++i) n->next[i] = nullptr;
    int pos = 0;
    unsigned char lead_bytes[kTableSize];
    const int leads = bytes_that_lead(n->flags, lead_bytes);
    for (int l = 0; l < leads; ++l) {
      const int b = lead_bytes[l];
      if (pos >= slots) {
        if (gather) keep_gathered(n, slots);
        return fail(VL_ENOMEM);
      }
      if (gather) {
        if (fresh) n->offsets[b] = static_cast<unsigned char>(pos);
        if (!(n->next[pos++] = comp_child(depth + 1, scratch))) return keep_gathered(n, slots), false;
        continue;
      }
      Node *child = node();
      if (!child) return fail(VL_ENOMEM);
      n->offsets[b] = static_cast<unsigned char>(pos);
      n->next[pos++] = child;  // owned by the tree from here on
      if (!(compressed ? comp_node(child, depth + 1, scratch) : unc_node(child, depth + 1, scratch))) return false;
    }
    if (gather) return keep_gathered(n, slots) ? true : fail(VL_ENOMEM);
    return true;
  }

  // Gives a node its gathered children: the array of an earlier node with
  // the same children, or a copy in the arena (null when there is no
  // memory for it).
  bool keep_gathered(Node *n, int slots) {
    Node **gathered = n->next;
    const size_t size = static_cast<size_t>(slots) * sizeof(Node *);
    uint64_t h = static_cast<uint64_t>(slots);
    for (int i = 0; i < slots; ++i) h = (h ^ reinterpret_cast<uintptr_t>(gathered[i])) * 0x100000001B3ull;
    NextSlot *slot = next_room() ? next_slot(h, gathered, slots) : nullptr;
    if (slot && slot->next) {
      n->next = slot->next;
      return true;
    }
    n->next = static_cast<Node **>(bytes(size));
    if (!n->next) return false;
    memcpy(n->next, gathered, size);
    if (slot) {
      *slot = {h, n->next, slots};
      ++next_count_kept;
    }
    return true;
  }

  // A child in compressed form: its line, then a leaf alike to one met
  // before is that leaf, and any other node is read on as comp_node would.
  // Null on failure.
  Node *comp_child(int depth, unsigned char *scratch) {
    int32_t line[4];
    const bool nl = lex.node_line(line);
    const int has_flags = line[0], has_data = line[1];
    const int32_t fi = line[2], di = line[3];
    if (!nl) return fail(VL_ENOMEM), nullptr;
    if (has_flags && (fi < 0 || fi >= tree->flag_arr_count)) return fail(VL_ENOMEM), nullptr;
    if (has_data && (di < 0 || di >= tree->data_arr_count)) return fail(VL_ENOMEM), nullptr;
    if (has_flags) note_flags(fi, depth);
    const bool leaf = !has_flags || tree->flag_next_counts[fi] == 0;
    Leaf *slot = nullptr;
    uint64_t key = (uint64_t{has_flags ? static_cast<uint32_t>(fi) + 1 : 0u} << 32) |
                   (has_data ? static_cast<uint32_t>(di) + 1 : 0u);
    if (leaf && key != 0 && leaf_room()) {
      slot = leaf_slot(key);
      if (slot->key) return slot->node;
    }
    Node *n = node();
    if (!n) return fail(VL_ENOMEM), nullptr;
    if (has_flags) {
      n->flags = tree->flag_arrs[fi];
      n->next_count = tree->flag_next_counts[fi];
      n->flag_index = fi;
    }
    if (has_data && !note_data(n, has_flags ? fi : -1, di)) return nullptr;
    if (slot) {
      slot->key = key;
      slot->node = n;
      ++leaf_count;
      return n;
    }
    return children(n, depth, true, scratch) ? n : nullptr;
  }

  bool unc_node(Node *n, int depth, unsigned char *scratch) {
    int32_t line[2];
    const bool nl = lex.ints_line(line, 2);
    const int has_flags = line[0], has_data = line[1];
    if (!nl) return fail(VL_ENOMEM);
    if (has_flags) {
      if (!n->flags && !(n->flags = new_flags(tree))) return fail(VL_ENOMEM);
      if (!flag_runs(n->flags, &n->next_count)) return false;
      note_keys(n->flags, depth);
    }
    if (has_data) {
      if (!n->data && !(n->data = new_data(tree))) return fail(VL_ENOMEM);
      if (!data_runs(n->data, scratch)) return false;
    }
    return children(n, depth, false, scratch);
  }

  bool comp_node(Node *n, int depth, unsigned char *scratch) {
    int32_t line[4];
    const bool nl = lex.ints_line(line, 4);
    const int has_flags = line[0], has_data = line[1];
    const int32_t fi = line[2], di = line[3];
    if (!nl) return fail(VL_ENOMEM);
    if (has_flags) {
      if (fi < 0 || fi >= tree->flag_arr_count) return fail(VL_ENOMEM);
      n->flags = tree->flag_arrs[fi];
      n->next_count = tree->flag_next_counts[fi];
      n->flag_index = fi;
      note_flags(fi, depth);
    }
    if (has_data) {
      if (di < 0 || di >= tree->data_arr_count) return fail(VL_ENOMEM);
      if (!note_data(n, has_flags ? fi : -1, di)) return false;
    }
    return children(n, depth, true, scratch);
  }

  // A node of a compressed body takes data array `di`: the array must hold
  // the rows of the characters the node completes (flag array `fi`, -1 for
  // none), the root's every row. Its row pointer comes with pack_rows.
  bool note_data(Node *n, int32_t fi, int32_t di) {
    n->data_index = di;
    n->data = tree->data_arrs[di];
    if (!spans) return true;
    DataSpan &s = spans[di];
    int lo = 0, hi = kTableSize - 1;
    if (n != tree->root) {
      if (fi < 0) return remember(n);
      if (complete_spans) lo = complete_spans[2 * fi], hi = complete_spans[2 * fi + 1];
      if (lo > hi) return remember(n);
    }
    if (lo < s.first) s.first = static_cast<int16_t>(lo);
    if (hi > s.last) s.last = static_cast<int16_t>(hi);
    return remember(n);
  }
  bool remember(Node *n) {
    if (with_data_count == with_data_capacity) {
      const uint32_t capacity = with_data_capacity ? with_data_capacity * 2 : 256;
      Node **grown = vls::alloc_array<Node *>(capacity);
      if (!grown) return fail(VL_ENOMEM);
      if (with_data_count) memcpy(grown, with_data, with_data_count * sizeof(Node *));
      _vl_free_ptr(with_data);
      with_data = grown;
      with_data_capacity = capacity;
    }
    with_data[with_data_count++] = n;
    return true;
  }

  // Keeps rows [lo, hi] of a data array read in full.
  bool keep_rows(DataSpan &s, const unsigned char *d, int lo, int hi) {
    s.at = kept_used;
    s.held_first = s.first = static_cast<int16_t>(lo);
    s.held_last = s.last = static_cast<int16_t>(hi);
    if (lo > hi) return true;
    s.held_first = 1, s.held_last = 0;  // until the rows are kept
    const size_t rb = row_bytes(tree), n = static_cast<size_t>(hi - lo + 1) * rb;
    if (kept_capacity - kept_used < n) {
      size_t capacity = kept_capacity ? kept_capacity * 2 : 16 * 1024;
      while (capacity - kept_used < n) capacity *= 2;
      auto *grown = static_cast<unsigned char *>(_vl_alloc_ptr(capacity));
      if (!grown) return fail(VL_ENOMEM);
      if (kept_used) memcpy(grown, kept, kept_used);
      _vl_free_ptr(kept);
      kept = grown;
      kept_capacity = capacity;
    }
    memcpy(kept + kept_used, d + static_cast<size_t>(lo) * rb, n);
    kept_used += n;
    s.held_first = static_cast<int16_t>(lo);
    s.held_last = static_cast<int16_t>(hi);
    return true;
  }

  // Places the data arrays in one block, each as the rows it must hold
  // (those the text gave, those of the characters of its nodes, all of the
  // root's) one after the other. Each array's pointer is that of its row 0
  // as if it had all 256: every other row reads some row of the block (it
  // is padded with default rows at both ends), never memory outside it.
  // The walks read only the rows of complete characters; the printer and
  // held_row read a row the array does not hold as the default row, which
  // it was (no text gave it).
  bool pack_rows() {
    multi_t *t = tree;
    const size_t rb = row_bytes(t), full = data_bytes(t);
    const int32_t count = t->data_arr_count;
    size_t used = 0, front = 0;
    for (int32_t i = 0; i < count; ++i) {
      DataSpan &s = spans[i];
      if (s.first > s.last) s.first = 0, s.last = -1;
      const size_t lead = static_cast<size_t>(s.first) * rb;
      if (lead > used && lead - used > front) front = lead - used;
      used += static_cast<size_t>(s.last - s.first + 1) * rb;
    }
    size_t size = front + used, at = 0;
    for (int32_t i = 0; i < count; ++i) {
      const DataSpan &s = spans[i];
      const size_t end = front + at - static_cast<size_t>(s.first) * rb + full;
      if (end > size) size = end;
      at += static_cast<size_t>(s.last - s.first + 1) * rb;
    }
    auto *block = static_cast<unsigned char *>(_vl_alloc_ptr(size ? size : rb));
    auto *held = static_cast<unsigned char *>(arena_alloc(arena, static_cast<size_t>(count > 0 ? count : 1) * 2));
    if (!block || !held) {
      _vl_free_ptr(block);
      for (uint32_t k = 0; k < with_data_count; ++k) with_data[k]->data = nullptr;
      t->data_arr_count = 0;
      return fail(VL_ENOMEM);
    }
    // Default rows wherever no held row goes: the padding in front and
    // behind, and the rows of an array that the text did not give.
    auto fill = [t](unsigned char *d, size_t bytes) {
      if (bytes) fill_default_rows(t, d, bytes);
    };
    const size_t whole = size ? size : rb;
    fill(block, front);
    at = front;
    for (int32_t i = 0; i < count; ++i) {
      const DataSpan &s = spans[i];
      unsigned char *row0 = block + at - static_cast<size_t>(s.first) * rb;
      const size_t first = static_cast<size_t>(s.first), end = static_cast<size_t>(s.last + 1);
      if (s.held_first <= s.held_last) {
        const size_t held_first = static_cast<size_t>(s.held_first), held_end = static_cast<size_t>(s.held_last + 1);
        fill(row0 + first * rb, (held_first - first) * rb);
        memcpy(row0 + held_first * rb, kept + s.at, (held_end - held_first) * rb);
        fill(row0 + held_end * rb, (end - held_end) * rb);
      } else {
        fill(row0 + first * rb, (end - first) * rb);
      }
      t->data_arrs[i] = row0;
      held[2 * i] = static_cast<unsigned char>(s.first > s.last ? 1 : s.first);
      held[2 * i + 1] = static_cast<unsigned char>(s.first > s.last ? 0 : s.last);
      at += static_cast<size_t>(s.last - s.first + 1) * rb;
    }
    fill(block + at, whole - at);
    arena->rows = block;
    arena->rows_bytes = size ? size : rb;
    arena->ranges = held;
    for (uint32_t k = 0; k < with_data_count; ++k) with_data[k]->data = t->data_arrs[with_data[k]->data_index];
    return true;
  }

  // Puts the flag arrays read (t->flag_arrs, in `read`) into the pool,
  // which gives each array's shared copy and its offsets.
  bool pool_flags(FlagPool *pool, const unsigned char *taken) {
    multi_t *t = tree;
    const int32_t n = t->flag_arr_count;
    if (!intern_flags(pool, t->flag_arrs, t->flag_next_counts, n, offsets_by_flags, taken)) {
      t->flag_arr_count = 0;
      return fail(VL_ENOMEM);
    }
    return true;
  }

  bool comp_body(unsigned char *scratch) {
    int32_t line[2];
    const bool nl = lex.ints_line(line, 2);
    const int32_t nflags = line[0], ndata = line[1];
    if (!nl) return fail(VL_ENOMEM);
    // A tree holds at most one distinct array per node; far more than any
    // codeset needs, far less than a damaged count could ask for.
    constexpr int32_t kMaxArrays = 1 << 16;
    if (nflags < 0 || ndata < 0 || nflags > kMaxArrays || ndata > kMaxArrays) return fail(VL_ENOMEM);
    multi_t *t = tree;
    const size_t flag_slots = static_cast<size_t>(nflags > 0 ? nflags : 1);
    t->flag_arrs = vls::alloc_array<unsigned char *>(flag_slots);
    t->data_arrs = vls::alloc_array<unsigned char *>(ndata > 0 ? ndata : 1);
    t->flag_next_counts = new_counts(nflags > 0 ? nflags : 1);
    t->flag_arr_count = 0;
    t->data_arr_count = 0;
    if (!t->flag_arrs || !t->data_arrs || !t->flag_next_counts) return fail(VL_ENOMEM);
    arena = arena_of(t);
    arena->pool = t_load_pool ? hold_pool(t_load_pool) : new_pool();
    if (!arena->pool) return fail(VL_ENOMEM);
    offsets_by_flags = vls::alloc_array<unsigned char *>(flag_slots);
    if (offsets_by_flags) memset(offsets_by_flags, 0, flag_slots * sizeof(unsigned char *));
    // Nodes and child arrays: the first block takes some for each array the
    // counts announce (within reason: a damaged count must not ask for much
    // at once).
    const size_t guess = static_cast<size_t>(nflags + ndata) * sizeof(Node);
    arena->next_size = guess < kFirstBlock ? kFirstBlock : guess < kLargestFirstBlock ? guess : kLargestFirstBlock;
    // The root shares from now on.
    _vl_free_ptr(t->root->flags);
    t->root->flags = nullptr;
    // The flag arrays are read here, then go to the pool.
    vls::HostPtr<unsigned char> read(vls::alloc_array<unsigned char>(flag_slots * kTableSize));
    if (!read) return fail(VL_ENOMEM);
    // In a load, an array whose text an earlier tree gave (the ctype, case
    // and collation trees of a UTF-8 locale share most) is taken as that
    // tree's, unread: the same bytes read the same. `texts` keeps where
    // each new one's text lies, to be remembered once the pool has it.
    LoadTexts *const load_texts = t_load_pool && offsets_by_flags ? &t_load_texts : nullptr;
    vls::HostPtr<unsigned char> taken(load_texts ? vls::alloc_array<unsigned char>(flag_slots) : nullptr);
    struct TextAt {
      const unsigned char *text;
      size_t length;
      uint64_t hash;
    };
    vls::HostPtr<TextAt> texts(taken ? vls::alloc_array<TextAt>(flag_slots) : nullptr);
    bool ok = true;
    for (int32_t i = 0; i < nflags && ok; ++i) {
      if (in.eof()) {
        ok = fail(VL_ENOMEM);  // the text ran out: no more arrays
        break;
      }
      const unsigned char *text = nullptr;
      size_t length = 0;
      uint64_t h = 0;
      if (texts) {
        texts[i].text = nullptr;
        taken[i] = 0;
        if ((length = runs_length()) != 0) {
          text = in.window(length);
          h = text_key(text, length);
          if (const LoadTexts::Text *e = text_seen(load_texts, h, text, length)) {
            in.skip(length);
            t->flag_arrs[t->flag_arr_count] = e->flags;
            t->flag_next_counts[t->flag_arr_count] = e->leads;
            offsets_by_flags[t->flag_arr_count] = e->offsets;
            taken[i] = 1;
            ++t->flag_arr_count;
            continue;
          }
        }
      }
      unsigned char *f = read.get() + static_cast<size_t>(i) * kTableSize;
      memset(f, 0, kTableSize);
      t->flag_arrs[t->flag_arr_count] = f;
      t->flag_next_counts[t->flag_arr_count] = 0;
      ++t->flag_arr_count;
      ok = flag_runs(f, &t->flag_next_counts[i]);
      // Remembered only when the runs were read in place, to its end.
      if (ok && text && in.window(0) == text + length) texts[i] = TextAt{text, length, h};
    }
    if (!pool_flags(arena->pool, texts ? taken.get() : nullptr)) ok = false;
    if (ok && texts)
      for (int32_t i = 0; i < t->flag_arr_count; ++i)
        if (!taken[i] && texts[i].text)
          text_keep(load_texts, texts[i].hash, texts[i].text, texts[i].length, t->flag_next_counts[i], t->flag_arrs[i],
                    offsets_by_flags[i]);
    if (!t_load_pool) end_pool_load(hold_pool(arena->pool));  // a pool of its own: no more arrays
    if (!ok) return false;
    completes = static_cast<unsigned char *>(_vl_alloc_ptr(flag_slots));
    complete_spans = static_cast<unsigned char *>(_vl_alloc_ptr(flag_slots * 2));
    for (int32_t i = 0; i < nflags; ++i) {
      const unsigned char *f = t->flag_arrs[i];
      const void *first = memchr(f, VL_MULTI_COMPLETE, kTableSize);
      if (completes) completes[i] = first != nullptr;
      if (!complete_spans) continue;
      int lo = 1, hi = 0;
      if (first) {
        lo = static_cast<int>(static_cast<const unsigned char *>(first) - f);
        hi = static_cast<int>(static_cast<const unsigned char *>(memrchr(f, VL_MULTI_COMPLETE, kTableSize)) - f);
      }
      complete_spans[2 * i] = static_cast<unsigned char>(lo);
      complete_spans[2 * i + 1] = static_cast<unsigned char>(hi);
    }
    spans = vls::alloc_array<DataSpan>(ndata > 0 ? ndata : 1);
    // Each array is read over default rows: `blank` keeps a copy of them,
    // and only the rows an array's runs wrote go back to it after.
    const size_t rb = row_bytes(t);
    vls::HostPtr<unsigned char> whole(static_cast<unsigned char *>(_vl_alloc_ptr(2 * data_bytes(t))));
    if (!spans || !whole) return fail(VL_ENOMEM);
    unsigned char *blank = whole.get() + data_bytes(t);
    fill_default_rows(t, whole.get(), data_bytes(t));
    memcpy(blank, whole.get(), data_bytes(t));
    for (int32_t i = 0; i < ndata; ++i) {
      if (in.eof()) {
        ok = fail(VL_ENOMEM);
        break;
      }
      int lo = kTableSize, hi = -1;
      ok = data_runs(whole.get(), scratch, &lo, &hi);
      t->data_arrs[t->data_arr_count] = nullptr;
      if (!keep_rows(spans[t->data_arr_count++], whole.get(), lo, hi)) ok = false;
      if (!ok) break;
      if (lo <= hi)
        memcpy(whole.get() + static_cast<size_t>(lo) * rb, blank + static_cast<size_t>(lo) * rb,
               static_cast<size_t>(hi - lo + 1) * rb);
    }
    if (ok) {
      // About one leaf per data array: the table is sized for them at once
      // (within reason: a damaged count must not ask for much).
      leaf_room(2 * static_cast<uint32_t>(ndata < 4096 ? ndata : 4096));
      ok = comp_node(t->root, 1, scratch);
    }
    // What was read stays consistent for release either way.
    if (!pack_rows()) ok = false;
    return ok;
  }
};

template <bool Limited>
void *walk_text(const unsigned char *s, const multi_t *t, int32_t limit, int32_t *bytes, void *handle) {
  return const_cast<unsigned char *>(vls::tree::text_row<Limited>(s, t, limit, bytes, handle));
}

}  // namespace

extern "C" {

VLS_API multi_t *_vl_create_multi(uint32_t data_size, uint32_t tree_flags, const void *default_value) {
  auto *t = static_cast<multi_t *>(_vl_alloc_ptr(sizeof(multi_t)));
  if (!t) return nullptr;
  memset(t, 0, sizeof *t);
  t->data_size = data_size;
  t->max_length = 0;
  t->min_length = 4;
  t->tree_flags = tree_flags | VL_MULTI_ENDS_IN_4;
  int shift = 0;
  while ((uint64_t{1} << shift) < data_size) ++shift;
  t->data_shift = shift;
  t->default_data = static_cast<unsigned char *>(_vl_alloc_ptr(data_size ? data_size : 1));
  t->root = new_node();
  if (t->root) t->root->flags = new_flags(t);
  if (!t->default_data || !t->root || !t->root->flags) {
    _vl_free_ptr(t->default_data);
    if (t->root) _vl_free_ptr(t->root->flags);
    _vl_free_ptr(t->root);
    _vl_free_ptr(t);
    return nullptr;
  }
  if (default_value)
    memcpy(t->default_data, default_value, data_size);
  else
    memset(t->default_data, 0, data_size ? data_size : 1);
  return t;
}

VLS_API int _vl_insert_desc_multi(const vl_desc_t *key, const void *value, multi_t *tree) {
  if (!key || !tree || key->length < 1 || key->length > kMaxKey) return -1;
  if (tree->tree_flags & VL_MULTI_COMPRESSED) return -1;
  if (recursive_insert(tree, tree->root, key, value, 0) != 0) return -1;
  int len = static_cast<int>(key->length);
  if (len > tree->max_length) tree->max_length = len;
  if (len < tree->min_length) tree->min_length = len;
  return 0;
}

VLS_API int _vl_compress_multi(multi_t *tree) {
  if (!tree) return 0;
  if ((tree->tree_flags & VL_MULTI_COMPRESSED) && tree->flag_arrs) return 0;  // already shared
  single_byte_exists(tree);
  tree->tree_flags |= VL_MULTI_COMPRESSED;
  tree->flag_arrs = vls::alloc_array<unsigned char *>(tree->flag_arr_count > 0 ? tree->flag_arr_count : 1);
  if (!tree->flag_arrs) return -1;
  if (tree->data_arr_count > 0) {
    tree->data_arrs = vls::alloc_array<unsigned char *>(tree->data_arr_count);
    if (!tree->data_arrs) {
      _vl_free_ptr(tree->flag_arrs);
      tree->flag_arrs = nullptr;
      return -1;
    }
  }
  Compressor c{tree, Kept(tree->flag_arr_count), Kept(tree->data_arr_count)};
  tree->data_arr_count = 0;
  tree->flag_arr_count = 0;
  c.node(tree->root);
  return 0;
}

VLS_API void _vl_free_multi(multi_t *tree) {
  if (!tree) return;
  bool sharing = (tree->tree_flags & VL_MULTI_COMPRESSED) && tree->flag_arrs;
  if (tree->flag_next_counts) {
    // Read in compressed form: all but the root lies in the arena.
    if (Node *root = tree->root) {
      if (!sharing) {
        _vl_free_ptr(root->flags);
        _vl_free_ptr(root->data);
      }
      _vl_free_ptr(root);
    }
  } else {
    free_node(tree->root, sharing);
    if (sharing) {
      for (int i = 0; i < tree->flag_arr_count; ++i) _vl_free_ptr(tree->flag_arrs[i]);
      if (tree->data_arrs)
        for (int i = 0; i < tree->data_arr_count; ++i) _vl_free_ptr(tree->data_arrs[i]);
    }
  }
  _vl_free_ptr(tree->default_data);
  _vl_free_ptr(tree->flag_arrs);
  _vl_free_ptr(tree->data_arrs);
  free_counts(tree->flag_next_counts);
  _vl_free_ptr(tree);
}

VLS_API int _vl_multi_max_length(const multi_t *tree) { return tree->max_length; }
VLS_API int _vl_multi_min_length(const multi_t *tree) { return tree->min_length; }
VLS_API int _vl_multi_err(const multi_t *tree) { return tree->err; }

VLS_API void _vl_multi_node_count(const multi_t *tree, int32_t *data_count, int32_t *flag_count,
                                  int32_t *offset_count) {
  if (data_count) *data_count = tree->data_arr_count;
  if (flag_count) *flag_count = tree->flag_arr_count;
  if (offset_count) *offset_count = tree->offset_arr_count;
}

VLS_API int _vl_fprintf_multi(void *stream, multi_t *tree, vl_multi_writer writer) {
  if (!stream || !tree) return -1;
  single_byte_exists(tree);
  Printer p{stream, tree, writer};
  p.text("%d %d %d ", tree->max_length, tree->min_length, static_cast<int>(tree->tree_flags));
  p.value(tree->default_data);
  p.text("\n");
  if ((tree->tree_flags & VL_MULTI_COMPRESSED) && tree->flag_arrs) {
    p.text("%d %d\n", tree->flag_arr_count, tree->data_arr_count);
    for (int i = 0; i < tree->flag_arr_count; ++i) fprintf_runs(p, FlagView{tree->flag_arrs[i]});
    const ArenaHead *a = arena_of(tree);
    const unsigned char *held = a ? a->ranges : nullptr;
    for (int i = 0; i < tree->data_arr_count; ++i)
      fprintf_runs(p, DataView{tree, tree->data_arrs[i], held ? held + 2 * i : nullptr});
    fprintf_comp_node(p, tree->root);
  } else {
    fprintf_unc_node(p, tree->root);
  }
  return p.ok ? 0 : -1;
}

VLS_API int _vl_fscanf_multi(void *stream, multi_t *tree, int longest_allowed, vl_multi_reader reader) {
  return vls::scan_multi(stream, tree, longest_allowed, reader, 0);
}

}  // extern "C"

namespace {

template <typename Src>
int scan_multi_from(void *stream, Src &in, multi_t *tree, int longest_allowed, ValueReader values) {
  Lexer<Src> lex{in};
  tree->err = 0;
  tree->max_length = lex.get_int();
  tree->min_length = lex.get_int();
  tree->tree_flags = static_cast<uint32_t>(lex.get_int());
  if (tree->max_length > longest_allowed) {
    tree->err = VL_ETOODEEP;
    return -1;
  }
  lex.skip_space_if_needed();
  Scanner<Src> sc(stream, in, tree, values, longest_allowed < kMaxKey ? longest_allowed : kMaxKey);
  if (!sc.value(tree->default_data)) return -1;
  if (!lex.skip_nl()) return -1;  // err stays 0
  // Lengths a codeset cannot have: the services trust both (terminator
  // widths, the width of small wide values, buffers of the longest).
  bool empty = tree->max_length == 0;
  if (tree->max_length < 0 || tree->min_length < 1 ||
      tree->min_length > kMaxKey || (!empty && tree->min_length > tree->max_length)) {
    tree->err = VL_ETOODEEP;
    return -1;
  }

  if (sc.longest < 1) sc.longest = 1;
  vls::HostPtr<unsigned char> scratch(static_cast<unsigned char *>(_vl_alloc_ptr(data_bytes(tree))));
  bool ok;
  if (!scratch) {
    ok = sc.fail(VL_ENOMEM);
  } else if (tree->tree_flags & VL_MULTI_COMPRESSED) {
    ok = sc.comp_body(scratch.get());
  } else {
    ok = sc.unc_node(tree->root, 1, scratch.get());
  }
  // Every character must lie within the lengths the header claims.
  if (ok && sc.longest_key > 0 && (sc.shortest_key < tree->min_length || sc.longest_key > tree->max_length))
    ok = sc.fail(VL_ENOMEM);
  if (!ok) {
    tree->err = sc.err ? sc.err : VL_ENOMEM;
    return -1;
  }
  return 0;
}

}  // namespace

vls::TreeLoadScope::TreeLoadScope() : outermost_(t_load_pool == nullptr) {
  if (outermost_) t_load_pool = new_pool();
}

vls::TreeLoadScope::~TreeLoadScope() {
  if (!outermost_) return;
  drop_texts(&t_load_texts);
  end_pool_load(t_load_pool);
  t_load_pool = nullptr;
}

int32_t vls::packed_rows_max(const multi_t *t) {
  const ArenaHead *a = t ? arena_of(t) : nullptr;
  if (!a || !a->rows || t->data_size < 2) return -1;
  const size_t rb = row_bytes(t), rows = a->rows_bytes / rb;
  uint16_t most = 0;
  if (rb == 2) {
    // Eight rows at a time, then the rest: with the top bit flipped the
    // order of the values is that of signed lanes.
    typedef int16_t Lanes __attribute__((vector_size(16)));
    constexpr size_t kLanes = sizeof(Lanes) / sizeof(int16_t);
    constexpr int16_t kFlip = INT16_MIN;
    Lanes top = Lanes{} + kFlip;  // 0 in every lane, flipped
    size_t i = 0;
    for (; i + kLanes <= rows; i += kLanes) {
      Lanes v;
      memcpy(&v, a->rows + 2 * i, sizeof v);
      v ^= kFlip;
      top = v > top ? v : top;
    }
    for (size_t k = 0; k < kLanes; ++k) {
      const uint16_t v = static_cast<uint16_t>(top[k] ^ kFlip);
      most = v > most ? v : most;
    }
    for (; i < rows; ++i) {
      uint16_t v;
      memcpy(&v, a->rows + 2 * i, sizeof v);
      most = v > most ? v : most;
    }
  } else {
    for (size_t i = 0; i < rows; ++i) {
      uint16_t v;
      memcpy(&v, a->rows + i * rb, sizeof v);
      most = v > most ? v : most;
    }
  }
  return most;
}

int vls::scan_multi(void *stream, multi_t *tree, int longest_allowed, vl_multi_reader reader, int hex_digits) {
  if (!stream || !tree) return -1;
  const ValueReader values{reader, hex_digits};
  if (FILE *f = vls::owned_file(stream)) {
    FileSource in(f);
    return scan_multi_from(stream, in, tree, longest_allowed, values);
  }
  HostSource in{stream};
  return scan_multi_from(stream, in, tree, longest_allowed, values);
}

extern "C" {

// ---- walks --------------------------------------------------------------------------------

VLS_API void *_vl_retrieve_desc_multi(const vl_desc_t *key, const multi_t *tree) {
  if (!key || !tree || key->length < 1 || key->length > kMaxKey) return nullptr;
  const vls::tree::Walk w = vls::tree::walk(tree, vls::tree::Counted{key->bytes, static_cast<int32_t>(key->length)});
  // The key must end exactly with the character.
  if (!w.ok() || w.bytes != static_cast<int32_t>(key->length)) return nullptr;
  return const_cast<unsigned char *>(vls::tree::row(tree, w));
}

VLS_API void *_vl_retrieve_text_multi(const unsigned char *s, const multi_t *tree, int32_t *bytes, void *handle) {
  return walk_text<false>(s, tree, 0, bytes, handle);
}

VLS_API void *_vl_retrieve_text_multi_nl(const unsigned char *s, const multi_t *tree, void *handle) {
  return walk_text<false>(s, tree, 0, nullptr, handle);
}

VLS_API int _vl_retrieve_text_multi_nv(const unsigned char *s, const multi_t *tree, void *handle) {
  int32_t n = 0;
  return walk_text<false>(s, tree, 0, &n, handle) ? n : 0;
}

VLS_API void *_vl_retrieve_text_multi_limit(const unsigned char *s, const multi_t *tree, int32_t limit,
                                            int32_t *bytes, void *handle) {
  return walk_text<true>(s, tree, limit, bytes, handle);
}

VLS_API void *_vl_retrieve_text_multi_limit_nl(const unsigned char *s, const multi_t *tree, int32_t limit,
                                               void *handle) {
  return walk_text<true>(s, tree, limit, nullptr, handle);
}

// The unit's bytes are walked from the last to the first.
VLS_API void *_vl_retrieve_little_endian_unicode_limit(const unsigned char *s, const multi_t *tree, int32_t limit,
                                                       void *conversion) {
  const conv_object *cv = static_cast<const conv_object *>(conversion);
  // Four-byte units when the source has them (both its lengths 4), or when
  // source and target both go up to 4 bytes.
  const int unit = ((cv->source_min_len == 4 && cv->source_max_len == 4) ||
                    (cv->source_max_len == 4 && cv->target_max_len == 4))
                       ? 4
                       : 2;
  if (limit < unit) {
    vls::set_error(conversion, VL_EINVAL);
    return nullptr;
  }
  struct Backward {
    const unsigned char *s;
    int32_t unit;
    int32_t first() const { return s[unit - 1]; }
    int32_t next(int32_t n) const { return n < unit ? s[unit - 1 - n] : -static_cast<int32_t>(VL_EINVAL); }
  };
  const vls::tree::Walk w = vls::tree::walk(tree, Backward{s, unit});
  if (!w.ok()) {
    vls::set_error(conversion, w.err);
    return nullptr;
  }
  // The row is that of the unit's first byte in the node reached.
  return const_cast<unsigned char *>(held_row(tree, w.node, s[0]));
}

VLS_API void *_vl_retrieve_wchar_multi_nl(void *handle, uint32_t wc, const multi_t *tree) {
  return const_cast<unsigned char *>(vls::tree::wide_row(handle, wc, tree));
}

VLS_API int _vl_desc_eq(const vl_desc_t *a, const vl_desc_t *b) {
  if (a->length != b->length) return 0;
  uint32_t n = a->length < 4 ? a->length : 4;
  return memcmp(a->bytes, b->bytes, n) == 0 ? 1 : 0;
}

VLS_API uint32_t _vl_desc_to_vl_wchar(const vl_desc_t *d) {
  int32_t len = static_cast<int32_t>(d->length);
  if (len <= 0) return 0;
  if (len > 4) len = 4;
  uint32_t v = 0;
  for (int32_t i = 0; i < len; ++i) v = (v << 8) | d->bytes[i];
  return v;
}

VLS_API void _vl_desc_offset(const vl_desc_t *d, int32_t delta, vl_desc_t *result) {
  *result = *d;
  int32_t len = static_cast<int32_t>(d->length);
  if (len > 4) len = 4;
  if (delta >= 0) {
    uint64_t carry = static_cast<uint64_t>(delta);
    for (int32_t i = len - 1; i >= 0 && carry != 0; --i) {
      uint64_t sum = result->bytes[i] + carry;
      result->bytes[i] = static_cast<unsigned char>(sum & 0xFFu);
      carry = sum >> 8;
    }
  } else {
    uint64_t borrow = 0u - static_cast<uint64_t>(static_cast<int64_t>(delta));
    for (int32_t i = len - 1; i >= 0 && borrow != 0; --i) {
      int64_t v = static_cast<int64_t>(result->bytes[i]) - static_cast<int64_t>(borrow & 0xFFu);
      borrow >>= 8;
      if (v < 0) {
        v += 256;
        ++borrow;
      }
      result->bytes[i] = static_cast<unsigned char>(v);
    }
  }
}

}  // extern "C"
