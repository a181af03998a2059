// The services that trust a loaded locale, run on fuzzer-chosen text after
// a load has succeeded. A target that has a handle it got from a reader
// calls vlsfuzz::exercise; every service group is one entry of the table
// in services.cpp, so a new service area (collation, conversion,
// formatting) is one more function and one more row there.
//
// The text part of an input is taken by vlsfuzz::split_input: two header
// bytes (the text's length and where it splits into the two strings A and
// B of the two-string members), then the text, then the rest (the file).
#ifndef VLS_FUZZ_SERVICES_H
#define VLS_FUZZ_SERVICES_H

#include <cstddef>
#include <cstdint>

#include <vls/vls.h>

namespace vlsfuzz {

struct Input {
  const uint8_t *text = nullptr;  // the text part
  size_t text_size = 0;
  size_t split = 0;               // A is text[0, split), B is text[split, text_size)
  const uint8_t *rest = nullptr;  // what follows: the file part
  size_t rest_size = 0;
};

// Takes the text part off the front of `data`. A short input gives an
// empty text and everything as the rest.
Input split_input(const uint8_t *data, size_t size);

// Runs every service group on the text with a handle whose load succeeded.
void exercise(vl_locale_t *handle, const Input &input);

// Stops the run when `condition` is false: a result outside what the
// library promises.
inline void check(bool condition) {
  if (!condition) __builtin_trap();
}

}  // namespace vlsfuzz

#endif
