// The time fixtures are inline in timefix.h; this unit keeps the header compiling on its own
// (bench/mbwc names this file among its sources).
#include "timefix.h"
