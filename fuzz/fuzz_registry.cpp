// Fuzzes the registry reader: the input is served as the registry file
// through a replaced host fopen slot, and is read by the entry readers, the
// look-up and the cache, and then by the specification services that map
// codeset names through it.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <vls/vlsext.h>
#include <vls/vlsspec.h>

namespace {

struct Rec {
  uint32_t vl_errno;
  uint32_t pad[7];
};

constexpr const char kName[] = "fuzz-registry";
const uint8_t *g_data = nullptr;
size_t g_size = 0;

void *fuzz_fopen(const char *path, const char *mode) {
  if (strcmp(path, kName) != 0) return vl_ext_fopen(path, mode);
  if (g_size == 0) return fopen("/dev/null", "r");
  return fmemopen(const_cast<uint8_t *>(g_data), g_size, "r");
}

void walk_entries() {
  void *f = _vl_ext_fopen(kName, "r");
  if (!f) return;
  Rec r{};
  char name[VL_CS_NAME_MAX + 1];
  for (int i = 0; i < 100000 && _vl_next_cs_name_from_registry(f, name, sizeof name); ++i) {
    if (strlen(name) > VL_CS_NAME_MAX) __builtin_trap();
    if (_vl_next_cs_number_from_registry(&r, f) == VL_CS_NONE && r.vl_errno == 11) break;
    if (!ignore_till_eol(f)) break;
  }
  _vl_ext_fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool installed = false;
  if (!installed) {
    _vl_set_ext_funcptr(VL_EXT_FOPEN, reinterpret_cast<void *>(&fuzz_fopen));
    installed = true;
  }
  g_data = data;
  g_size = size;

  // A name taken from the input's first line, so that hits are reachable.
  char probe[40] = {};
  size_t n = 0;
  while (n < size && n < sizeof probe - 1 && data[n] != '\n' && data[n] != ' ' && data[n]) {
    probe[n] = static_cast<char>(data[n]);
    ++n;
  }

  walk_entries();

  Rec r{};
  vl_cs_name2cs_num(&r, "8859-1", kName);
  vl_cs_name2cs_num(&r, probe, kName);
  vl_cs_name2cs_num(nullptr, "819", kName);
  vl_lc_spec2cs_num(&r, "en_US.8859-1", kName);

  // A specification naming the probe as its codeset, turned into a file
  // name through the registry (8 KB: far above the longest file name).
  static char out[8192];
  char spec[64];
  snprintf(spec, sizeof spec, "en_US.%s", probe);
  vl_lc_spec2lc_fname(&r, spec, out, kName, nullptr);
  vl_lc_spec2cs_num(&r, spec, kName);

  vl_cache_registry(&r, kName);
  vl_cs_name2cs_num(&r, probe, kName);
  vl_cs_name2cs_num(&r, "12345", kName);
  vl_lc_spec2cs_num(&r, spec, kName);
  vl_lc_spec2lc_fname(&r, spec, out, kName, nullptr);
  vl_lc_spec2lc_norm(&r, spec, out, kName);
  vl_free_registry_cache();
  return 0;
}
