// Codeset conversion objects: the ".cvo" reader, the choice of converter,
// the stateless and stateful converters, and opening by specification, by
// codeset name or through the bridge.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vls/vlscv.h>
#include <vls/vlsmulti.h>
#include <vls/vlsspec.h>
#include <vls/vlsutils.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"
#include "vlswalk.h"

namespace {

constexpr int kHeaderLine = 129;  // 127 characters, the line feed, the NUL
constexpr int32_t kNoLength = 0x7FFFFFFF;
constexpr int kMaxSpec = 1023;

const char kLoaded[] = "CVO file loaded successfully.";
const char kBadText[] = "Error in Translation.";
const char kNoMapping[] = "Error in Translation (VL_EILSEQ)";
const char kNoRoom[] = "Error in Translation (VL_E2BIG)";

bool is_constant(const conv_object *cv) {
  return cv == &vl_cv_nomem || cv == &vl_cv_badarg || cv == &vl_cv_nocs;
}
conv_object *constant(const conv_object &c) { return const_cast<conv_object *>(&c); }

// One line of at most 127 characters and its line feed.
bool header_line(char *line, void *stream) { return _vl_ext_fgets(line, kHeaderLine, stream) && replace_nl(line) == 0; }

int bad_file(conv_object *cv, const char *message = nullptr) {
  if (message) vl_message(message);
  return vls::fail(cv, VL_ENOENT);
}

bool read_header(void *stream, conv_object *cv) {
  char line[kHeaderLine];
  if (!header_line(line, stream) || strcmp(line, "FILE_TYPE=codeset_conversion_object") != 0) {
    bad_file(cv, "Invalid CVO file. Wrong FILE_TYPE.");
    return false;
  }
  if (!header_line(line, stream) || strcmp(line, "COMPILER_VERSION=9") != 0) {
    bad_file(cv, "Invalid CVO file. Wrong Version.");
    return false;
  }
  const char *eq = header_line(line, stream) ? strchr(line, '=') : nullptr;
  if (!eq) return bad_file(cv), false;
  // A count below 3 has no end: the lines run out first.
  long count = strtol(eq + 1, nullptr, 10);
  for (long i = 3; i != count; ++i)
    if (!header_line(line, stream)) return bad_file(cv), false;
  return true;
}

// Reads a tree whose entries hold target_max_len + 1 bytes; null with the
// tree's error number stored on failure.
multi_t *read_tree(void *stream, conv_object *cv) {
  const unsigned char zero[5] = {};
  multi_t *tree = _vl_create_multi(static_cast<uint32_t>(cv->target_max_len + 1), 0, zero);
  if (!tree) {
    vls::set_error(cv, VL_ENOMEM);
    return nullptr;
  }
  if (_vl_fscanf_multi(stream, tree, 4, conv_reader) != 0) {
    // The tree's own reason, 0 included (a default value without its line
    // feed).
    const int err = _vl_multi_err(tree);
    _vl_free_multi(tree);
    vls::set_error(cv, static_cast<uint32_t>(err));
    return nullptr;
  }
  return tree;
}

// ---- the walk shared by the converters -------------------------------------------------------

// Where a conversion stands: the caller's pointers, copied in and written
// back whether the run ends well or not.
struct Run {
  conv_object *cv;
  const unsigned char *s;
  int32_t remaining;
  bool counted;
  char *t;
  int32_t room;
  int32_t *flag;

