// Shared helpers of the test suites, and what every suite includes: the
// test framework, the library's interface and the standard headers in use.
#ifndef VLS_TEST_SUPPORT_H
#define VLS_TEST_SUPPORT_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <vls/libvls.h>

namespace vlstest {

// A fresh directory under the system temp area, removed with its contents.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string &path() const { return path_; }
  std::string file(const std::string &name) const { return path_ + "/" + name; }
  // Writes `content` to path()/name, creating intermediate directories.
  std::string write(const std::string &name, const std::string &content) const;

 private:
  std::string path_;
};

std::string read_file(const std::string &path);

// Bytes as hex digits, "(empty)" for none.
inline std::string hex(const std::string &b) {
  std::string o;
  for (unsigned char c : b) o += "0123456789abcdef"[c >> 4], o += "0123456789abcdef"[c & 15];
  return o.empty() ? "(empty)" : o;
}

// What a program run by run_program did: its exit status (-1 when it did
// not exit) and what it wrote on standard output and standard error.
struct ProgramResult { int status = -1; std::string out, err; };

// Runs a program (a path, or a name found through PATH) with `input` on
// standard input and `env` ("NAME=value", or "NAME" to remove) over the
// test's environment.
ProgramResult run_program(const std::vector<std::string> &argv, const std::string &input = "",
                          const std::vector<std::string> &env = {});

// Sets or clears an environment variable for the lifetime of the object.
class EnvVar {
 public:
  EnvVar(const char *name, const char *value);
  ~EnvVar();

 private:
  std::string name_, old_;
  bool had_;
};

// Runs `body` in a child process that starts in `dir` (if not empty);
// gives the child's exit status (or -1 if it did not exit normally).
int in_child(const std::string &dir, void (*body)(void *), void *arg);
// Runs `body` in such a child, which exits with 1 when the body added a
// test failure (0 otherwise) and writes its coverage counts first.
int in_test_child(const std::string &dir, const std::function<void()> &body);

// Key descriptor from bytes.
vl_desc_t desc(std::initializer_list<unsigned> bytes);

// Row readers: 16-bit values as four hex digits; any size as two hex digits a byte.
int read_u16(void *stream, void *target, uint32_t size);
int read_bytes(void *stream, void *target, uint32_t size);

// Prints a tree into a string through a temporary file.
std::string print_tree(multi_t *tree, vl_multi_writer writer);
// Reads a tree of the given data size back from text; null with *err set
// to the tree's error on failure (the tree is freed).
multi_t *scan_tree(const std::string &text, uint32_t data_size, int longest, vl_multi_reader reader, int *rc,
                   int *err);

}  // namespace vlstest

#endif
