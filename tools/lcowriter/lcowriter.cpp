#include "lcowriter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vls/vlsmulti.h>

namespace lcow {

int write_u16(void *stream, const void *row) {
  uint16_t v;
  memcpy(&v, row, 2);
  return fprintf(static_cast<FILE *>(stream), "%04x", v) < 0 ? -1 : 0;
}

multi_t *build_tree(const std::vector<Row> &rows, bool compress, size_t *bad) {
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  size_t i = 0;
  for (; t && i < rows.size(); ++i) {
    vl_desc_t d{};
    d.length = static_cast<uint32_t>(rows[i].bytes.size());
    for (size_t k = 0; k < rows[i].bytes.size() && k < 4; ++k) d.bytes[k] = static_cast<unsigned char>(rows[i].bytes[k]);
    if (_vl_insert_desc_multi(&d, rows[i].has_value ? &rows[i].value : nullptr, t) != 0) break;
  }
  if (t && i == rows.size() && (!compress || _vl_compress_multi(t) == 0)) return t;
  if (bad) *bad = i;
  _vl_free_multi(t);
  return nullptr;
}

bool tree_text(multi_t *tree, std::string &out) {
  char *buf = nullptr;
  size_t len = 0;
  FILE *f = open_memstream(&buf, &len);
  if (!f) return false;
  int rc = _vl_fprintf_multi(f, tree, write_u16);
  fclose(f);
  out.append(buf ? buf : "", len);
  free(buf);
  return rc >= 0;
}

bool tree_text(const std::vector<Row> &rows, bool compress, std::string &out, size_t *bad) {
  multi_t *t = build_tree(rows, compress, bad);
  bool ok = t && tree_text(t, out);
  if (t && !ok && bad) *bad = rows.size();
  _vl_free_multi(t);
  return ok;
}

bool ctype_section(const Ctype &c, std::string &out, size_t *bad) {
  if (!tree_text(c.class_rows, c.compress, out, bad)) return false;
  out += std::to_string(c.classes.size()) + "\n";
  for (const auto &k : c.classes) out += std::to_string(k.first) + " " + k.second + "\n";
  if (!tree_text(c.case_rows, c.compress, out, bad)) return false;
  out += std::to_string(c.pairs.size());
  char buf[24];
  for (const auto &p : c.pairs) {
    snprintf(buf, sizeof buf, "\n%08x%08x", p.first, p.second);
    out += buf;
  }
  out += c.tail;
  return true;
}

std::string str_item(const std::string &bytes) {
  std::string out = std::to_string(bytes.size()) + " ";
  char hex[3];
  for (unsigned char c : bytes) {
    snprintf(hex, sizeof hex, "%02X", c);
    out += hex;
  }
  return out + "\n";
}

std::string list_item(const std::vector<std::string> &strings) {
  std::string out = std::to_string(strings.size()) + "\n";
  for (const auto &s : strings) out += str_item(s);
  return out;
}

std::string group_item(const std::vector<long> &sizes) {
  std::string out = std::to_string(sizes.size());
  for (long v : sizes) out += " " + std::to_string(v);
  return out + "\n";
}

std::string header(const std::string &codeset, const std::vector<std::string> &info) {
  std::string out = "FILE_TYPE=locale_object\nCOMPILER_VERSION=11\n";
  out += "HEADER_LINES=" + std::to_string(3 + info.size()) + "\n";
  for (const auto &l : info) out += l + "\n";
  return out + codeset + "\n";
}

}  // namespace lcow
