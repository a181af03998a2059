// Driver of tests/decmodel.py: the operations of decops.h, one a line.
#include "decops.h"

int main() {
  static char line[4096];
  const decimal_t null_rec = decops::rec("null");
  int decpt, sign;
  deccvt(&null_rec, 1000, &decpt, &sign, 0);  // a shared buffer that no request of the model outgrows
  while (fgets(line, sizeof line, stdin)) printf("%s\n", decops::run(line).c_str());
  return 0;
}
