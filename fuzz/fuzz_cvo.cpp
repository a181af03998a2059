// The ".cvo" reader on arbitrary bytes, then the converters on the text.
//
// Input: byte 0 sets the run (bit 1: measure only; bits 2-7: the room, in
// steps of 4 bytes); then the
// text part (services.h: a length byte, a split byte, the text); the rest
// is the file. A read that succeeds must give an object the converters
// can walk: the text is converted whole and in two pieces through a state,
// and every run must stay inside its room and move the pointers only
// forward, consistently with what it wrote. (Runs are counted: a run up to
// the terminator trusts the text to hold one.)
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <vls/vls.h>
#include <vls/vlscv.h>
#include <vls/vlsmulti.h>

#include "services.h"

using vlsfuzz::check;

namespace {

void run(conv_object *cv, conv_state *st, const uint8_t *text, size_t size, bool measure, int32_t room) {
  std::vector<char> out(static_cast<size_t>(room) + 16, '\x5A');
  std::vector<char> in(text, text + size);
  in.push_back('\0');
  const char *s = in.data();
  char *t = out.data();
  int32_t n = static_cast<int32_t>(size), r = room, flag = -1;
  const int rc = vl_cv_mconv(cv, st, &s, &n, measure ? nullptr : &t, &r, &flag);
  check(rc == 0 || rc == -1);
  check(flag == 0 || flag == 1);
  check(s >= in.data() && s <= in.data() + in.size());
  check(n >= 0 && n == static_cast<int32_t>(size) - (s - in.data()));
  if (!measure) {
    check(t >= out.data() && t - out.data() == room - r);
    check(r >= 0);
    for (size_t i = static_cast<size_t>(room); i < out.size(); ++i) check(out[i] == '\x5A');
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const uint8_t mode = data[0];
  const vlsfuzz::Input in = vlsfuzz::split_input(data + 1, size - 1);
  FILE *f = in.rest_size ? fmemopen(const_cast<uint8_t *>(in.rest), in.rest_size, "r") : tmpfile();
  if (!f) return 0;
  conv_object cv{};
  const int rc = read_cv_file(f, &cv);
  if (rc != 0) fclose(f);  // closed by the reader on success
  if (rc == 0) {
    const bool measure = mode & 2;
    const int32_t room = (mode >> 2) * 4;
    run(&cv, nullptr, in.text, in.text_size, measure, room);
    conv_state st{1, 0, 0, 0};
    run(&cv, &st, in.text, in.split, measure, room);
    st.first = 0, st.last = 1;
    run(&cv, &st, in.text + in.split, in.text_size - in.split, measure, room);
    check(vl_cv_outbuflen(&cv, 0) == 0);
  }
  _vl_free_multi(cv.tree);
  _vl_free_multi(cv.shifted_tree);
  _vl_ext_free(cv.sb_table);
  return 0;
}
