#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "KelvoraCore/ZDSystemMonitor.h"

#include "ports/Ports.h"
#include "sysinfo/InterfaceList.h"

namespace kelvora {

ZDNetworkUsage ZDSystemMonitor::networkUsageInfo() const {
  try {
    return interfaceTotals(interfaceList(platform_.systemControls()));
  } catch (const std::system_error& error) {
    std::fprintf(stderr, "sysctl: %s\n", error.code().message().c_str());
    std::exit(EXIT_FAILURE);
  }
}

}  // namespace kelvora
