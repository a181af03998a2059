// The byte tree's text reader for the library's own object readers.
#ifndef VLS_VLSSCAN_H
#define VLS_VLSSCAN_H

#include <vls/vlsmulti.h>

namespace vls {

// _vl_fscanf_multi: with hex_digits above 0 each data value is that many
// hexadecimal digits stored as an unsigned 16-bit value (what ub2_reader
// reads) and `reader` is not called; otherwise `reader` reads each value.
int scan_multi(void *stream, multi_t *tree, int longest_allowed, vl_multi_reader reader, int hex_digits);

}  // namespace vls

#endif
