/* Every public header compiles as C11 and the library links. */
#include <vls/libvls.h>
#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsctype.h>
#include <vls/vlscv.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsmulti.h>
#include <vls/vlsext.h>
#include <vls/vlsio.h>
#include <vls/vlsstr.h>
#include <vls/vlsmulti.h>
#include <vls/vlsutils.h>
#include <vls/vlsspec.h>
#include <vls/vlsvlu.h>
#include <vls/decimal.h>

#include <stddef.h>
#include <stdio.h>

_Static_assert(offsetof(vl_locale_t, vl_errno) == 0, "vl_errno first");

int main(void) {
  vl_locale_t *h = NULL;
  if (vl_create_null_locale_4(&h) != 0) return 1;
  set_flags(h);
  int n = vl_full_mblen(h, "A", 4);
  printf("%d %u\n", n, (unsigned)h->vl_errno);
  int ok = n == -1 && h->vl_errno == VL_EILSEQ;
  vl_lc_unload(h);
  return ok ? 0 : 1;
}
