// Runs a fuzz target's LLVMFuzzerTestOneInput on fixed inputs, without
// libFuzzer: every regular file of each directory named on the command
// line (a file name is taken as one input; a missing directory is
// skipped). Used by the replay tests of the ordinary builds, so that every
// seed and every input that once crashed stays a test case.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fs = std::filesystem;

static bool run_file(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A copy of its own, so that a read past the input is seen as one.
  std::vector<uint8_t> input(bytes.begin(), bytes.end());
  fprintf(stderr, "replay %s (%zu bytes)\n", path.c_str(), input.size());
  LLVMFuzzerTestOneInput(input.empty() ? nullptr : input.data(), input.size());
  return true;
}

int main(int argc, char **argv) {
  size_t count = 0;
  bool ok = true;
  for (int i = 1; i < argc; ++i) {
    const fs::path arg(argv[i]);
    std::error_code ec;
    if (fs::is_regular_file(arg, ec)) {
      ok = run_file(arg) && ok;
      ++count;
      continue;
    }
    if (!fs::is_directory(arg, ec)) continue;
    std::vector<fs::path> files;
    for (const auto &e : fs::recursive_directory_iterator(arg, ec))
      if (e.is_regular_file()) files.push_back(e.path());
    std::sort(files.begin(), files.end());
    for (const auto &f : files) {
      ok = run_file(f) && ok;
      ++count;
    }
  }
  printf("%zu inputs replayed\n", count);
  return ok ? 0 : 1;
}
