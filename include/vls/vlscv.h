/* Codeset conversion objects. */
#ifndef VLS_VLSCV_H
#define VLS_VLSCV_H

#include <stdint.h>
#include <vls/vlsexport.h>
#include <vls/vlsmulti.h>

VLS_BEGIN_DECLS

struct conv_object;
struct conv_state;

typedef int (*vl_converter_fn)(struct conv_object *cv, struct conv_state *state, const unsigned char **source,
                               int32_t *source_len, unsigned char **target, int32_t *room, int32_t *flag);

/* A loaded conversion; the error number comes first so that the errno slot
 * reaches it as it reaches a locale handle. */
typedef struct conv_object {
  int32_t vl_errno;
  unsigned char *sb_table;
  int32_t source_stateful;
  int32_t target_stateful;
  int32_t shift_len[4];
  int32_t target_min_len;
  int32_t target_max_len;
  int32_t spare_len[2];
  int32_t source_min_len;
  int32_t source_max_len;
  int32_t partial_map;
  float expansion;
  unsigned char shift_seq[4][4];
  multi_t *tree;
  multi_t *shifted_tree;
  int32_t reserved1;
  vl_converter_fn converter;
  int32_t reserved2;
  void *bridge_converter;
  int32_t bridge_bound;
} conv_object;

typedef struct conv_state {
  int32_t first;
  int32_t last;
  int32_t source_shifted;
  int32_t target_shifted;
} conv_state;

VLS_END_DECLS

#endif
