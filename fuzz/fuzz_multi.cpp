// The byte tree reader on arbitrary text: first byte picks the data size
// and the longest key allowed; a tree that reads is walked and printed.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <vls/vls.h>

static int read_row(void *stream, void *target, uint32_t size) {
  auto *t = static_cast<unsigned char *>(target);
  for (uint32_t i = 0; i < size; ++i) t[i] = static_cast<unsigned char>(_vl_get_hex_byte(stream));
  return 0;
}

static uint32_t g_size;
static int write_row(void *stream, const void *row) {
  for (uint32_t i = 0; i < g_size; ++i) fprintf(static_cast<FILE *>(stream), "%02x", static_cast<const unsigned char *>(row)[i]);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  g_size = 1 + data[0] % 8;
  int longest = 1 + (data[0] >> 4) % 5;
  FILE *f = fmemopen(const_cast<uint8_t *>(data + 1), size - 1, "r");
  if (!f) return 0;
  unsigned char zero[8] = {};
  multi_t *t = _vl_create_multi(g_size, 0, zero);
  if (t && _vl_fscanf_multi(f, t, longest, read_row) == 0) {
    struct {
      uint32_t vl_errno;
    } rec{0};
    unsigned char s[5] = {};
    for (unsigned b = 0; b < 256; b += 7) {
      s[0] = static_cast<unsigned char>(b);
      s[1] = static_cast<unsigned char>(b * 3);
      s[2] = static_cast<unsigned char>(b * 5);
      s[3] = static_cast<unsigned char>(b * 11);
      _vl_retrieve_text_multi_limit_nl(s, t, 4, &rec);
      _vl_retrieve_wchar_multi_nl(&rec, b * 0x01010101u, t);
    }
    FILE *out = fopen("/dev/null", "w");
    if (out) {
      _vl_fprintf_multi(out, t, write_row);
      fclose(out);
    }
  }
  fclose(f);
  _vl_free_multi(t);
  return 0;
}