  Run(conv_object *c, const char **source, int32_t *source_len, char **target, int32_t *r, int32_t *f)
      : cv(c),
        s(reinterpret_cast<const unsigned char *>(*source)),
        remaining(source_len ? *source_len : kNoLength),
        counted(source_len != nullptr),
        t(target ? *target : nullptr),
        room(*r),
        flag(f) {
    if (flag) *flag = 0;
  }
  int finish(int rc, const char **source, int32_t *source_len, char **target, int32_t *r) const {
    *source = reinterpret_cast<const char *>(s);
    if (source_len) *source_len = remaining;
    if (target) *target = t;
    *r = room;
    return rc;
  }
  int fail(const char *message, uint32_t code) const {
    vl_message(message);
    if (code) vls::set_error(cv, code);
    return -1;
  }
  // The checks every converter makes on an entry before it writes; 0 to go on.
  int check(const unsigned char *entry) const {
    if (!entry) return fail(kBadText, 0);  // the look-up stored the reason
    if ((entry[0] & ~VL_CV_COUNT) == 0) return fail(kNoMapping, VL_EILSEQ);
    if ((entry[0] & VL_CV_SETFLAG) && flag) *flag = 1;
    return 0;
  }
  void write(const unsigned char *bytes, int32_t n) {
    if (t) {
      memcpy(t, bytes, static_cast<size_t>(n));
      t += n;
    }
    room -= n;
  }
  // Moves behind a character; true when the run ends here.
  bool step(const unsigned char *entry, int32_t bytes) {
    s += bytes;
    remaining -= bytes;
    return !counted && (entry[0] & VL_CV_TERMINATOR);
  }
  bool ends_with(const unsigned char *entry, int32_t bytes) const {
    return counted ? remaining - bytes < 1 : (entry[0] & VL_CV_TERMINATOR) != 0;
  }
};

// Objects opened by this library carry tables behind the record, built at
// load from the tree: for each byte, whether it alone is a source character
// with a plain one-byte mapping (mapped, no flag to set, not the
// terminator) and that byte; and for each lead byte of two-byte characters,
// 256 packed results (target bytes and their count, 0 for "not plain"). The
// single-byte and multibyte converters run through such characters without
// a walk. The unused reserved word marks the objects that have the tables.
constexpr int32_t kHasFast = 0x43564F46;
constexpr uint16_t kNotPlain = 0x100;
struct FastBytes {
  uint16_t map[256];   // the target byte, or kNotPlain
  uint16_t lead[256];  // 1 + the lead's block in pairs, or 0
  uint32_t *pairs;     // count << 24 | up to three target bytes, most significant first
};
FastBytes *fast_bytes(const conv_object *cv) {
  return cv->reserved2 == kHasFast ? reinterpret_cast<FastBytes *>(const_cast<conv_object *>(cv) + 1) : nullptr;
}
bool plain_entry(const unsigned char *e) {
  return e && (e[0] & ~VL_CV_COUNT) && !(e[0] & (VL_CV_SETFLAG | VL_CV_TERMINATOR));
}
void fill_fast(conv_object *cv, bool single_byte) {
  FastBytes *f = fast_bytes(cv);
  if (!f) return;
  const multi_t *t = cv->tree;
  const vls::tree::Node *root = t->root;
  int leads = 0;
  for (unsigned b = 0; b < 256; ++b) {
    const unsigned char *e = vls::tree::row(t, root, b);
    const unsigned char flag = vls::tree::flag_of(root, b);
    const bool plain = (single_byte || flag == VL_MULTI_COMPLETE) && plain_entry(e) &&
                       (single_byte || (e[0] & VL_CV_COUNT) == 1);
    f->map[b] = plain ? e[1] : kNotPlain;
    f->lead[b] = !single_byte && flag == VL_MULTI_LEADS ? static_cast<uint16_t>(++leads) : 0;
  }
  if (!leads || !(f->pairs = static_cast<uint32_t *>(_vl_ext_calloc(static_cast<size_t>(leads) * 256, 4)))) {
    memset(f->lead, 0, sizeof f->lead);
    return;
  }
  for (unsigned b = 0; b < 256; ++b) {
    if (!f->lead[b]) continue;
    const vls::tree::Node *n = vls::tree::child(root, b);
    uint32_t *block = f->pairs + (f->lead[b] - 1) * 256u;
    for (unsigned c = 0; n && c < 256; ++c) {
      const unsigned char *e = vls::tree::row(t, n, c);
      const int count = e ? e[0] & VL_CV_COUNT : 0;
      if (vls::tree::flag_of(n, c) != VL_MULTI_COMPLETE || !plain_entry(e) || count < 1 || count > 3) continue;
      uint32_t v = static_cast<uint32_t>(count) << 24;
      for (int k = 0; k < count; ++k) v |= static_cast<uint32_t>(e[1 + k]) << (16 - 8 * k);
      block[c] = v;
    }
  }
}
void free_fast(conv_object *cv) {
  if (FastBytes *f = fast_bytes(cv)) _vl_ext_free(f->pairs);
}
// Runs through plain characters as far as the text and the room go.
template <bool Write>
void fast_run(Run &r, const FastBytes *f) {
  const unsigned char *s = r.s;
  unsigned char *t = reinterpret_cast<unsigned char *>(r.t);
  int32_t left = r.remaining, room = r.room;
  const uint16_t *m = f->map;
  while (left >= 1) {
    if (r.counted && left >= 4 && room >= 4) {  // four single bytes at a time (never past a terminator)
      const uint16_t a = m[s[0]], b = m[s[1]], c = m[s[2]], d = m[s[3]];
      if (!((a | b | c | d) & kNotPlain)) {
        if (Write) {
          t[0] = static_cast<unsigned char>(a), t[1] = static_cast<unsigned char>(b);
          t[2] = static_cast<unsigned char>(c), t[3] = static_cast<unsigned char>(d);
          t += 4;
        }
        s += 4, left -= 4, room -= 4;
        continue;
      }
    }
    const uint16_t v = m[*s];
    if (!(v & kNotPlain)) {
      if (room < 1) break;
      if (Write) *t++ = static_cast<unsigned char>(v);
      ++s, --left, --room;
      continue;
    }
    const unsigned lead = f->lead[*s];
    if (!lead || left < 2) break;
    const uint32_t p = f->pairs[(lead - 1) * 256u + s[1]];
    const int32_t n = static_cast<int32_t>(p >> 24);
    if (!p || n > room) break;
    if (Write) {
      t[0] = static_cast<unsigned char>(p >> 16);
      if (n > 1) t[1] = static_cast<unsigned char>(p >> 8);
      if (n > 2) t[2] = static_cast<unsigned char>(p);
      t += n;
    }
    s += 2, left -= 2, room -= n;
  }
  r.s = s, r.remaining = left, r.room = room;
  if (Write) r.t = reinterpret_cast<char *>(t);
}

// The common loop: Lookup gives the entry and its source bytes; Emit checks
// the room and writes (false: no room).
template <typename Lookup, typename Emit>
int convert(conv_object *cv, const char **source, int32_t *source_len, char **target, int32_t *room, int32_t *flag,
            Lookup lookup, Emit emit, const FastBytes *fast = nullptr) {
  if (!source || !*source || !room) return vls::fail(cv, VL_EINVAL);
  Run r(cv, source, source_len, target, room, flag);
  int rc = 0;
  while (r.remaining >= 1) {
    if (fast && (!(fast->map[*r.s] & kNotPlain) || fast->lead[*r.s])) {
      r.t ? fast_run<true>(r, fast) : fast_run<false>(r, fast);
      if (r.remaining < 1) break;
    }
    int32_t bytes = 0;
    const unsigned char *entry = lookup(r, &bytes);
    if ((rc = r.check(entry)) != 0) break;
    if (!emit(r, entry)) {
      rc = r.fail(kNoRoom, VL_E2BIG);
      break;
    }
    if (r.step(entry, bytes)) break;
  }
  return r.finish(rc, source, source_len, target, room);
}

auto tree_lookup(const multi_t *tree) {
  return [tree](Run &r, int32_t *bytes) {
    return vls::tree::text_row<true>(r.s, tree, r.remaining, bytes, r.cv);
  };
}

// The flag byte's count of target bytes.
bool emit_counted(Run &r, const unsigned char *entry) {
  const int32_t n = entry[0] & VL_CV_COUNT;
  if (n > r.room) return false;
  r.write(entry + 1, n);
  return true;
}

bool usable(conv_object *cv) { return cv && !is_constant(cv) && cv->tree; }


}  // namespace

