// The command lines of the compilers: options with a value are taken as
// "-i X", "-iX" and "--name=X" or "--name X"; a long option matches only
// whole or up to its "=".
#ifndef VLS_LDEF_ARGS_H
#define VLS_LDEF_ARGS_H

#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "ldef.h"

namespace ldef {

class Args {
 public:
  Args(int argc, char **argv) : argc_(argc), argv_(argv) {}
  // Moves to the next argument; false after the last.
  bool next() {
    if (++i_ >= argc_) return false;
    a_ = argv_[i_];
    return true;
  }
  const std::string &arg() const { return a_; }
  // The argument is the option `name`.
  bool is(const char *name) const {
    const size_t n = strlen(name);
    if (a_.compare(0, n, name) != 0) return false;
    return name[1] == '-' ? a_.size() == n || a_[n] == '=' : true;
  }
  // The option's value, from the argument itself or the next one.
  std::string value(const char *what) {
    const size_t eq = a_.find('=');
    if (a_.compare(0, 2, "--") == 0 && eq != std::string::npos) return a_.substr(eq + 1);
    if (a_.compare(0, 2, "--") != 0 && a_.size() > 2) return a_.substr(2);
    if (i_ + 1 >= argc_) throw Error(std::string("option ") + what + " needs a value");
    return argv_[++i_];
  }

 private:
  int argc_;
  char **argv_;
  int i_ = 0;
  std::string a_;
};

// The options both compilers take: -v, -q, -u, --charmaps DIR and
// --registry FILE. Takes the argument when it is one of them.
struct SharedOptions {
  bool *verbose, *quiet, *uncompressed;
  std::vector<std::string> *charmap_dirs;
  std::string *registry;
};
inline bool shared_option(Args &args, const SharedOptions &o) {
  const std::string &a = args.arg();
  if (a == "-v") *o.verbose = true;
  else if (a == "-q") *o.quiet = g_quiet = true;
  else if (a == "-u") *o.uncompressed = true;
  else if (args.is("--charmaps")) o.charmap_dirs->push_back(args.value("--charmaps"));
  else if (args.is("--registry")) *o.registry = args.value("--registry");
  else return false;
  return true;
}

// A compiler's main: the body's status, or 1 with "PROG: message" on
// standard error when it throws.
template <class Body>
int run_main(const char *prog, Body body) {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    std::cerr << prog << ": out of memory\n";
  } catch (const std::exception &e) {
    std::cerr << prog << ": " << e.what() << "\n";
  }
  return 1;
}

}  // namespace ldef

#endif
