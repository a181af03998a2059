// vls sort: lines in the order of the locale's collation, through sort keys.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "common.h"

namespace vlscli {
namespace {

const char kUsage[] = "vls sort [-L NAME] [-r] [-u] [-f] [FILE...]";

// A line and its keys, as places in three arenas (the input, the keys):
// a few words a line, whatever the input's size.
struct Line {
  size_t text, key, whole;            // offsets into the input and the key arena
  uint32_t text_len, key_len, whole_len;  // whole: with -f, the key of the line as it is
};

// The line folded to upper case by the locale's case mapping.
bool fold(vl_locale_t *h, std::string_view in, std::string *line, std::string *out) {
  line->assign(in);
  const int32_t room = vl_case_conv_outbuflen(h, static_cast<int32_t>(in.size()));
  if (room < 0) return false;
  out->assign(static_cast<size_t>(room) + 1, '\0');
  h->vl_errno = 0;
  const int n = vl_tombsupper(h, out->data(), line->c_str());
  if (n < 0) return false;
  out->resize(strlen(out->c_str()));
  return true;
}

// The offset of the first byte that starts no character of the locale's
// codeset, or 0.
size_t first_invalid(vl_locale_t *h, std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const int n = _kvx_vl_full_mblen(h, text.data() + i, static_cast<int32_t>(text.size() - i));
    if (n <= 0) return i;
    i += static_cast<size_t>(n);
  }
  return 0;
}

// Appends the sort key of a NUL-terminated line to the arena: written in
// place with room for a usual key, measured and written again only when it
// did not fit.
bool make_key(vl_locale_t *h, const char *text, size_t len, std::string *keys, size_t *at, uint32_t *key_len) {
  *at = keys->size();
  size_t room = 4 * len + 32;
  for (int pass = 0; pass < 2; ++pass) {
    keys->resize(*at + room);
    h->vl_errno = 0;
    const int n = vl_full_mbsxfrm(h, keys->data() + *at, text, static_cast<int32_t>(room));
    if (n < 0) return false;
    if (static_cast<size_t>(n) < room) {
      keys->resize(*at + static_cast<size_t>(n));
      *key_len = static_cast<uint32_t>(n);
      return true;
    }
    room = static_cast<size_t>(n) + 1;
  }
  return false;
}

}  // namespace

int verb_sort(int argc, char **argv) {
  Args a;
  if (!parse("sort", argc, argv, 2, "", "ruf--stats--progress", false, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  lines of the FILEs (or standard input) in the locale's collation order, stable\n"
           "  -r  reverse   -u  one line of each run of equal keys   -f  fold case first\n"
           "  --stats     bytes in and out, time, throughput and peak memory on standard error\n"
           "  --progress  progress on standard error from the start (else only on a terminal,\n"
           "              after a few seconds)\n"
           "  Lines are read and written as they are, in the locale's codeset.\n",
           kUsage);
    return kOk;
  }
  const bool reverse = a.has("-r"), unique = a.has("-u"), fold_case = a.has("-f");
  std::vector<std::string> inputs = a.operands;
  if (inputs.empty()) inputs.push_back("-");
  vl_locale_t *h = open_locale("sort", a.locale);
  if (!h) return kDataError;
  Meter m("sort", a);
  std::string data, keys;
  std::vector<Line> lines;
  std::string line, folded;  // scratch: the line with its terminator, its folded form
  int status = kOk;
  for (const std::string &path : inputs) {
    const size_t base = data.size();
    m.tick("reading", static_cast<double>(base) / 1e6, 0, "MB");
    if (!read_all("sort", path.c_str(), &data)) {
      status = kDataError;
      break;
    }
    // A last line without its newline still ends where this input ends.
    if (data.size() > base && data.back() != '\n') data += '\n';
    m.in = static_cast<long long>(data.size());
    const char *label = path == "-" ? "standard input" : path.c_str();
    size_t at = base;
    while (at < data.size() && status == kOk) {
      const size_t end = data.find('\n', at);
      const std::string_view text(data.data() + at, end - at);
      Line l{at, 0, 0, static_cast<uint32_t>(text.size()), 0, 0};
      const size_t nul = text.find('\0');
      if (nul != std::string_view::npos) {
        error("sort", "%s: byte %zu: a NUL byte in a line", label, at - base + nul);
        status = kDataError;
        break;
      }
      if (fold_case && !fold(h, text, &line, &folded)) {
        error("sort", "%s: byte %zu: cannot fold the case of the line: %s", label, at - base, reason(h->vl_errno));
        status = kDataError;
        break;
      }
      if (!fold_case) line.assign(text);
      const std::string &keyed = fold_case ? folded : line;
      if (!make_key(h, keyed.c_str(), keyed.size(), &keys, &l.key, &l.key_len) ||
          (fold_case && !make_key(h, line.c_str(), line.size(), &keys, &l.whole, &l.whole_len))) {
        const unsigned err = h->vl_errno;
        error("sort", "%s: byte %zu: no sort key for the line: %s", label, at - base + first_invalid(h, text),
              reason(err));
        status = kDataError;
        break;
      }
      lines.push_back(l);
      at = end + 1;
      if ((lines.size() & 1023) == 0)
        m.tick("keys for", static_cast<double>(at) / 1e6, static_cast<double>(data.size()) / 1e6, "MB");
    }
    if (status != kOk) break;
  }
  if (status == kOk) {
    m.tick("sorting lines:", static_cast<double>(lines.size()), 0, "");
    // Lines whose keys tie are ordered by the key of the whole line, then by
    // their bytes, as sort(1) orders them without -s; with -u the first line
    // of the input in each run of equal keys is kept.
    auto view = [&](size_t off, uint32_t len, const std::string &arena) {
      return std::string_view(arena.data() + off, len);
    };
    auto before = [&](const Line &x, const Line &y) {
      const std::string_view kx = view(x.key, x.key_len, keys), ky = view(y.key, y.key_len, keys);
      if (kx != ky || unique) return kx < ky;
      const std::string_view wx = view(x.whole, x.whole_len, keys), wy = view(y.whole, y.whole_len, keys);
      if (wx != wy) return wx < wy;
      return view(x.text, x.text_len, data) < view(y.text, y.text_len, data);
    };
    std::stable_sort(lines.begin(), lines.end(),
                     [&](const Line &x, const Line &y) { return reverse ? before(y, x) : before(x, y); });
    const Line *prev = nullptr;
    for (const Line &l : lines) {
      if (unique && prev && view(prev->key, prev->key_len, keys) == view(l.key, l.key_len, keys)) continue;
      fwrite(data.data() + l.text, 1, l.text_len + 1u, stdout);  // the line and its newline
      m.out += l.text_len + 1;
      prev = &l;
    }
  }
  m.done();
  close_locale(h);
  return status;
}

}  // namespace vlscli