extern "C" {

const conv_object vl_cv_nomem = {VL_ENOMEM, nullptr, 0, 0, {}, 0, 0, {}, 0, 0, 0, 0.0f, {}, nullptr,
                                         nullptr, 0, nullptr, 0, nullptr, 0};
const conv_object vl_cv_badarg = {VL_ENOENT, nullptr, 0, 0, {}, 0, 0, {}, 0, 0, 0, 0.0f, {}, nullptr,
                                          nullptr, 0, nullptr, 0, nullptr, 0};
const conv_object vl_cv_nocs = {VL_EINVAL, nullptr, 0, 0, {}, 0, 0, {}, 0, 0, 0, 0.0f, {}, nullptr,
                                        nullptr, 0, nullptr, 0, nullptr, 0};

// No checking: a character that is not a digit counts as its lower-case
// value less 87.
VLS_API int hextoi(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'Z') c += 'a' - 'A';
  return c - 87;
}

VLS_API int conv_reader(void *stream, void *target, uint32_t data_size) {
  auto *entry = static_cast<unsigned char *>(target);
  auto byte = [stream]() {
    int hi = _vl_ext_getc(stream);
    int lo = _vl_ext_getc(stream);
    if (hi == EOF || lo == EOF) return -1;
    return ((hextoi(hi) << 4) + hextoi(lo)) & 0xFF;
  };
  int flags = byte();
  if (flags < 0 || data_size < 1) return -1;
  const uint32_t count = static_cast<uint32_t>(flags) & VL_CV_COUNT;
  // An entry cannot hold more target bytes than the object's longest.
  if (count + 1 > data_size) return -1;
  memset(entry, 0, data_size);
  entry[0] = static_cast<unsigned char>(flags);
  for (uint32_t i = 1; i <= count; ++i) {
    int b = byte();
    if (b < 0) return -1;
    entry[i] = static_cast<unsigned char>(b);
  }
  return 0;
}

