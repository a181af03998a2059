/* A program built against an installed libvls: loads a shipped locale from
   the installed tree (KELVANIXDIR) and prints what it answers. */
#include <stdio.h>
#include <vls/libvls.h>

int main(int argc, char **argv) {
  vl_locale_t *h = NULL;
  if (vl_lc_load(&h, argc > 1 ? argv[1] : "de_DE.8859-1", NULL, NULL) != 0) {
    fprintf(stderr, "cannot load the locale\n");
    return 1;
  }
  char out[64];
  const int n = vl_mbsfnum(h, out, sizeof out, "%'.2f", 1234567.891);
  printf("%s %d\n", n > 0 ? out : "?", vl_full_mbscoll(h, "apfel", "Zucker") < 0);
  vl_lc_unload(h);
  return 0;
}
