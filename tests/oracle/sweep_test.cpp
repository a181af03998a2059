// Every locale that Debian's locales package lists as supported
// (/usr/share/i18n/SUPPORTED, "name charmap" a line) compiles with
// vls-localedef from its source and charmap, and the library loads it as a
// whole locale whose codeset the registry knows. Compiles run in parallel;
// the build runs this test in the 64-bit configuration only, since each
// UTF-8 locale takes a few seconds to compile (500 pairs: some 20 minutes
// of CPU time). VLS_SKIP_SWEEP=1 in the environment skips it.
#include "vlstest.h"

#include <atomic>
#include <chrono>
#include <sstream>

using vlstest::TempDir;

namespace {

struct Pair {
  std::string name;     // as SUPPORTED has it: uk_UA.UTF-8, sr_RS@latin, de_DE
  std::string charmap;  // UTF-8, ISO-8859-1, ...
  std::string source;   // the name without its ".codeset": uk_UA, sr_RS@latin
  int status = -1;
  double seconds = 0;
  std::string err;
};

std::vector<Pair> supported(const std::string &path) {
  std::vector<Pair> out;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream is(line);
    Pair p;
    if (line.empty() || line[0] == '#' || !(is >> p.name >> p.charmap)) continue;
    size_t at = p.name.find('@');
    std::string base = p.name.substr(0, at), mod = at == std::string::npos ? "" : p.name.substr(at);
    p.source = base.substr(0, base.find('.')) + mod;
    out.push_back(p);
  }
  return out;
}

std::string lco(size_t i) { return "s" + std::to_string(i) + ".lco"; }

}  // namespace

TEST(Sweep, SupportedLocalesCompileAndLoad) {
  if (const char *skip = getenv("VLS_SKIP_SWEEP"); skip && *skip && *skip != '0') GTEST_SKIP() << "VLS_SKIP_SWEEP";
  const std::string locales = VLS_I18N_LOCALES, charmaps = VLS_I18N_CHARMAPS;
  std::vector<Pair> pairs = supported(locales + "/../SUPPORTED");
  if (pairs.empty()) GTEST_SKIP() << "no " << locales << "/../SUPPORTED";
  TempDir d;
  // The registry beside the files: the library finds it on VL_PATH.
  const std::string registry = d.write("registry", vlstest::read_file(VLS_SWEEP_REGISTRY));

  std::atomic<size_t> next{0};
  auto work = [&] {
    for (size_t i; (i = next++) < pairs.size();) {
      Pair &p = pairs[i];
      const std::string errf = d.file("err" + std::to_string(i));
      const std::string cmd = "'" VLS_LOCALEDEF_EXE "' -q -i '" + p.source + "' -f '" + p.charmap + "' -I '" + locales +
                              "' --charmaps '" + charmaps + "' --registry '" + registry + "' '" + d.file(lco(i)) +
                              "' 2>'" + errf + "'";
      auto t0 = std::chrono::steady_clock::now();
      int rc = system(cmd.c_str());
      p.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
      p.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
      p.err = vlstest::read_file(errf);
    }
  };
  unsigned jobs = std::max(2u, std::thread::hardware_concurrency());
  std::vector<std::thread> threads;
  for (unsigned j = 0; j < jobs; ++j) threads.emplace_back(work);
  for (auto &t : threads) t.join();

  vlstest::EnvVar path("VL_PATH", d.path().c_str());
  size_t compiled = 0, loaded = 0;
  double total = 0, slowest = 0;
  std::string slowest_name;
  for (size_t i = 0; i < pairs.size(); ++i) {
    const Pair &p = pairs[i];
    SCOPED_TRACE(p.name + " " + p.charmap);
    total += p.seconds;
    if (p.seconds > slowest) slowest = p.seconds, slowest_name = p.name;
    EXPECT_EQ(p.status, 0) << p.err;
    if (p.status != 0) continue;
    ++compiled;
    vl_locale_t *h = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&h), 0);
    char *r = vl_setlocale_4(h, VL_LC_ALL, lco(i).c_str());
    EXPECT_NE(r, nullptr) << "vl_errno " << h->vl_errno;
    if (r) {
      EXPECT_NE(vl_cs_name2cs_num(nullptr, h->codeset_names[0], registry.c_str()), VL_CS_NONE) << h->codeset_names[0];
      EXPECT_GT(h->ctype.ctype_tree->max_length, 0);
      ++loaded;
    }
    vl_destroystring(r);
    vl_lc_unload(h);
  }
  printf("%zu pairs: %zu compiled, %zu loaded; compiling took %.0f s in all (%u at once), %.1f s at most (%s)\n",
         pairs.size(), compiled, loaded, total, jobs, slowest, slowest_name.c_str());
}
