// vlsinfo: what a locale handle answers.
//
//   vlsinfo                  the null locale
//   vlsinfo SPEC...          each locale, by specification ("de_DE.8859-1")
//                            or file name ("de_de/0333.lco"), found through
//                            KELVANIXDIR or VL_PATH
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include <vls/libvls.h>

namespace {

void show_null() {
  vl_locale_t *h = nullptr;
  if (vl_create_null_locale_4(&h) != 0) {
    fprintf(stderr, "vlsinfo: cannot create a locale (error %u)\n", h ? h->vl_errno : 0u);
    return;
  }
  set_flags(h);
  printf("null locale: longest character %d, shortest %d\n", vl_mb_loc_max(h), vl_mb_loc_min(h));
  for (const char *s : {"", "A"}) {
    h->vl_errno = 0;
    int n = vl_full_mblen(h, s, 4);
    printf("  vl_full_mblen(\"%s\") = %d (vl_errno %u)\n", s, n, h->vl_errno);
  }
  vl_lc_unload(h);
}

// Prints a multibyte text as it stands, and the classes of its characters.
void show_text(vl_locale_t *h, const char *label, const char *text) {
  printf("  %-14s \"%s\":", label, text);
  const char *p = text;
  while (*p) {
    int n = vl_full_mblen(h, p, 4);
    if (n <= 0) {
      printf(" [invalid: error %u]", h->vl_errno);
      break;
    }
    char up[16] = {};
    uint16_t packed = _vl_im_tomupper(h, up, p);
    int width = vl_mbwidth(h, p);
    printf(" %.*s(%d byte%s, width %d%s%s)", n, p, n, n == 1 ? "" : "s", width,
           _vl_im_ismctype(h, p, VL_CT_ALPHA) ? ", alpha" : "",
           (packed & 0xFF) && memcmp(up, p, static_cast<size_t>(n)) != 0 ? ", has upper" : "");
    p += n;
  }
  printf("\n");
}

int show(const char *spec) {
  vl_locale_t *h = nullptr;
  if (vl_lc_load(&h, spec, nullptr, nullptr) != 0) {
    fprintf(stderr, "vlsinfo: %s: cannot load (error %u)\n", spec, h ? h->vl_errno : 0u);
    vl_lc_unload(h);
    return 1;
  }
  char names[512];
  query_locname(h, VL_LC_CTYPE, names, sizeof names);
  printf("%s -> %s, codeset %s\n", spec, names, vl_nl_langinfo(h, VL_CODESET));
  printf("  characters:    %d to %d bytes, %s\n", vl_mb_loc_min(h), vl_mb_loc_max(h),
         h->single_byte ? "single-byte tables" : "byte tree");
  vlconv *c = vl_localeconv(h);
  printf("  numbers:       radix \"%s\", thousands \"%s\", grouping %d\n", c->decimal_point ? c->decimal_point : "",
         c->thousands_sep ? c->thousands_sep : "", c->grouping ? c->grouping[0] : 0);
  printf("  money:         \"%s\" / \"%s\", %d fraction digits\n", c->int_curr_symbol ? c->int_curr_symbol : "",
         c->currency_symbol ? c->currency_symbol : "", c->frac_digits);
  printf("  days:          %s, %s ... (%s)\n", vl_nl_langinfo(h, VL_DAY_1), vl_nl_langinfo(h, VL_DAY_1 + 1),
         vl_nl_langinfo(h, VL_DAY_1 - 7));
  printf("  months:        %s, %s ...\n", vl_nl_langinfo(h, VL_MON_1), vl_nl_langinfo(h, VL_MON_1 + 1));
  printf("  date format:   %s, time %s, calendar %s\n", vl_nl_langinfo(h, VL_D_FMT), vl_nl_langinfo(h, VL_T_FMT),
         vl_nl_langinfo(h, VL_CALENDAR));
  if (h->time.era_count > 0) printf("  eras:          %d (%s)\n", h->time.era_count, h->time.era_strings[0]);
  printf("  yes/no:        %s / %s\n", vl_nl_langinfo(h, VL_YESEXPR), vl_nl_langinfo(h, VL_NOEXPR));
  show_text(h, "month name", vl_nl_langinfo(h, VL_MON_1 + 2));
  vl_lc_unload(h);
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    show_null();
    return 0;
  }
  int status = 0;
  for (int i = 1; i < argc; ++i) status |= show(argv[i]);
  return status;
}