// One hex digit of length, then that many bytes as pairs of hex digits.
VLS_API int read_mchar(void *stream, int32_t *length, unsigned char *bytes) {
  int c = _vl_ext_getc(stream);
  if (c == EOF) return -1;
  const int n = hextoi(c);
  if (n < 0 || n > 4) return -1;  // a sequence holds at most four bytes
  for (int i = 0; i < n; ++i) {
    int hi = _vl_ext_getc(stream);
    int lo = _vl_ext_getc(stream);
    if (hi == EOF || lo == EOF) return -1;
    bytes[i] = static_cast<unsigned char>((hextoi(hi) << 4) + hextoi(lo));
  }
  *length = n;
  return 0;
}

VLS_API int read_cv_file(void *stream, conv_object *cv) {
  if (!cv) return -1;
  if (!stream) return vls::fail(cv, VL_ENOENT);
  if (!read_header(stream, cv)) return -1;
  cv->source_stateful = _vl_get_int(stream);
  cv->target_stateful = _vl_get_int(stream);
  if (!_vl_skip_nl(stream)) return -1;
  for (int i = 0; i < 4; ++i)
    if (read_mchar(stream, &cv->shift_len[i], cv->shift_seq[i]) != 0) return vls::fail(cv, VL_ENOENT);
  if (!_vl_skip_nl(stream)) return -1;
  int32_t *lengths[6] = {&cv->target_min_len, &cv->target_max_len, &cv->spare_len[0],
                         &cv->spare_len[1],   &cv->source_min_len, &cv->source_max_len};
  for (int32_t *p : lengths) *p = _vl_get_int(stream);
  if (!_vl_skip_nl(stream)) return -1;
  cv->partial_map = _vl_get_int(stream);
  if (!_vl_skip_nl(stream)) return -1;
  cv->expansion = static_cast<float>(_vl_get_dbl(stream));
  if (!_vl_skip_nl(stream)) return -1;
  if (cv->target_max_len < 1 || cv->target_max_len > 4) {
    vl_message("cv->target_max_len should be in range 1..4");
    cv->tree = nullptr;
    return -1;
  }
  // The other lengths only choose the converter: none of them steps or
  // writes by a length the entries do not hold, so any value is taken.
  if (!(cv->tree = read_tree(stream, cv))) return -1;
  if (cv->source_stateful && !(cv->shifted_tree = read_tree(stream, cv))) return -1;
  cv->reserved1 = 0;
  _vl_ext_fclose(stream);
  set_iconv_fps(cv);
  vl_message(kLoaded);
  return 0;
}

