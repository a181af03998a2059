/* Collation: comparisons and sort keys. */
#ifndef VLS_VLSCOLL_H
#define VLS_VLSCOLL_H

#include <stdint.h>
#include <vls/vls.h>
#include <vls/vlsmulti.h>

VLS_BEGIN_DECLS

VLS_API int vl_full_mbsxfrm(vl_locale_t *h, char *target, const char *source, int32_t size);
VLS_API int _vl_im_mbscoll(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_im_mbfscoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_exp(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_exp(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_elem(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_elem(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_back(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_back(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_exp_elem(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_exp_elem(vl_locale_t *h, const char *s1, int32_t len1, const char *s2,
                                         int32_t len2);
VLS_API int _vl_thaismocoll(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_thaismoncoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_thaismoxfrm(vl_locale_t *h, char *target, const char *source, int32_t size);

/* ---- the reader and its scratch records --------------------------------- */

/* A pair of equivalent strings: `first` collates as `last`. A list of them
 * ends with a null `first`; every pair of one class shares its `last`. */
typedef struct vl_equiv_pair {
  char *first;
  char *last;
} vl_equiv_pair;

/* Rows that belong together (the ignored rows, or a class of identical
 * rows whose first row stands for it) and the characters found for them. */
typedef struct row_set {
  int32_t count;
  int32_t capacity;
  int32_t *rows;
  int32_t char_count;
  int32_t char_capacity;
  char **chars;
} row_set;

typedef struct exp_pair {
  int32_t index; /* expansion */
  int32_t row;
} exp_pair;

typedef struct exp_set {
  int32_t count;
  int32_t capacity;
  exp_pair *pairs;
} exp_set;

typedef struct class_set {
  int32_t count;
  int32_t capacity;
  row_set *classes;
} class_set;

VLS_API int read_coll_elem(vl_locale_t *h, void *stream, coll_elem *elem);
VLS_API int read_expansion(vl_locale_t *h, void *stream, coll_exp_record *exp);
VLS_API int register_row(vl_locale_t *h, row_set *set, int32_t row);
VLS_API int register_chars(vl_locale_t *h, row_set *set, char *text);
VLS_API int register_exp(vl_locale_t *h, exp_set *exps, int32_t index, int32_t row);
VLS_API int register_class(vl_locale_t *h, class_set *classes, int32_t new_row, int32_t old_row);
VLS_API int save(vl_locale_t *h, row_set *ignored, class_set *classes, int32_t row, const char *bytes,
                 int32_t length);
/* 0: the bytes are a proper prefix of characters; 1: they end on a leaf
 * (its row in *row_out); -1: they lead nowhere. */
VLS_API int get_chars_row(const multi_t *tree, const unsigned char *bytes, int32_t length, int32_t *row_out);
VLS_API int enumerate_codepoints(vl_locale_t *h, row_set *ignored, class_set *classes, unsigned char *bytes,
                                 int32_t depth);
VLS_API void cleanup_rows(row_set *set);
VLS_API void cleanup_exps(exp_set *exps);
VLS_API void cleanup_classes(class_set *classes);
VLS_API int set_exp_candidates(vl_locale_t *h);
VLS_API int set_elem_candidates(vl_locale_t *h);
/* Makes the handle's lists of ignored and equivalent characters
 * (coll_sb_tables) where the load left them for later: a collation of
 * more than 65,536 characters (UTF-8, GB18030) gets them here, on the
 * first call; any smaller one has them from its load. 0, or -1 with the error
 * number set (3: no memory). It writes to the handle like a load does:
 * call it before the handle is shared between threads. */
VLS_API int vl_coll_lists(vl_locale_t *h);

/* ---- the weighted engine ------------------------------------------------ */

typedef struct parallel_entry {
  coll_elem *elem; /* the collating element at this character, or null */
  uint32_t offset; /* the character's place inside it */
} parallel_entry;

/* The cursor over one string in one pass. */
typedef struct coll_state {
  const vl_wchar *cursor;
  coll_exp_record *exp;
  const vl_wchar *begin;
  const vl_wchar *end;
  const uint16_t *weights;
  int32_t step;
  int32_t done;
  int32_t exp_index;
  parallel_entry *parallel;
} coll_state;

VLS_API void init_coll_state(const vl_wchar *string, int32_t length, parallel_entry *parallel, uint32_t pass_flags,
                             const uint16_t *weights, coll_state *state);
VLS_API uint16_t next_weight(vl_locale_t *h, coll_state *state, vl_wchar *code);
VLS_API int collate_pass(vl_locale_t *h, const uint16_t *weights, uint32_t pass_flags, const vl_wchar *s1,
                         int32_t len1, parallel_entry *p1, const vl_wchar *s2, int32_t len2, parallel_entry *p2);
VLS_API int vl_wcspre(vl_locale_t *h, const vl_wchar *string, int32_t remaining, const vl_wchar *prefix,
                      int32_t prefix_length);
VLS_API parallel_entry *make_parallel_arr(vl_locale_t *h, const vl_wchar *string, int32_t length);
VLS_API void write_weight(uint32_t value, uint32_t limit, char **output, int32_t *count, int32_t capacity);
VLS_API int vl_wcsxfrm(vl_locale_t *h, char *target, const vl_wchar *source, int32_t size);
VLS_API int _kvx_vl_full_wcscoll(vl_locale_t *h, const vl_wchar *s1, int32_t len1, const vl_wchar *s2, int32_t len2);
VLS_API int vl_full_wcscoll(vl_locale_t *h, const vl_wchar *s1, const vl_wchar *s2);
/* 1 forward, 2 backward, -1 on error; passes count from 1. */
VLS_API int vl_getpassdirection(vl_locale_t *h, int32_t pass);

/* The handle's chosen comparison and key: mbscoll_fn, mbfscoll_fn,
 * mbsxfrm_fn of a ready handle. */
VLS_API int vl_full_mbscoll(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_full_mbfscoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);

/* ---- single-byte paths: one pass of two strings (ends null for a
 * terminated string, but in collate_sb_for and collate_sb_back) ---------- */

VLS_API int collate_sb_exp(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                           const char *e2);
VLS_API int collate_sb_elem(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                            const char *e2);
VLS_API int collate_sb_exp_elem(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                                const char *e2);
VLS_API int collate_sb_for(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                           const char *e2);
VLS_API int collate_sb_back(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                            const char *e2);
VLS_API const coll_elem *true_elem(const collate_category *c, const char *text, const char *end);
VLS_API int next_char_sb_exp(const collate_category *c, int32_t pass, const char **cursor, const char **saved,
                             const char *end, char *buffer);
VLS_API int next_row_sb_elem(vl_locale_t *h, const char **cursor, const char *end, uint16_t *row);

/* ---- by code value ------------------------------------------------------ */

VLS_API int vl_wcscmp(const vl_wchar *s1, const vl_wchar *s2);
VLS_API int _kvx_vl_wcfscmp(const vl_wchar *s1, int32_t len1, const vl_wchar *s2, int32_t len2);
VLS_API int vl_wcsncmp(const vl_wchar *s1, const vl_wchar *s2, int32_t count);
VLS_API int vl_full_mbscmp(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int vl_full_mbsncmp(vl_locale_t *h, const char *s1, const char *s2, int32_t count);
VLS_API int _kvx_vl_mbscmp(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);

/* Release of a collation category. */
VLS_API void free_collate(vl_locale_t *h);

VLS_END_DECLS

#endif
