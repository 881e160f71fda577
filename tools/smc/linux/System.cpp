#include "tools/smc/System.h"

#include <climits>

#include <sys/auxv.h>
#include <unistd.h>

namespace kelvora::tool {

bool hasRaisedRights() { return getauxval(AT_SECURE) != 0; }

char**& environment() { return environ; }

bool closeDescriptorsFrom(int first) {
  return close_range(static_cast<unsigned>(first), UINT_MAX, 0) == 0;
}

}  // namespace kelvora::tool