VLS_API void set_iconv_fps(conv_object *cv) {
  auto fixed = [](int32_t lo, int32_t hi) { return (lo == 2 && hi == 2) || (lo == 4 && hi == 4); };
  cv->sb_table = nullptr;
  if (!cv->source_stateful && fixed(cv->source_min_len, cv->source_max_len)) {
    cv->converter = little_endian_unicode_source_miconv;
  } else if (!cv->target_stateful && fixed(cv->target_min_len, cv->target_max_len)) {
    cv->converter = little_endian_unicode_target_miconv;
  } else if (!cv->source_stateful && !cv->target_stateful && cv->source_max_len == 1 && cv->target_max_len == 1) {
    cv->converter = sb_miconv;
    fill_fast(cv, true);
    if (cv->partial_map == 0 && (cv->sb_table = static_cast<unsigned char *>(_vl_ext_calloc(256, 1)))) {
      // One run over the bytes in order; it stops at the first byte with no
      // mapping. The object's error number is kept.
      unsigned char bytes[256];
      for (int i = 0; i < 256; ++i) bytes[i] = static_cast<unsigned char>(i);
      const char *s = reinterpret_cast<const char *>(bytes);
      char *t = reinterpret_cast<char *>(cv->sb_table);
      int32_t len = 256, room = 256, flag = 0;
      const int32_t err = cv->vl_errno;
      sb_miconv(cv, &s, &len, &t, &room, &flag);
      cv->vl_errno = err;
    }
  } else {
    cv->converter = mb_miconv;
    fill_fast(cv, false);
  }
}

// ---- converters ------------------------------------------------------------------------------

VLS_API int mb_miconv(conv_object *cv, const char **source, int32_t *source_len, char **target, int32_t *room,
                      int32_t *flag) {
  if (!usable(cv)) return -1;
  return convert(cv, source, source_len, target, room, flag, tree_lookup(cv->tree), emit_counted, fast_bytes(cv));
}

VLS_API int sb_miconv(conv_object *cv, const char **source, int32_t *source_len, char **target, int32_t *room,
                      int32_t *flag) {
  if (!usable(cv)) return -1;
  const multi_t *tree = cv->tree;
  auto lookup = [tree](Run &r, int32_t *bytes) -> const unsigned char * {
    *bytes = 1;
    const unsigned char *entry = vls::tree::row(tree, tree->root, *r.s);
    if (!entry) vls::set_error(r.cv, VL_EILSEQ);
    return entry;
  };
  auto emit = [](Run &r, const unsigned char *entry) {
    if (r.room < 1) return false;
    r.write(entry + 1, 1);
    return true;
  };
  return convert(cv, source, source_len, target, room, flag, lookup, emit, fast_bytes(cv));
}

VLS_API int little_endian_unicode_source_miconv(conv_object *cv, const char **source, int32_t *source_len,
                                                char **target, int32_t *room, int32_t *flag) {
  if (!usable(cv)) return -1;
  // The unit the look-up takes (see _vl_retrieve_little_endian_unicode_limit).
  const int32_t unit = ((cv->source_min_len == 4 && cv->source_max_len == 4) ||
                        (cv->source_max_len == 4 && cv->target_max_len == 4))
                           ? 4
                           : 2;
  const multi_t *tree = cv->tree;
  auto lookup = [tree, unit](Run &r, int32_t *bytes) {
    *bytes = unit;
    return static_cast<const unsigned char *>(_vl_retrieve_little_endian_unicode_limit(r.s, tree, r.remaining, r.cv));
  };
  return convert(cv, source, source_len, target, room, flag, lookup, emit_counted);
}

