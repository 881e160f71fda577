#include "platforms/macos/hardware/MatchingServices.h"

namespace kelvora::platform {

KernelStatus findMatchingServices(const char* serviceClass, io_iterator_t* iterator) {
  // The null port is the default main port, by whichever name a version of the system calls it.
  // The call releases the dictionary, and refuses a null one.
  return static_cast<KernelStatus>(
      IOServiceGetMatchingServices(MACH_PORT_NULL, IOServiceMatching(serviceClass), iterator));
}

}  // namespace kelvora::platform
