/* Codeset conversion objects. */
#ifndef VLS_VLSCV_H
#define VLS_VLSCV_H

#include <stdint.h>
#include <vls/vlsexport.h>
#include <vls/vlsmulti.h>

VLS_BEGIN_DECLS

struct conv_object;
struct conv_state;

/* A stateless converter: object, source, its length (null: up to the
 * terminator entry), target (null: measure only), room, caller's flag. */
typedef int (*vl_converter_fn)(struct conv_object *cv, const char **source, int32_t *source_len, char **target,
                               int32_t *room, int32_t *flag);

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

/* Flag byte of a tree entry. */
enum {
  VL_CV_COUNT = 0x07,      /* target bytes that follow */
  VL_CV_TERMINATOR = 0x08, /* a conversion without a length stops behind it */
  VL_CV_MAPPED = 0x10,     /* no meaning of its own */
  VL_CV_SETFLAG = 0x20,    /* converting it sets the caller's flag */
  VL_CV_SHIFTED = 0x40,    /* the target is shifted behind it */
  VL_CV_TOGGLE = 0x80      /* toggles the source state */
};

/* The version record of the conversion service. */
typedef struct vl_cv_version_t {
  int32_t compiler_version; /* of the ".cvo" files it reads */
  int32_t major, minor;
  const char *text;
} vl_cv_version_t;

/* The three objects that stand for failures to open. */
VLS_API extern const conv_object vl_cv_nomem;  /* error 3 */
VLS_API extern const conv_object vl_cv_badarg; /* error 8 */
VLS_API extern const conv_object vl_cv_nocs;   /* error 7 */

/* Opening: 1 opened, 0 same codeset (object null), -1 failure (the object
 * then holds the error number). */
VLS_API int vl_cv_load(conv_object **cv, const char *source_spec, const char *target_spec, const char *registry,
                       const char *directory);
VLS_API int vl_cv_open(conv_object **cv, const char *source_spec, const char *target_spec);
/* 0 opened, -1 failure */
VLS_API int vl_iconv_open(conv_object **cv, const char *source_name, const char *target_name);
VLS_API int vl_iconv_open1(conv_object **cv, const char *file_name);
VLS_API int vl_cv_unload(conv_object *cv);
VLS_API int read_cv_file(void *stream, conv_object *cv);
VLS_API void set_iconv_fps(conv_object *cv);
VLS_API int conv_reader(void *stream, void *target, uint32_t data_size);
VLS_API int hextoi(int c);
VLS_API int read_mchar(void *stream, int32_t *length, unsigned char *bytes);
VLS_API int lc_spec2cs_name(const char *spec, char *name);

/* Converting: 0, or -1 with the object's error number set. */
VLS_API int vl_miconv(conv_object *cv, const char **source, int32_t *source_len, char **target, int32_t *room,
                      int32_t *flag);
VLS_API int vl_mconvlen(conv_object *cv, conv_state *state, const char **source, int32_t *source_len,
                        int32_t *room, int32_t *flag);
VLS_API int vl_cv_mconv(conv_object *cv, conv_state *state, const char **source, int32_t *source_len,
                        char **target, int32_t *room, int32_t *flag);
VLS_API int mb_smiconv(conv_object *cv, conv_state *state, const char **source, int32_t *source_len,
                       char **target, int32_t *room, int32_t *flag);
VLS_API int mb_miconv(conv_object *cv, const char **source, int32_t *source_len, char **target, int32_t *room,
                      int32_t *flag);
VLS_API int sb_miconv(conv_object *cv, const char **source, int32_t *source_len, char **target, int32_t *room,
                      int32_t *flag);
VLS_API int little_endian_unicode_source_miconv(conv_object *cv, const char **source, int32_t *source_len,
                                                char **target, int32_t *room, int32_t *flag);
VLS_API int little_endian_unicode_target_miconv(conv_object *cv, const char **source, int32_t *source_len,
                                                char **target, int32_t *room, int32_t *flag);
VLS_API float vl_iconv_expansion(conv_object *cv);
VLS_API int32_t vl_cv_outbuflen(conv_object *cv, int32_t length);
VLS_API const vl_cv_version_t *vl_cv_version(void);

VLS_END_DECLS

#endif
