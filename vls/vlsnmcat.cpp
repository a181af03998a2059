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

}  // extern "C"