VLS_API int little_endian_unicode_target_miconv(conv_object *cv, const char **source, int32_t *source_len,
                                                char **target, int32_t *room, int32_t *flag) {
  if (!usable(cv)) return -1;
  const int32_t unit = (cv->target_min_len == 4 && cv->target_max_len == 4) ? 4 : 2;
  // The count in the flag byte is not read: the unit's bytes go out least
  // significant first. Room below 2 is refused for either unit; a four-byte
  // unit into a buffer of 2 or 3 is refused as well rather than written past
  // it (measuring still takes the room below zero).
  auto emit = [unit](Run &r, const unsigned char *entry) {
    if (r.room < 2 || (r.t && r.room < unit)) return false;
    unsigned char out[4];
    for (int32_t i = 0; i < unit; ++i) out[i] = entry[unit - i];
    r.write(out, unit);
    return true;
  };
  return convert(cv, source, source_len, target, room, flag, tree_lookup(cv->tree), emit);
}

VLS_API int mb_smiconv(conv_object *cv, conv_state *state, const char **source, int32_t *source_len, char **target,
                       int32_t *room, int32_t *flag) {
  if (!usable(cv)) return -1;
  if (!state) return vls::fail(cv, VL_EINVAL);
  if (state->first) state->source_shifted = state->target_shifted = 0;
  if (cv->source_stateful && !cv->shifted_tree) return vls::fail(cv, VL_EINVAL);
  auto lookup = [cv, state](Run &r, int32_t *bytes) {
    const multi_t *tree = state->source_shifted ? cv->shifted_tree : cv->tree;
    return vls::tree::text_row<true>(r.s, tree, r.remaining, bytes, r.cv);
  };
  int32_t bytes_now = 0;
  auto counted_lookup = [&](Run &r, int32_t *bytes) {
    const unsigned char *e = lookup(r, bytes);
    bytes_now = *bytes;
    return e;
  };
  // The state changes only when the character is written, so that a run
  // stopped for room resumes from the same state.
  auto emit = [cv, state, &bytes_now](Run &r, const unsigned char *entry) {
    const int32_t n = entry[0] & VL_CV_COUNT;
    const bool shifted = (entry[0] & VL_CV_SHIFTED) != 0;
    const unsigned char *open = nullptr;
    int32_t open_len = 0, close_len = 0;
    if (shifted != (state->target_shifted != 0)) {
      const int seq = shifted ? 0 : 1;
      open = cv->shift_seq[seq];
      open_len = cv->shift_len[seq];
    }
    if (state->last && shifted && r.ends_with(entry, bytes_now)) close_len = cv->shift_len[1];
    if (open_len + n + close_len > r.room) return false;
    if (open_len) r.write(open, open_len);
    r.write(entry + 1, n);
    if (close_len) r.write(cv->shift_seq[1], close_len);
    state->target_shifted = shifted ? 1 : 0;
    if (entry[0] & VL_CV_TOGGLE) state->source_shifted = !state->source_shifted;
    return true;
  };
  return convert(cv, source, source_len, target, room, flag, counted_lookup, emit);
}

VLS_API int vl_cv_mconv(conv_object *cv, conv_state *state, const char **source, int32_t *source_len, char **target,
                        int32_t *room, int32_t *flag) {
  if (!cv || is_constant(cv)) return -1;
  if (cv->bridge_bound == 1) {
    int16_t status = 0;
    if (!fn_vlu_cv_conv) return vls::fail(cv, VL_ENOTSUP);
    int rc = fn_vlu_cv_conv(cv->bridge_converter, state ? state->last : 1, source, source_len, target, room, flag,
                            &status);
    if (status > 0) vls::set_error(cv, static_cast<uint32_t>(status));
    return rc;
  }
  if (!cv->source_stateful && !cv->target_stateful) {
    if (!cv->converter) return -1;
    return cv->converter(cv, source, source_len, target, room, flag);
  }
  conv_state local{1, 1, 0, 0};
  return mb_smiconv(cv, state ? state : &local, source, source_len, target, room, flag);
}

