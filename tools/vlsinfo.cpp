// vlsinfo: prints what a locale handle answers.
#include <cstdio>
#include <cstring>

#include <vls/vls.h>
#include <vls/vlscat.h>

int main(int argc, char **argv) {
  (void)argc;
  (void)argv;
  vl_locale_t *h = nullptr;
  if (vl_create_null_locale_4(&h) != 0) {
    fprintf(stderr, "vlsinfo: cannot create a locale (error %u)\n", h ? h->vl_errno : 0u);
    return 1;
  }
  set_flags(h);
  printf("null locale\n");
  printf("  longest character:  %d bytes\n", vl_mb_loc_max(h));
  printf("  shortest character: %d bytes\n", vl_mb_loc_min(h));
  printf("  single byte:        %d\n", h->single_byte);
  const char *samples[] = {"", "A", "\xc3\xa9"};
  for (const char *s : samples) {
    h->vl_errno = 0;
    int n = vl_full_mblen(h, s, 4);
    printf("  vl_full_mblen(\"%s\") = %d (vl_errno %u)\n", s, n, h->vl_errno);
  }
  vl_lc_unload(h);
  return 0;
}
