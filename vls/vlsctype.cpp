// Character classes and case.
#include <vls/vlsctype.h>

#include "vlsint.h"

namespace {

// The case pair of a character, or null when it has none.
const vl_case_pair *case_pair_of(vl_locale_t *h, vl_wchar wc) {
  const ctype_category &c = h->ctype;
  if (!c.case_tree || !c.case_pairs) return nullptr;
  uint32_t saved = vls::get_error(h);
  const void *row = _vl_retrieve_wchar_multi_nl(h, wc, c.case_tree);
  vls::set_error(h, saved);
  if (!row) return nullptr;
  uint16_t index;
  memcpy(&index, row, sizeof index);
  return index ? &c.case_pairs[index] : nullptr;
}

}  // namespace

extern "C" {

VLS_API vl_wchar _vl_im_towupper(vl_locale_t *h, vl_wchar wc) {
  const vl_case_pair *p = case_pair_of(h, wc);
  return (p && p->upper) ? p->upper : wc;
}

VLS_API vl_wchar _vl_im_towlower(vl_locale_t *h, vl_wchar wc) {
  const vl_case_pair *p = case_pair_of(h, wc);
  return (p && p->lower) ? p->lower : wc;
}

}  // extern "C"
