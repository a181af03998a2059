/* Multi-level byte tree: maps a multibyte character (its own bytes, one
 * level per byte) to a fixed-size data row. */
#ifndef VLS_VLSMULTI_H
#define VLS_VLSMULTI_H

#include <stdint.h>
#include <vls/vlsexport.h>

VLS_BEGIN_DECLS

/* Flag values of a node entry. */
enum { VL_MULTI_INVALID = 0, VL_MULTI_LEADS = 1, VL_MULTI_COMPLETE = 4 };

/* tree_flags bits. */
enum { VL_MULTI_ENDS_IN_4 = 1u, VL_MULTI_COMPRESSED = 2u };

/* One level of the tree. Built nodes own their arrays; compressed nodes
 * share them through the tree's flag_arrs/data_arrs tables. */
typedef struct vl_multi_node {
  int32_t next_count;
  int32_t flag_index;
  int32_t data_index;
  unsigned char *flags;      /* 256 entries, or null */
  unsigned char *offsets;    /* 256 entries, or null */
  unsigned char *data;       /* 256 rows of 1 << data_shift bytes, or null */
  struct vl_multi_node **next;
} unc_multi_arr_t;
typedef unc_multi_arr_t comp_multi_arr_t;

typedef struct multi_t {
  uint32_t data_size;
  int32_t max_length;
  int32_t min_length;
  uint32_t tree_flags;
  int32_t data_arr_count;
  int32_t flag_arr_count;
  int32_t offset_arr_count;
  int32_t err;
  unc_multi_arr_t *root;
  unsigned char *default_data;
  int32_t data_shift;
  unsigned char **flag_arrs;
  unsigned char **data_arrs;
  int32_t *flag_next_counts;
} multi_t;

/* A key: its length in bytes, then up to four bytes. */
typedef struct vl_desc_t {
  uint32_t length;
  unsigned char bytes[4];
} vl_desc_t;

/* Row printer and reader of the textual form. */
typedef int (*vl_multi_writer)(void *stream, const void *row);
typedef int (*vl_multi_reader)(void *stream, void *target, uint32_t data_size);

VLS_API multi_t *_vl_create_multi(uint32_t data_size, uint32_t tree_flags, const void *default_value);
VLS_API int _vl_insert_desc_multi(const vl_desc_t *descriptor, const void *value, multi_t *tree);
VLS_API int _vl_compress_multi(multi_t *tree);
VLS_API void _vl_free_multi(multi_t *tree);
VLS_API int _vl_multi_max_length(const multi_t *tree);
VLS_API int _vl_multi_min_length(const multi_t *tree);
VLS_API int _vl_multi_err(const multi_t *tree);
VLS_API void _vl_multi_node_count(const multi_t *tree, int32_t *data_count, int32_t *flag_count,
                                  int32_t *offset_count);
VLS_API int _vl_fprintf_multi(void *stream, multi_t *tree, vl_multi_writer writer);
VLS_API int _vl_fscanf_multi(void *stream, multi_t *tree, int longest_allowed, vl_multi_reader reader);

/* Walks. `handle` is any record whose first field is a 32-bit error number. */
VLS_API void *_vl_retrieve_desc_multi(const vl_desc_t *descriptor, const multi_t *tree);
VLS_API void *_vl_retrieve_text_multi(const unsigned char *string, const multi_t *tree, int32_t *bytes,
                                      void *handle);
VLS_API void *_vl_retrieve_text_multi_nl(const unsigned char *string, const multi_t *tree, void *handle);
VLS_API int _vl_retrieve_text_multi_nv(const unsigned char *string, const multi_t *tree, void *handle);
VLS_API void *_vl_retrieve_text_multi_limit(const unsigned char *string, const multi_t *tree, int32_t limit,
                                            int32_t *bytes, void *handle);
VLS_API void *_vl_retrieve_text_multi_limit_nl(const unsigned char *string, const multi_t *tree,
                                               int32_t limit, void *handle);
/* `conversion` is a conv_object: the unit is 4 bytes when both source
 * lengths are 4, or the longest source and target are both 4, else 2; its
 * error number is written on failure. */
VLS_API void *_vl_retrieve_little_endian_unicode_limit(const unsigned char *string, const multi_t *tree,
                                                       int32_t limit, void *conversion);
VLS_API void *_vl_retrieve_wchar_multi_nl(void *handle, uint32_t wide_value, const multi_t *tree);

VLS_API int _vl_desc_eq(const vl_desc_t *a, const vl_desc_t *b);
VLS_API uint32_t _vl_desc_to_vl_wchar(const vl_desc_t *descriptor);
VLS_API void _vl_desc_offset(const vl_desc_t *descriptor, int32_t delta, vl_desc_t *result);

VLS_END_DECLS

#endif
