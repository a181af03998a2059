// Loading and releasing every shipped locale and conversion many times in
// one process leaves the heap (blocks counted through the host table) and
// the open files (descriptors in /proc/self/fd, and streams counted through
// the host table in the first and the last round) where they were after
// the first round. The rounds between keep the default stream slots, so
// that loads take the way they take in a host that keeps them.
#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vls/libvls.h>
#include <vls/vlscoll.h>

#include "vlstest.h"

namespace {

const std::string kKelvanix = VLS_TEST_BINARY_DIR "/../kelvanix";  // the build's shipped tree

long live_blocks = 0, open_streams = 0;
void *count_malloc(size_t n) {
  void *p = malloc(n);
  live_blocks += p != nullptr;
  return p;
}
void *count_calloc(size_t n, size_t size) {
  void *p = calloc(n, size);
  live_blocks += p != nullptr;
  return p;
}
void *count_realloc(void *p, size_t n) {
  void *q = realloc(p, n);
  live_blocks += !p && q;
  return q;
}
void count_free(void *p) {
  live_blocks -= p != nullptr;
  free(p);
}
void *count_fopen(const char *path, const char *mode) {
  void *f = vl_ext_fopen(path, mode);
  open_streams += f != nullptr;
  return f;
}
int count_fclose(void *f) {
  open_streams -= f != nullptr;
  return vl_ext_fclose(f);
}

int open_fds() {
  int n = 0;
  if (DIR *d = opendir("/proc/self/fd")) {
    while (readdir(d)) ++n;
    closedir(d);
  }
  return n;
}

// The files below dir (one level of subdirectories) ending in ext.
std::vector<std::string> files(const std::string &dir, const std::string &ext) {
  std::vector<std::string> out;
  std::function<void(const std::string &, const std::string &)> walk = [&](const std::string &abs,
                                                                             const std::string &rel) {
    DIR *d = opendir(abs.c_str());
    if (!d) return;
    while (dirent *e = readdir(d)) {
      const std::string n = e->d_name;
      if (n == "." || n == "..") continue;
      if (e->d_type == DT_DIR) walk(abs + "/" + n, rel + n + "/");
      else if (n.size() > ext.size() && n.compare(n.size() - ext.size(), ext.size(), ext) == 0) out.push_back(rel + n);
    }
    closedir(d);
  };
  walk(dir, "");
  return out;
}

TEST(Leak, EveryLocaleAndConversionLoadedAndReleasedManyTimes) {
  vlstest::EnvVar kvx("KELVANIXDIR", kKelvanix.c_str());
  const std::vector<std::string> locales = files(kKelvanix + "/vls/lc11", ".lco");
  std::vector<std::pair<std::string, std::string>> pairs;  // source, target of each named conversion
  for (const std::string &f : files(kKelvanix + "/vls/cv9", ".cvo")) {
    const size_t us = f.find('_');
    if (us != std::string::npos) pairs.emplace_back(f.substr(us + 1, f.size() - us - 5), f.substr(0, us));
  }
  ASSERT_GE(locales.size(), 20u);
  ASSERT_GE(pairs.size(), 40u);
  const std::pair<int, void *> slots[] = {
      {VL_EXT_MALLOC, reinterpret_cast<void *>(&count_malloc)},   {VL_EXT_CALLOC, reinterpret_cast<void *>(&count_calloc)},
      {VL_EXT_REALLOC, reinterpret_cast<void *>(&count_realloc)}, {VL_EXT_FREE, reinterpret_cast<void *>(&count_free)},
  };
  for (const auto &[slot, f] : slots) _vl_set_ext_funcptr(slot, f);
  auto count_streams = [](bool on) {
    _vl_set_ext_funcptr(VL_EXT_FOPEN, on ? reinterpret_cast<void *>(&count_fopen) : nullptr);
    _vl_set_ext_funcptr(VL_EXT_FCLOSE, on ? reinterpret_cast<void *>(&count_fclose) : nullptr);
  };
  // The collation lists a multibyte locale makes on request are made in
  // the first and the last round.
  auto round = [&](bool lists) {
    for (const std::string &file : locales) {
      vl_locale_t *h = nullptr;
      ASSERT_EQ(vl_create_null_locale_4(&h), 0);
      char *r = vl_setlocale_4(h, VL_LC_ALL, file.c_str());
      EXPECT_NE(r, nullptr) << file << " vl_errno " << h->vl_errno;
      if (lists) {
        EXPECT_EQ(vl_coll_lists(h), 0) << file;
      }
      vl_destroystring(r);
      vl_lc_unload(h);
    }
    for (const auto &[from, to] : pairs) {
      conv_object *cv = nullptr;
      EXPECT_EQ(vl_iconv_open(&cv, from.c_str(), to.c_str()), 0) << from << " -> " << to;
      if (cv) {
        EXPECT_EQ(vl_cv_unload(cv), 0);
      }
    }
  };
  count_streams(true);
  round(true);  // process-wide state (the registry, the default locale) settles in the first
  count_streams(false);
  const long blocks = live_blocks, streams = open_streams;
  const int fds = open_fds();
  const int rounds = getenv("VLS_LEAK_ROUNDS") ? atoi(getenv("VLS_LEAK_ROUNDS")) : VLS_LEAK_ROUNDS;
  for (int i = 1; i < rounds && !HasFailure(); ++i) {
    count_streams(i == rounds - 1);
    round(i == rounds - 1);
  }
  count_streams(false);
  EXPECT_EQ(live_blocks, blocks);
  EXPECT_EQ(open_streams, streams);
  EXPECT_EQ(open_fds(), fds);
  for (const auto &[slot, f] : slots) _vl_set_ext_funcptr(slot, nullptr);
}

// The trees of one load share their flag arrays, and each tree stays whole
// until it goes: a handle whose categories come from three loads answers as
// the handles of those loads do, before and after they are released.
TEST(Leak, TreesOfOneLoadShareFlagsAndOutliveEachOther) {
  vlstest::EnvVar kvx("KELVANIXDIR", kKelvanix.c_str());
  auto load = [](vl_locale_t *h, int category, const char *file) {
    char *r = vl_setlocale_4(h, category, file);
    vl_destroystring(r);
    return r != nullptr;
  };
  vl_locale_t *mixed = nullptr, *coll = nullptr, *ctype = nullptr;
  for (vl_locale_t **h : {&mixed, &coll, &ctype}) ASSERT_EQ(vl_create_null_locale_4(h), 0);
  ASSERT_TRUE(load(mixed, VL_LC_ALL, "en_us/e01c.lco")) << mixed->vl_errno;
  EXPECT_EQ(mixed->ctype.ctype_tree->root->flags, mixed->ctype.case_tree->root->flags);
  EXPECT_EQ(mixed->ctype.ctype_tree->root->flags, mixed->coll_rows->root->flags);
  ASSERT_TRUE(load(mixed, VL_LC_COLLATE, "fr_fr/e01c.lco") && load(mixed, VL_LC_CTYPE, "ru_ru/e01c.lco") &&
              load(coll, VL_LC_ALL, "fr_fr/e01c.lco") && load(ctype, VL_LC_ALL, "ru_ru/e01c.lco"));
  const char *samples[] = {"A", "\xC3\xA9", "\xD0\x96", "\xE4\xB8\x80", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80"};
  std::vector<uint16_t> want;
  auto rows = [&](const vl_locale_t *a, const vl_locale_t *b) {
    std::vector<uint16_t> out;
    for (const char *s : samples)
      for (const multi_t *t : {a->ctype.ctype_tree, a->ctype.case_tree, b->coll_rows}) {
        struct { uint32_t vl_errno = 0; } e;
        const void *row = _vl_retrieve_text_multi_nl(reinterpret_cast<const unsigned char *>(s), t, &e);
        uint16_t v = 0xFFFF;
        if (row) memcpy(&v, row, sizeof v);
        out.push_back(v);
      }
    return out;
  };
  want = rows(ctype, coll);
  EXPECT_EQ(rows(mixed, mixed), want);
  vl_lc_unload(ctype);
  vl_lc_unload(coll);
  EXPECT_EQ(rows(mixed, mixed), want);
  vl_lc_unload(mixed);
}

}  // namespace