VLS_API int vl_miconv(conv_object *cv, const char **source, int32_t *source_len, char **target, int32_t *room,
                      int32_t *flag) {
  return vl_cv_mconv(cv, nullptr, source, source_len, target, room, flag);
}

VLS_API int vl_mconvlen(conv_object *cv, conv_state *state, const char **source, int32_t *source_len, int32_t *room,
                        int32_t *flag) {
  return vl_cv_mconv(cv, state, source, source_len, nullptr, room, flag);
}

VLS_API float vl_iconv_expansion(conv_object *cv) {
  if (!cv) return 1.0f;
  if (cv->bridge_bound == 1 && fn_vlu_iconv_expansion) return fn_vlu_iconv_expansion(cv->bridge_converter);
  return cv->expansion;
}

VLS_API int32_t vl_cv_outbuflen(conv_object *cv, int32_t length) {
  const float e = vl_iconv_expansion(cv);
  int32_t whole = static_cast<int32_t>(e);
  if (e - static_cast<float>(whole) > 0.0f) ++whole;
  return whole * length;
}

VLS_API const vl_cv_version_t *vl_cv_version(void) {
  static const vl_cv_version_t version = {9, 1, 0, "libvls codeset conversion 1.0 (cvo 9)"};
  return &version;
}

// ---- opening and closing ---------------------------------------------------------------------

VLS_API int vl_cv_unload(conv_object *cv) {
  if (!cv) return -1;
  if (is_constant(cv)) return 0;
  if (cv->bridge_bound == 1) {
    cv->bridge_bound = 0;
    if (fn_vlu_cv_close) fn_vlu_cv_close(cv->bridge_converter);
    cv->bridge_converter = nullptr;
    _vl_free_ptr(cv);
    return 0;
  }
  _vl_free_multi(cv->tree);
  _vl_free_multi(cv->shifted_tree);
  _vl_ext_free(cv->sb_table);
  free_fast(cv);
  _vl_free_ptr(cv);
  return 0;
}

// The codeset part of a specification: behind the first ".", up to a
// blank, "@" or the end. 0, or -1 when it is empty or 1023 characters long.
VLS_API int lc_spec2cs_name(const char *spec, char *name) {
  name[0] = '\0';
  const char *dot = spec ? strchr(spec, '.') : nullptr;
  if (!dot) return -1;
  size_t n = strcspn(dot + 1, " @");
  if (n == 0 || n >= static_cast<size_t>(kMaxSpec)) return -1;
  memcpy(name, dot + 1, n);
  name[n] = '\0';
  return 0;
}

static conv_object *new_object() {
  auto *cv = static_cast<conv_object *>(_vl_ext_calloc(1, sizeof(conv_object) + sizeof(FastBytes)));
  if (cv) cv->reserved2 = kHasFast;
  return cv;
}

// The bridge's converter for the pair, when the bridge offers it: 1 bound,
// 0 not offered, -1 refused with *status positive.
static int bridge_open(conv_object *cv, uint16_t from, uint16_t to, int16_t *status) {
  *status = 0;
  if (!fn_vlu_useIcuCvtCall || fn_vlu_useIcuCvtCall(pMap, from, to, 0, status) != 1) return 0;
  if (*status > 0) return -1;
  cv->bridge_converter = fn_vlu_cv_open ? fn_vlu_cv_open(pMap, from, to, status) : nullptr;
  cv->bridge_bound = 1;
  return *status > 0 ? -1 : 1;
}

