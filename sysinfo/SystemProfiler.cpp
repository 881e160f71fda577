#include "sysinfo/SystemProfiler.h"

#include "KelvoraCore/ZDSystemKitHelper.h"

#include "ports/Ports.h"
#include "sysinfo/SystemControlValues.h"

namespace kelvora {

std::optional<std::string> systemProfilerReport(Platform& platform, const char* dataType) {
  if (!isMacOS(platform.systemControls())) {
    return std::nullopt;
  }
  return ZDSystemKitHelper::processWithPath("/usr/sbin/system_profiler", {dataType, "-json"},
                                            platform.childProcesses());
}

}  // namespace kelvora
