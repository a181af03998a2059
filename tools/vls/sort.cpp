// vls sort: lines in the order of the locale's collation, through sort keys.
#include <algorithm>
#include <cstring>
#include <string>

#include "common.h"

namespace vlscli {
namespace {

const char kUsage[] = "vls sort [-L NAME] [-r] [-u] [-f] [FILE...]";

struct Line {
  std::string text;
  std::string key;
  std::string whole_key;  // with -f: the key of the line as it is, for lines whose folded keys tie
};

// The line folded to upper case by the locale's case mapping.
bool fold(vl_locale_t *h, const std::string &in, std::string *out) {
  const int32_t room = vl_case_conv_outbuflen(h, static_cast<int32_t>(in.size()));
  if (room < 0) return false;
  std::string buf(static_cast<size_t>(room) + 1, '\0');
  h->vl_errno = 0;
  const int n = vl_tombsupper(h, buf.data(), in.c_str());
  if (n < 0) return false;
  buf.resize(strlen(buf.c_str()));
  *out = buf;
  return true;
}

// The offset of the first byte that starts no character of the locale's
// codeset, or 0.
size_t first_invalid(vl_locale_t *h, const std::string &text) {
  size_t i = 0;
  while (i < text.size()) {
    const int n = _kvx_vl_full_mblen(h, text.data() + i, static_cast<int32_t>(text.size() - i));
    if (n <= 0) return i;
    i += static_cast<size_t>(n);
  }
  return 0;
}

// The sort key of a line: measured first, then made.
bool make_key(vl_locale_t *h, const std::string &text, std::string *key) {
  h->vl_errno = 0;
  const int n = vl_full_mbsxfrm(h, nullptr, text.c_str(), 0);
  if (n < 0) return false;
  std::string buf(static_cast<size_t>(n) + 1, '\0');
  h->vl_errno = 0;
  const int m = vl_full_mbsxfrm(h, buf.data(), text.c_str(), n + 1);
  if (m < 0) return false;
  buf.resize(static_cast<size_t>(m));
  *key = buf;
  return true;
}

}  // namespace

int verb_sort(int argc, char **argv) {
  Args a;
  if (!parse("sort", argc, argv, 2, "", "ruf", false, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  lines of the FILEs (or standard input) in the locale's collation order, stable\n"
           "  -r  reverse   -u  one line of each run of equal keys   -f  fold case first\n"
           "  Lines are read and written as they are, in the locale's codeset.\n",
           kUsage);
    return kOk;
  }
  const bool reverse = a.has("-r"), unique = a.has("-u"), fold_case = a.has("-f");
  std::vector<std::string> inputs = a.operands;
  if (inputs.empty()) inputs.push_back("-");
  vl_locale_t *h = open_locale("sort", a.locale);
  if (!h) return kDataError;
  std::vector<Line> lines;
  int status = kOk;
  for (const std::string &path : inputs) {
    std::string data;
    if (!read_all("sort", path.c_str(), &data)) {
      status = kDataError;
      break;
    }
    const char *label = path == "-" ? "standard input" : path.c_str();
    size_t at = 0;
    while (at < data.size() && status == kOk) {
      size_t end = data.find('\n', at);
      if (end == std::string::npos) end = data.size();
      Line l;
      l.text = data.substr(at, end - at);
      std::string folded;
      if (l.text.find('\0') != std::string::npos) {
        error("sort", "%s: byte %zu: a NUL byte in a line", label, at + l.text.find('\0'));
        status = kDataError;
      } else if (fold_case && !fold(h, l.text, &folded)) {
        error("sort", "%s: byte %zu: cannot fold the case of the line: %s", label, at, reason(h->vl_errno));
        status = kDataError;
      } else if (!make_key(h, fold_case ? folded : l.text, &l.key) ||
                 (fold_case && !make_key(h, l.text, &l.whole_key))) {
        const unsigned err = h->vl_errno;
        error("sort", "%s: byte %zu: no sort key for the line: %s", label, at + first_invalid(h, l.text),
              reason(err));
        status = kDataError;
      }
      lines.push_back(std::move(l));
      at = end + 1;
    }
    if (status != kOk) break;
  }
  if (status == kOk) {
    // Lines whose keys tie are ordered by the key of the whole line, then by
    // their bytes, as sort(1) orders them without -s; with -u the first line
    // of the input in each run of equal keys is kept.
    auto before = [unique](const Line &x, const Line &y) {
      if (x.key != y.key || unique) return x.key < y.key;
      if (x.whole_key != y.whole_key) return x.whole_key < y.whole_key;
      return x.text < y.text;
    };
    std::stable_sort(lines.begin(), lines.end(),
                     [&](const Line &x, const Line &y) { return reverse ? before(y, x) : before(x, y); });
    const Line *prev = nullptr;
    for (const Line &l : lines) {
      if (unique && prev && prev->key == l.key) continue;
      fwrite(l.text.data(), 1, l.text.size(), stdout);
      fputc('\n', stdout);
      prev = &l;
    }
  }
  close_locale(h);
  return status;
}

}  // namespace vlscli