VLS_API int vl_cv_load(conv_object **out, const char *source_spec, const char *target_spec, const char *registry,
                       const char *directory) {
  if (!out) return -1;
  struct {
    uint32_t vl_errno;
  } scratch{0};
  if (!source_spec || !target_spec || vl_init_vlu(&scratch) != 0) {
    *out = constant(vl_cv_badarg);
    return -1;
  }
  const uint16_t from = vl_lc_spec2cs_num(&scratch, source_spec, registry);
  const uint16_t to = vl_lc_spec2cs_num(&scratch, target_spec, registry);
  if (from == 0xE000 || to == 0xE000) {
    *out = constant(vl_cv_nocs);
    return -1;
  }
  if (from == to) {
    *out = nullptr;
    return 0;
  }
  const size_t size = (directory ? strlen(directory) : 0) + 14;
  vls::HostPtr<char> name(static_cast<char *>(_vl_alloc_ptr(size)));
  conv_object *cv = name ? new_object() : nullptr;
  if (!cv) {
    *out = constant(vl_cv_nomem);
    return -1;
  }
  *out = cv;
  vl_cs_nums2cv_fname(&scratch, to, from, name.get(), directory);
  if (unicode_collate == 1) {
    int16_t status = 0;
    int rc = bridge_open(cv, from, to, &status);
    if (rc < 0) return vls::fail(cv, VL_ENOENT);
    if (rc > 0) return 1;
  }
  vls::HostFile file(directory ? vl_open_file(cv, name.get()) : vl_path_search(cv, name.get(), "cv", "9"));
  if (read_cv_file(file.get(), cv) != 0) return -1;
  file.release();  // closed by the reader
  return 1;
}

VLS_API int vl_iconv_open1(conv_object **out, const char *file_name) {
  if (!out) return -1;
  conv_object *cv = new_object();
  if (!cv) {
    *out = constant(vl_cv_nomem);
    return -1;
  }
  *out = cv;
  cv->bridge_converter = nullptr;
  cv->bridge_bound = 0;
  vls::HostFile file(vl_path_search(cv, file_name, "cv", "9"));
  if (read_cv_file(file.get(), cv) != 0) return -1;
  file.release();
  return 0;
}

VLS_API int vl_iconv_open(conv_object **out, const char *source_name, const char *target_name) {
  if (!out) return -1;
  if (!source_name || !target_name || strcmp(source_name, target_name) == 0 ||
      strlen(source_name) + 1 + strlen(target_name) + 1 + 4 >= 1025) {
    *out = constant(vl_cv_badarg);
    return -1;
  }
  char name[1025];
  snprintf(name, sizeof name, "%s_%s.cvo", target_name, source_name);
  return vl_iconv_open1(out, name);
}

VLS_API int vl_cv_open(conv_object **out, const char *source_spec, const char *target_spec) {
  if (!out) return -1;
  char from_name[kMaxSpec + 1], to_name[kMaxSpec + 1];
  if (lc_spec2cs_name(source_spec, from_name) != 0 || lc_spec2cs_name(target_spec, to_name) != 0) {
    *out = constant(vl_cv_badarg);
    return -1;
  }
  if (strcmp(from_name, to_name) == 0) {
    *out = nullptr;
    return 0;
  }
  struct {
    uint32_t vl_errno;
  } scratch{0};
  const uint16_t from = vl_lc_spec2cs_num(&scratch, source_spec, nullptr);
  const uint16_t to = vl_lc_spec2cs_num(&scratch, target_spec, nullptr);
  int16_t status = 0;
  if (from != 0xE000 && to != 0xE000 && fn_vlu_useIcuCvtCall &&
      fn_vlu_useIcuCvtCall(pMap, from, to, 0, &status) == 1) {
    conv_object *cv = new_object();
    if (!cv) {
      *out = constant(vl_cv_nomem);
      return -1;
    }
    *out = cv;
    if (status > 0) return vls::fail(cv, static_cast<uint32_t>(status));
    cv->bridge_converter = fn_vlu_cv_open ? fn_vlu_cv_open(pMap, from, to, &status) : nullptr;
    cv->bridge_bound = 1;
    if (status > 0) return vls::fail(cv, static_cast<uint32_t>(status));
    return 1;
  }
  return vl_iconv_open(out, from_name, to_name) < 0 ? -1 : 1;
}

}  // extern "C"
