#include "vlstest.h"

#include <filesystem>
#include <iterator>

extern "C" __attribute__((weak)) void __gcov_dump(void);

namespace vlstest {

TempDir::TempDir() {
  char tmpl[] = "/tmp/vlstest.XXXXXX";
  path_ = mkdtemp(tmpl) ? tmpl : "/tmp";
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string TempDir::write(const std::string &name, const std::string &content) const {
  std::string full = file(name);
  std::filesystem::create_directories(std::filesystem::path(full).parent_path());
  std::ofstream(full, std::ios::binary) << content;
  return full;
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

EnvVar::EnvVar(const char *name, const char *value) : name_(name), old_(getenv(name) ? getenv(name) : ""), had_(getenv(name)) {
  value ? setenv(name, value, 1) : unsetenv(name);
}

EnvVar::~EnvVar() { had_ ? setenv(name_.c_str(), old_.c_str(), 1) : unsetenv(name_.c_str()); }

int in_child(const std::string &dir, void (*body)(void *), void *arg) {
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    if (!dir.empty() && chdir(dir.c_str()) != 0) _exit(99);
    body(arg);
    fflush(stdout);
    _exit(0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int in_test_child(const std::string &dir, const std::function<void()> &body) {
  return in_child(dir, [](void *p) {
    const testing::TestResult *r = testing::UnitTest::GetInstance()->current_test_info()->result();
    const int before = r->total_part_count();  // earlier rows' failures are in the same test
    (*static_cast<const std::function<void()> *>(p))();
    if (__gcov_dump) __gcov_dump();
    fflush(stdout);
    _exit(r->total_part_count() > before ? 1 : 0);
  }, const_cast<std::function<void()> *>(&body));
}

vl_desc_t desc(std::initializer_list<unsigned> bytes) {
  vl_desc_t d{static_cast<uint32_t>(bytes.size()), {}};
  unsigned i = 0;
  for (unsigned b : bytes)
    if (i < 4) d.bytes[i++] = static_cast<unsigned char>(b);
  return d;
}

int read_u16(void *stream, void *target, uint32_t) {
  uint16_t v = static_cast<uint16_t>(_vl_get_hex(stream, 4));
  memcpy(target, &v, 2);
  return 0;
}

int read_bytes(void *stream, void *target, uint32_t size) {
  auto *t = static_cast<unsigned char *>(target);
  for (uint32_t i = 0; i < size; ++i) t[i] = static_cast<unsigned char>(_vl_get_hex_byte(stream));
  return 0;
}

std::string print_tree(multi_t *tree, vl_multi_writer writer) {
  char *buf = nullptr;
  size_t len = 0;
  FILE *f = open_memstream(&buf, &len);
  _vl_fprintf_multi(f, tree, writer);
  fclose(f);
  std::string s(buf, len);
  free(buf);
  return s;
}

multi_t *scan_tree(const std::string &text, uint32_t data_size, int longest, vl_multi_reader reader, int *rc,
                   int *err) {
  const uint16_t zero[8] = {};
  multi_t *t = _vl_create_multi(data_size, 0, zero);
  FILE *f = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
  if (!f) f = tmpfile();  // empty text
  *rc = _vl_fscanf_multi(f, t, longest, reader);
  fclose(f);
  *err = _vl_multi_err(t);
  if (*rc != 0) {
    _vl_free_multi(t);
    return nullptr;
  }
  return t;
}

ProgramResult run_program(const std::vector<std::string> &argv, const std::string &input,
                          const std::vector<std::string> &env) {
  TempDir dir;
  const std::string in = dir.write("in", input), out = dir.file("out"), err = dir.file("err");
  const pid_t pid = fork();
  if (pid == 0) {
    for (const std::string &e : env) {
      const size_t eq = e.find('=');
      if (eq == std::string::npos) unsetenv(e.c_str());
      else setenv(e.substr(0, eq).c_str(), e.c_str() + eq + 1, 1);
    }
    const int fds[3] = {open(in.c_str(), O_RDONLY), open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600),
                        open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)};
    for (int i = 0; i < 3; ++i) dup2(fds[i], i);
    std::vector<char *> args;
    for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  int st = 0;
  waitpid(pid, &st, 0);
  ProgramResult r;
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  r.out = read_file(out);
  r.err = read_file(err);
  return r;
}

}  // namespace vlstest
