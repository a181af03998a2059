// A plain library that a registry may list ahead of the bridge. Each copy
// exports a symbol of its own name, tb_dep<N>_id, holding N.
#define TB_CAT2(a, b, c) a##b##c
#define TB_CAT(a, b, c) TB_CAT2(a, b, c)
extern "C" {
__attribute__((visibility("default"))) int TB_CAT(tb_dep, TB_DEP_ID, _id) = TB_DEP_ID;
}
