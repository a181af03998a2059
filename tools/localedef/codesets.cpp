// Charmap names and the library's codeset names. A compiled file names its
// codeset the way the library's registry does ("8859-1", "sjis", ...), so
// that the codeset line and the file name agree with the registry.
#include <cctype>

#include "ldef.h"

namespace ldef {

// Keep in step with data/registry and docs/localedef.md.
const CodesetRow kCodesetTable[] = {
    {"ANSI_X3.4-1968", "ascii"},
    {"ISO-8859-1", "8859-1"},
    {"ISO-8859-2", "8859-2"},
    {"ISO-8859-3", "8859-3"},
    {"ISO-8859-4", "8859-4"},
    {"ISO-8859-5", "8859-5"},
    {"ISO-8859-6", "8859-6"},
    {"ISO-8859-7", "8859-7"},
    {"ISO-8859-8", "8859-8"},
    {"ISO-8859-9", "8859-9"},
    {"ISO-8859-15", "8859-15"},
    {"CP437", "cp437"},
    {"IBM437", "cp437"},
    {"CP850", "pc-latin-1"},
    {"IBM850", "pc-latin-1"},
    {"CP852", "pc-latin-2"},
    {"IBM852", "pc-latin-2"},
    {"IBM866", "pc866"},
    {"CP866", "pc866"},
    {"CP1250", "cp1250"},
    {"CP1251", "cp1251"},
    {"CP1252", "cp1252"},
    {"CP1253", "cp1253"},
    {"CP1254", "cp1254"},
    {"CP1255", "cp1255"},
    {"CP1256", "cp1256"},
    {"KOI8-R", "koi-8"},
    {"TIS-620", "thai620"},
    {"SHIFT_JIS", "sjis"},
    {"EUC-JP", "ujis"},
    {"EUC-KR", "ksc"},
    {"CP949", "cp949"},
    {"GB2312", "gb"},
    {"BIG5", "big5"},
    {"EUC-TW", "euctw"},
    {"UTF-8", "utf8"},
    {nullptr, nullptr},
};

namespace {
std::string upper(const std::string &s) {
  std::string o = s;
  for (auto &c : o) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return o;
}
}  // namespace

std::string library_codeset_name(const Charmap &cm) {
  std::vector<std::string> names{cm.code_set_name};
  names.insert(names.end(), cm.aliases.begin(), cm.aliases.end());
  for (const auto &n : names)
    for (const CodesetRow *r = kCodesetTable; r->charmap; ++r)
      if (upper(n) == r->charmap) return r->library;
  return "";
}

}  // namespace ldef
