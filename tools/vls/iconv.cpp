// vls iconv: codeset conversion of files or standard input, streamed in
// pieces through one conversion state.
#include <dirent.h>
#include <sys/stat.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common.h"

namespace vlscli {
namespace {

const char kUsage[] = "vls iconv -f FROM -t TO [-c] [-o FILE] [FILE...] | vls iconv -l [-v]";

constexpr size_t kPiece = 4096;

int list_pairs(bool verbose) {
  const std::string dir = std::string(kelvanixdir()) + "/vls/cv9";
  DIR *d = opendir(dir.c_str());
  if (!d) {
    error("iconv", "cannot list the conversions in %s: %s", dir.c_str(), strerror(errno));
    return kDataError;
  }
  std::vector<std::string> lines;
  while (dirent *e = readdir(d)) {
    // Named pairs are TARGET_SOURCE.cvo; numbered ones repeat them.
    std::string n = e->d_name;
    if (n.size() < 5 || n.compare(n.size() - 4, 4, ".cvo") != 0) continue;
    n.resize(n.size() - 4);
    const size_t us = n.find('_');
    if (us == std::string::npos) continue;
    lines.push_back(n.substr(us + 1) + " -> " + n.substr(0, us));
    if (verbose) lines.back() += "\t" + std::string(e->d_name) + "\t" + file_info(dir + "/" + e->d_name);
  }
  closedir(d);
  std::sort(lines.begin(), lines.end());
  for (const std::string &l : lines) printf("%s\n", l.c_str());
  return kOk;
}

struct Converter {
  conv_object *cv = nullptr;  // null: the same codeset, copied
  bool skip_invalid = false;
  FILE *out = nullptr;
};

// Converts one input; 0, or 1 after a message. Memory stays fixed whatever
// the input's size: one piece read, one read ahead, the few bytes of a
// character cut between them, and the output of one piece.
int convert_stream(Converter &c, const char *path, Meter &m) {
  const bool std_in = strcmp(path, "-") == 0;
  FILE *in = std_in ? stdin : fopen(path, "rb");
  if (!in) {
    error("iconv", "cannot read %s: %s", path, strerror(errno));
    return kDataError;
  }
  const char *label = std_in ? "standard input" : path;
  struct stat st{};
  const double total = fstat(fileno(in), &st) == 0 && S_ISREG(st.st_mode) ? static_cast<double>(st.st_size) / 1e6 : 0;
  conv_state state{1, 0, 0, 0};
  std::string pending;     // bytes not yet converted (a character split between pieces)
  std::string out(kPiece * 4 + 64, '\0');
  long long consumed = 0;  // bytes of the input behind us
  char piece[kPiece], ahead[kPiece];
  size_t got = fread(piece, 1, kPiece, in);
  auto put_out = [&](const char *p, size_t n) {
    fwrite(p, 1, n, c.out);
    m.out += static_cast<long long>(n);
  };
  // A stateful target announces its shifted set once, ahead of the text
  // (ISO-2022-KR's ESC $ ) C): the converters write only the shifts.
  if (c.cv && c.cv->target_stateful && got > 0 && c.cv->shift_len[2] > 0 && c.cv->shift_len[2] <= 4)
    put_out(reinterpret_cast<const char *>(c.cv->shift_seq[2]), static_cast<size_t>(c.cv->shift_len[2]));
  for (;;) {
    m.in += static_cast<long long>(got);
    pending.append(piece, got);
    // Look ahead one piece to know whether this one is the final piece.
    const size_t next = got == kPiece ? fread(ahead, 1, kPiece, in) : 0;
    const bool last = next == 0;
    state.last = last ? 1 : 0;
    size_t at = 0;  // bytes of pending converted so far
    if (!c.cv) {
      put_out(pending.data(), pending.size());
      at = pending.size();
    }
    while (c.cv && at < pending.size()) {
      const char *src = pending.data() + at;
      int32_t src_len = static_cast<int32_t>(pending.size() - at);
      char *dst = out.data();
      int32_t room = static_cast<int32_t>(out.size());
      int32_t flag = 0;
      c.cv->vl_errno = 0;
      const int rc = vl_cv_mconv(c.cv, &state, &src, &src_len, &dst, &room, &flag);
      state.first = 0;
      put_out(out.data(), static_cast<size_t>(dst - out.data()));
      at = static_cast<size_t>(src - pending.data());
      if (rc == 0) continue;
      if (c.cv->vl_errno == VL_E2BIG) continue;
      // A character cut by the end of this piece waits for the next one.
      const size_t left = pending.size() - at;
      if (!last && static_cast<int32_t>(left) < c.cv->source_max_len) break;
      if (c.skip_invalid) {
        at += std::min(static_cast<size_t>(std::max<int32_t>(1, c.cv->source_min_len)), left);
        continue;
      }
      const long long where = consumed + static_cast<long long>(at);
      if (last && static_cast<int32_t>(left) < c.cv->source_max_len && c.cv->vl_errno == VL_EINVAL)
        error("iconv", "%s: incomplete character or shift sequence at end of buffer (byte %lld)", label, where);
      else
        error("iconv", "%s: illegal input sequence at position %lld", label, where);
      if (!std_in) fclose(in);
      return kDataError;
    }
    consumed += static_cast<long long>(at);
    pending.erase(0, at);
    m.tick("converted", static_cast<double>(consumed) / 1e6, total, "MB");
    if (last) break;
    memcpy(piece, ahead, next);
    got = next;
  }
  if (!std_in) fclose(in);
  return kOk;
}

}  // namespace

int verb_iconv(int argc, char **argv) {
  Args a;
  if (!parse("iconv", argc, argv, 2, "fto", "clv--stats--progress", false, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  -f FROM, -t TO  codesets by the library's names (sjis, utf8, 8859-1 ...) or the C library's\n"
           "                  (SHIFT_JIS, UTF-8, ISO-8859-1 ...)\n"
           "  -c              drop characters that cannot be converted\n"
           "  -o FILE         write to FILE instead of standard output\n"
           "  -l              the shipped conversions (-v: with their files and what made them)\n"
           "  --stats         bytes in and out, time, throughput and peak memory on standard error\n"
           "  --progress      progress on standard error from the start (else only on a terminal,\n"
           "                  after a few seconds)\n"
           "  Input is converted in pieces of %zu bytes: memory stays the same for any size.\n",
           kUsage, kPiece);
    return kOk;
  }
  if (a.has("-l")) return list_pairs(a.has("-v"));
  const char *from = a.value("-f"), *to = a.value("-t");
  if (!from || !to) return usage_error("iconv", kUsage, "-f and -t are needed");
  Converter c;
  c.skip_invalid = a.has("-c");
  const std::string f = library_codeset(from), t = library_codeset(to);
  if (f != t) {
    if (vl_iconv_open(&c.cv, f.c_str(), t.c_str()) != 0) {
      // Perhaps locale specifications (ja_JP.sjis) rather than codeset names.
      // (A failed open hands back an object holding the reason.)
      if (c.cv) vl_cv_unload(c.cv);
      c.cv = nullptr;
      conv_object *cv = nullptr;
      const int rc = vl_cv_load(&cv, from, to, nullptr, nullptr);
      if (rc < 0) {
        if (cv) vl_cv_unload(cv);
        struct { uint32_t vl_errno; } scratch{0};
        const bool known_from = vl_lc_spec2cs_num(&scratch, f.c_str(), nullptr) != VL_CS_NONE;
        const bool known_to = vl_lc_spec2cs_num(&scratch, t.c_str(), nullptr) != VL_CS_NONE;
        if (!known_from || !known_to)
          error("iconv", "cannot convert from %s to %s: the registry knows no codeset '%s' (vls iconv -l lists the "
                "conversions)", from, to, known_from ? to : from);
        else
          error("iconv", "cannot convert from %s to %s: no such conversion is shipped (vls iconv -l lists them)",
                from, to);
        return kDataError;
      }
      c.cv = cv;  // null when both name the same codeset
    }
  }
  const char *out_path = a.value("-o");
  c.out = out_path ? fopen(out_path, "wb") : stdout;
  if (!c.out) {
    error("iconv", "cannot write %s: %s", out_path, strerror(errno));
    if (c.cv) vl_cv_unload(c.cv);
    return kDataError;
  }
  std::vector<std::string> inputs = a.operands;
  if (inputs.empty()) inputs.push_back("-");
  int status = kOk;
  Meter m("iconv", a);
  for (const std::string &in : inputs) {
    const int rc = convert_stream(c, in.c_str(), m);
    if (rc != kOk) status = rc;
    if (rc != kOk && !c.skip_invalid) break;
  }
  if (fflush(c.out) != 0) status = kDataError;
  m.done();
  if (out_path) fclose(c.out);
  if (c.cv) vl_cv_unload(c.cv);
  return status;
}

}  // namespace vlscli
