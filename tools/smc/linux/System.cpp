#include "tools/smc/System.h"

#include <climits>

#include <unistd.h>

namespace kelvora::tool {

char**& environment() { return environ; }

bool closeDescriptorsFrom(int first) {
  return close_range(static_cast<unsigned>(first), UINT_MAX, 0) == 0;
}

}  // namespace kelvora::tool
