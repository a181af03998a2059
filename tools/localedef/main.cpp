// vls-localedef: the locale compiler's command line.
//
//   vls-localedef -i SOURCE -f CHARMAP [-I DIR]... [--charmaps DIR]...
//                 [--codeset NAME] [--registry FILE] [-u] [-v|-q] OUTPUT
#include <cstring>
#include <iostream>

#include "args.h"
#include "ldef.h"

namespace {

void usage(std::ostream &o) {
  o << "usage: vls-localedef -i SOURCE -f CHARMAP [options] OUTPUT\n"
       "  -i SOURCE        locale source: a path, or a name found in the -I directories\n"
       "                   and then in /usr/share/i18n/locales\n"
       "  -f CHARMAP       charmap: a path, or a name (plain or .gz) found in the\n"
       "                   --charmaps directories and then in /usr/share/i18n/charmaps\n"
       "  -I DIR           a further directory for locale sources (and their copies)\n"
       "  --charmaps DIR   a further directory for charmaps\n"
       "  --codeset NAME   the library's name of the codeset, for charmaps the\n"
       "                   built-in table does not know\n"
       "  --registry FILE  check the codeset name, and the output's ll_tt/xxxx.lco\n"
       "                   name, against this registry\n"
       "  -u               write the trees uncompressed\n"
       "  -v               report dropped characters and classes\n"
       "  -q               no warnings\n"
       "  OUTPUT           the .lco file to write\n";
}

}  // namespace

int main(int argc, char **argv) {
  return ldef::run_main("vls-localedef", [&] {
    ldef::CompileOptions opt;
    const ldef::SharedOptions shared{&ldef::g_verbose, &ldef::g_quiet, &opt.uncompressed, &opt.charmap_dirs, &opt.registry};
    ldef::Args args(argc, argv);
    while (args.next()) {
      const std::string &a = args.arg();
      if (a == "-h" || a == "--help") {
        usage(std::cout);
        return 0;
      } else if (ldef::shared_option(args, shared)) {
      } else if (args.is("--codeset")) {
        opt.codeset = args.value("--codeset");
      } else if (args.is("-i")) {
        opt.locale = args.value("-i");
      } else if (args.is("-f")) {
        opt.charmap = args.value("-f");
      } else if (args.is("-I")) {
        opt.include_dirs.push_back(args.value("-I"));
      } else if (a.size() > 1 && a[0] == '-') {
        throw ldef::Error("unknown option " + a);
      } else if (opt.output.empty()) {
        opt.output = a;
      } else {
        throw ldef::Error("more than one output given");
      }
    }
    if (opt.locale.empty() || opt.charmap.empty() || opt.output.empty()) {
      usage(std::cerr);
      return 2;
    }
    ldef::compile(opt);
    return 0;
  });
}
