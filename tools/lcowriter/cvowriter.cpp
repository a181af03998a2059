#include "cvowriter.h"

#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cstring>

#include <vls/vlsmulti.h>

namespace cvow {
namespace {

int g_entry_size = 2;  // the printer's row size; set before each print

int write_entry(void *stream, const void *row) {
  const auto *r = static_cast<const unsigned char *>(row);
  FILE *f = static_cast<FILE *>(stream);
  if (fprintf(f, "%02x", r[0]) < 0) return -1;
  for (int i = 1; i <= (r[0] & 7) && i < g_entry_size; ++i)
    if (fprintf(f, "%02x", r[i]) < 0) return -1;
  return 0;
}

bool tree_text(const std::vector<Entry> &entries, const Object &o, size_t first, std::string &out,
               size_t *bad) {
  const int size = o.target_max_len + 1;
  std::vector<unsigned char> zero(size, 0), row(size);
  multi_t *t = _vl_create_multi(static_cast<uint32_t>(size), 0, zero.data());
  size_t i = 0;
  for (; t && i < entries.size(); ++i) {
    const Entry &e = entries[i];
    if (e.source.empty() || e.source.size() > 4 || e.target.size() > static_cast<size_t>(o.target_max_len) ||
        e.target.size() > 7)
      break;
    vl_desc_t d{};
    d.length = static_cast<uint32_t>(e.source.size());
    memcpy(d.bytes, e.source.data(), e.source.size());
    std::fill(row.begin(), row.end(), 0);
    row[0] = static_cast<unsigned char>((e.flags & 0xF8) | e.target.size());
    memcpy(row.data() + 1, e.target.data(), e.target.size());
    if (_vl_insert_desc_multi(&d, row.data(), t) != 0) break;
  }
  bool ok = t && i == entries.size() && (!o.compress || _vl_compress_multi(t) == 0);
  if (ok) {
    char *buf = nullptr;
    size_t len = 0;
    FILE *f = open_memstream(&buf, &len);
    g_entry_size = size;
    ok = f && _vl_fprintf_multi(f, t, write_entry) >= 0;
    if (f) fclose(f);
    out.append(buf ? buf : "", len);
    free(buf);
  }
  if (!ok && bad) *bad = first + i;
  _vl_free_multi(t);
  return ok;
}

std::string seq_text(const std::string &s) {
  char buf[4];
  snprintf(buf, sizeof buf, "%x", static_cast<unsigned>(s.size() & 0xF));
  std::string out = buf;
  for (unsigned char c : s) {
    snprintf(buf, sizeof buf, "%02x", c);
    out += buf;
  }
  return out;
}

}  // namespace

bool cvo_text(const Object &o, std::string &out, size_t *bad) {
  out += "FILE_TYPE=codeset_conversion_object\nCOMPILER_VERSION=9\n";
  out += "HEADER_LINES=" + std::to_string(3 + o.info.size()) + "\n";
  for (const auto &l : o.info) out += l + "\n";
  out += std::to_string(o.source_stateful) + " " + std::to_string(o.target_stateful) + "\n";
  for (const auto &s : o.shift) out += seq_text(s);
  out += "\n";
  char buf[128];
  snprintf(buf, sizeof buf, "%d %d %d %d %d %d\n%d\n%.9g\n", o.target_min_len, o.target_max_len, o.spare_len[0],
           o.spare_len[1], o.source_min_len, o.source_max_len, o.partial_map, o.expansion);
  out += buf;
  if (o.target_max_len < 1 || o.target_max_len > 4) {
    if (bad) *bad = o.entries.size() + o.shifted.size();
    return false;
  }
  if (!tree_text(o.entries, o, 0, out, bad)) return false;
  return !o.source_stateful || tree_text(o.shifted, o, o.entries.size(), out, bad);
}

}  // namespace cvow
