// Library-internal: what the settings store needs of the client layer's
// locale state. Not installed.
#ifndef VLS_OSENV_H
#define VLS_OSENV_H

#include <cstdint>

#include <vls/vlscv.h>

namespace vls {

// The store converts a process value holding 8-bit bytes with csc_dc, and
// the gathered lists convert their values with csc_ab; the client list adds
// the locale keys in mode 1, all of them when nls_mode is not 0.
struct EnvClientState {
  conv_object *csc_dc;
  conv_object *csc_ab;
  int32_t mode;
  int32_t nls_mode;
};

// The client layer defines this beside its process-wide record. The store's
// own definition is weak and answers for a client that is not started: no
// conversions, mode 1, nls_mode 0.
EnvClientState env_client_state();

}  // namespace vls

#endif
