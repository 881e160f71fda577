#pragma once

#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// Runs the system's tools.
class KELVORA_EXPORT ZDSystemKitHelper {
 public:
  /// Runs a program, e.g. ("/usr/sbin/system_profiler", {"SPHardwareDataType", "-json"}), and
  /// returns what it wrote to its standard output, as UTF-8 of up to 2 GB. Returns none when it
  /// cannot be launched (which is logged), when it wrote nothing, and when its output is not UTF-8.
  /// Its exit status does not count; its standard error is this process's. Blocks until it has
  /// closed its standard output. Any thread.
  static std::optional<std::string> processWithPath(
      const std::string& path, const std::vector<std::string>& arguments,
      platform::ChildProcesses& childProcesses = Platform::current().childProcesses());
};

}  // namespace kelvora
