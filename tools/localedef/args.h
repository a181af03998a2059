// The command lines of the compilers: options with a value are taken as
// "-i X", "-iX" and "--name=X" or "--name X"; a long option matches only
// whole or up to its "=".
#ifndef VLS_LDEF_ARGS_H
#define VLS_LDEF_ARGS_H

#include <cstring>
#include <string>

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

}  // namespace ldef

#endif
