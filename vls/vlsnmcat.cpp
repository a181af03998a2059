// Numeric, monetary and messages categories: the shared field run and the
// caller-visible conventions.
#include <cstring>

#include <vls/vlscat.h>

#include "vlsint.h"

namespace {

void free_pair(vl_string_pair &p) {
  _vl_free_ptr(p.mb);
  _vl_free_ptr(p.wc);
  p.mb = nullptr;
  p.wc = nullptr;
}
void clear_pair(vl_string_pair &p) { p.mb = nullptr, p.wc = nullptr; }

template <typename F>
void numeric_pairs(vl_nmm_block *b, F f) {
  f(b->decimal_point);
  f(b->thousands_sep);
  f(b->num_positive_sign);
  f(b->num_negative_sign);
}
template <typename F>
void monetary_pairs(vl_nmm_block *b, F f) {
  f(b->int_curr_symbol);
  f(b->currency_symbol);
  f(b->mon_decimal_point);
  f(b->mon_thousands_sep);
  f(b->positive_sign);
  f(b->negative_sign);
}
template <typename F>
void messages_pairs(vl_nmm_block *b, F f) {
  f(b->yesexpr);
  f(b->noexpr);
  f(b->yesstr);
  f(b->nostr);
}

}  // namespace

extern "C" {

VLS_API void _vl_init_numeric(vl_nmm_block *b) {
  numeric_pairs(b, clear_pair);
  memset(b->grouping, 0, sizeof b->grouping);
}

VLS_API void _vl_init_monetary(vl_nmm_block *b) {
  monetary_pairs(b, clear_pair);
  memset(b->mon_grouping, 0, sizeof b->mon_grouping);
  b->int_frac_digits = b->frac_digits = VL_ABSENT_INT;
  b->p_cs_precedes = b->p_sep_by_space = VL_ABSENT_INT;
  b->n_cs_precedes = b->n_sep_by_space = VL_ABSENT_INT;
  b->p_sign_posn = b->n_sign_posn = VL_ABSENT_INT;
}

VLS_API void _vl_init_messages(vl_nmm_block *b) { messages_pairs(b, clear_pair); }

VLS_API void free_numeric(vl_nmm_block *b) { numeric_pairs(b, free_pair); }
VLS_API void free_monetary(vl_nmm_block *b) { monetary_pairs(b, free_pair); }
VLS_API void free_messages(vl_nmm_block *b) { messages_pairs(b, free_pair); }

VLS_API void _vl_copy_numeric(vl_nmm_block *t, const vl_nmm_block *s) {
  t->decimal_point = s->decimal_point;
  t->thousands_sep = s->thousands_sep;
  memcpy(t->grouping, s->grouping, sizeof t->grouping);
  t->num_positive_sign = s->num_positive_sign;
  t->num_negative_sign = s->num_negative_sign;
}

VLS_API void _vl_copy_monetary(vl_nmm_block *t, const vl_nmm_block *s) {
  t->int_curr_symbol = s->int_curr_symbol;
  t->currency_symbol = s->currency_symbol;
  t->mon_decimal_point = s->mon_decimal_point;
  t->mon_thousands_sep = s->mon_thousands_sep;
  memcpy(t->mon_grouping, s->mon_grouping, sizeof t->mon_grouping);
  t->positive_sign = s->positive_sign;
  t->negative_sign = s->negative_sign;
  t->int_frac_digits = s->int_frac_digits;
  t->frac_digits = s->frac_digits;
  t->p_cs_precedes = s->p_cs_precedes;
  t->p_sep_by_space = s->p_sep_by_space;
  t->n_cs_precedes = s->n_cs_precedes;
  t->n_sep_by_space = s->n_sep_by_space;
  t->p_sign_posn = s->p_sign_posn;
  t->n_sign_posn = s->n_sign_posn;
}

VLS_API void _vl_copy_messages(vl_nmm_block *t, const vl_nmm_block *s) {
  t->yesexpr = s->yesexpr;
  t->noexpr = s->noexpr;
  t->yesstr = s->yesstr;
  t->nostr = s->nostr;
}

VLS_API void init_vlconv_numeric(vlconv *c) {
  c->decimal_point = nullptr;
  c->w_decimal_point = nullptr;
  c->thousands_sep = nullptr;
  c->w_thousands_sep = nullptr;
  c->grouping = nullptr;
  c->num_positive_sign = nullptr;
  c->w_num_positive_sign = nullptr;
  c->num_negative_sign = nullptr;
  c->w_num_negative_sign = nullptr;
}

VLS_API void init_vlconv_monetary(vlconv *c) {
  c->int_curr_symbol = nullptr;
  c->w_int_curr_symbol = nullptr;
  c->currency_symbol = nullptr;
  c->w_currency_symbol = nullptr;
  c->mon_decimal_point = nullptr;
  c->w_mon_decimal_point = nullptr;
  c->mon_thousands_sep = nullptr;
  c->w_mon_thousands_sep = nullptr;
  c->mon_grouping = nullptr;
  c->positive_sign = nullptr;
  c->w_positive_sign = nullptr;
  c->negative_sign = nullptr;
  c->w_negative_sign = nullptr;
}

VLS_API void free_vlconv_numeric(vlconv *c) {
  void *ptrs[] = {c->decimal_point, c->w_decimal_point,     c->thousands_sep,       c->w_thousands_sep, c->grouping,
                  c->num_positive_sign, c->w_num_positive_sign, c->num_negative_sign, c->w_num_negative_sign};
  for (void *p : ptrs) _vl_free_ptr(p);
  init_vlconv_numeric(c);
}

VLS_API void free_vlconv_monetary(vlconv *c) {
  void *ptrs[] = {c->int_curr_symbol,   c->w_int_curr_symbol,   c->currency_symbol,   c->w_currency_symbol,
                  c->mon_decimal_point, c->w_mon_decimal_point, c->mon_thousands_sep, c->w_mon_thousands_sep,
                  c->mon_grouping,      c->positive_sign,       c->w_positive_sign,   c->negative_sign,
                  c->w_negative_sign};
  for (void *p : ptrs) _vl_free_ptr(p);
  init_vlconv_monetary(c);
}

VLS_API vlconv *vl_localeconv(vl_locale_t *h) { return &h->vlconv; }

// ---- section readers ------------------------------------------------------------

static constexpr int32_t kMaxLocaleString = 1 << 20;

VLS_API char *str_readallc(void *stream, int32_t *err) {
  int32_t count = _vl_get_int(stream);
  if (count < 0) count = 0;  // the compiler never writes one
  if (count > kMaxLocaleString) {  // no locale string comes near this: damage
    *err = VL_ENOMEM;
    return nullptr;
  }
  _vl_skip_space_if_needed(stream);
  char *block = static_cast<char *>(_vl_alloc_ptr(static_cast<size_t>(count) + 4));
  if (!block) {
    *err = VL_ENOMEM;
    return nullptr;
  }
  vls::ByteReader in(stream);
  for (int32_t i = 0; i < count; ++i) {
    int hi = in.getc();
    int lo = hi == EOF ? EOF : in.getc();
    if (lo == EOF) {  // the text ends inside the string: no line feed will follow
      _vl_free_ptr(block);
      *err = VL_ENOENT;
      return nullptr;
    }
    block[i] = static_cast<char>(vls::hex_value(hi) * 16 + vls::hex_value(lo));
  }
  memset(block + count, 0, 4);
  if (!_vl_skip_nl(stream)) {
    _vl_free_ptr(block);
    *err = VL_ENOENT;
    return nullptr;
  }
  return block;
}

VLS_API int read_group(void *stream, int32_t *words, int32_t *err) {
  int32_t count = _vl_get_int(stream);
  words[0] = count;
  for (int32_t i = 1; i <= count; ++i) {
    if (i >= VL_GROUP_WORDS) {
      if (*err == 0) *err = VL_EBADCOUNT;
      return -1;
    }
    words[i] = _vl_get_int(stream);
    _vl_skip_space_if_needed(stream);
  }
  if (!_vl_skip_nl(stream)) {
    if (*err == 0) *err = VL_EBADFILE;
    return -1;
  }
  return 0;
}

VLS_API int _vl_read_numeric(void *stream, vl_nmm_block *b, int32_t *err) {
  if (!err) return -1;
  numeric_pairs(b, clear_pair);
  if (!(b->decimal_point.mb = str_readallc(stream, err))) return -1;
  if (!(b->thousands_sep.mb = str_readallc(stream, err))) return -1;
  if (read_group(stream, b->grouping, err) != 0) return -1;
  if (!(b->num_positive_sign.mb = str_readallc(stream, err))) return -1;
  if (!(b->num_negative_sign.mb = str_readallc(stream, err))) return -1;
  return 0;
}

VLS_API int _vl_read_monetary(void *stream, vl_nmm_block *b, int32_t *err) {
  if (!err) return -1;
  monetary_pairs(b, clear_pair);
  // The four strings do not stop one another; a failure among them takes
  // effect at the first integer.
  b->int_curr_symbol.mb = str_readallc(stream, err);
  b->currency_symbol.mb = str_readallc(stream, err);
  b->mon_decimal_point.mb = str_readallc(stream, err);
  b->mon_thousands_sep.mb = str_readallc(stream, err);
  if (read_group(stream, b->mon_grouping, err) != 0) return -1;
  b->positive_sign.mb = str_readallc(stream, err);
  b->negative_sign.mb = str_readallc(stream, err);
  int32_t *ints[] = {&b->int_frac_digits, &b->frac_digits,    &b->p_cs_precedes, &b->p_sep_by_space,
                     &b->n_cs_precedes,   &b->n_sep_by_space, &b->p_sign_posn,   &b->n_sign_posn};
  for (int i = 0; i < 8; ++i) {
    if ((i == 0 || i == 6) && *err != 0) return -1;
    *ints[i] = _vl_get_int(stream);
    if (!_vl_skip_nl(stream)) {
      if (*err == 0) *err = VL_EBADFILE;
      return -1;
    }
  }
  return 0;
}

VLS_API int _vl_read_messages(void *stream, vl_nmm_block *b, int32_t *err) {
  if (!err) return -1;
  messages_pairs(b, clear_pair);
  if (!(b->yesexpr.mb = str_readallc(stream, err))) return -1;
  if (!(b->noexpr.mb = str_readallc(stream, err))) return -1;
  if (!(b->yesstr.mb = str_readallc(stream, err))) return -1;
  if (!(b->nostr.mb = str_readallc(stream, err))) return -1;
  return 0;
}

// ---- finishers -----------------------------------------------------------------

VLS_API int alloc_wc_from_mb(vl_locale_t *h, const char *mb, vl_wchar **wide) {
  *wide = nullptr;
  if (!mb) return 0;
  int32_t n = static_cast<int32_t>(vls::mb_length(mb)) + 1;
  vl_wchar *w = vls::alloc_array<vl_wchar>(static_cast<size_t>(n));
  if (!w) {
    vls::set_error(h, VL_ENOMEM);
    return -1;
  }
  if (!h->mbstowcs_fn || h->mbstowcs_fn(h, w, mb, n) < 0) {
    _vl_free_ptr(w);
    return -1;
  }
  *wide = w;
  return 0;
}

namespace {

char *mbscpy(const char *s) {
  if (!s) return nullptr;
  size_t n = vls::mb_length(s);
  if (n > 255) return nullptr;
  char *c = static_cast<char *>(_vl_alloc_ptr(n + 4));
  if (c) memcpy(c, s, n + 4);
  return c;
}

char *grpcpy(const int32_t *words) {
  int32_t count = words[0];
  if (count < 1 || count > 255) return nullptr;
  if (count > VL_GROUP_WORDS - 1) count = VL_GROUP_WORDS - 1;
  char *g = static_cast<char *>(_vl_alloc_ptr(static_cast<size_t>(count) + 1));
  if (!g) return nullptr;
  for (int32_t i = 0; i < count; ++i) g[i] = static_cast<char>(words[i + 1] & 0xFF);
  g[count] = 0;
  return g;
}

signed char int_byte(int32_t v) { return v == VL_ABSENT_INT ? 127 : static_cast<signed char>(v & 0xFF); }

void conv_pair(vl_locale_t *h, const vl_string_pair &from, char *&mb, vl_wchar *&wc) {
  mb = mbscpy(from.mb);
  alloc_wc_from_mb(h, mb, &wc);
}

// Steps shared by the three finishers; 1 to go on, otherwise the result.
int finisher_start(vl_locale_t *h) {
  if (!h->ctype.ctype_tree) return -1;
  if (vls::ready_to_widen(h) != 0) return -1;
  if (h->ctype.ctype_tree->max_length <= 0) {
    vls::set_error(h, VL_ECATINIT);
    return 0;
  }
  return 1;
}

}  // namespace

VLS_API void load_vlconv_numeric(vl_locale_t *h) {
  vlconv &c = h->vlconv;
  const vl_nmm_block &b = h->nmm;
  conv_pair(h, b.decimal_point, c.decimal_point, c.w_decimal_point);
  conv_pair(h, b.thousands_sep, c.thousands_sep, c.w_thousands_sep);
  c.grouping = grpcpy(b.grouping);
  conv_pair(h, b.num_positive_sign, c.num_positive_sign, c.w_num_positive_sign);
  conv_pair(h, b.num_negative_sign, c.num_negative_sign, c.w_num_negative_sign);
}

VLS_API void load_vlconv_monetary(vl_locale_t *h) {
  vlconv &c = h->vlconv;
  const vl_nmm_block &b = h->nmm;
  conv_pair(h, b.int_curr_symbol, c.int_curr_symbol, c.w_int_curr_symbol);
  conv_pair(h, b.currency_symbol, c.currency_symbol, c.w_currency_symbol);
  conv_pair(h, b.mon_decimal_point, c.mon_decimal_point, c.w_mon_decimal_point);
  conv_pair(h, b.mon_thousands_sep, c.mon_thousands_sep, c.w_mon_thousands_sep);
  c.mon_grouping = grpcpy(b.mon_grouping);
  conv_pair(h, b.positive_sign, c.positive_sign, c.w_positive_sign);
  conv_pair(h, b.negative_sign, c.negative_sign, c.w_negative_sign);
  c.int_frac_digits = int_byte(b.int_frac_digits);
  c.frac_digits = int_byte(b.frac_digits);
  c.p_cs_precedes = int_byte(b.p_cs_precedes);
  c.p_sep_by_space = int_byte(b.p_sep_by_space);
  c.n_cs_precedes = int_byte(b.n_cs_precedes);
  c.n_sep_by_space = int_byte(b.n_sep_by_space);
  c.p_sign_posn = int_byte(b.p_sign_posn);
  c.n_sign_posn = int_byte(b.n_sign_posn);
}

VLS_API int init_numeric_info(vl_locale_t *h) {
  if (int r = finisher_start(h); r != 1) return r;
  numeric_pairs(&h->nmm, [h](vl_string_pair &p) { alloc_wc_from_mb(h, p.mb, &p.wc); });
  free_vlconv_numeric(&h->vlconv);
  load_vlconv_numeric(h);
  return 1;
}

VLS_API int init_monetary_info(vl_locale_t *h) {
  if (int r = finisher_start(h); r != 1) return r;
  monetary_pairs(&h->nmm, [h](vl_string_pair &p) { alloc_wc_from_mb(h, p.mb, &p.wc); });
  free_vlconv_monetary(&h->vlconv);
  load_vlconv_monetary(h);
  return 1;
}

VLS_API int init_message_info(vl_locale_t *h) {
  if (int r = finisher_start(h); r != 1) return r;
  messages_pairs(&h->nmm, [h](vl_string_pair &p) { alloc_wc_from_mb(h, p.mb, &p.wc); });
  return 1;
}

}  // extern "C"
