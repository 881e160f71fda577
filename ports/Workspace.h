#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

struct RunningApplication {
  std::int64_t pid = 0;
  std::string bundleIdentifier;  ///< e.g. "com.apple.Safari"
  std::string localizedName;     ///< e.g. "Safari"
};

/// Applications: AppKit's workspace. Any thread; completions arrive on a thread of the system's.
class Workspace {
 public:
  virtual ~Workspace() = default;
  /// Launches the application with a bundle identifier, without waiting; false when none is known.
  virtual bool launchApplication(std::string_view bundleIdentifier) = 0;
  /// Opens the application at a path with a default configuration and then calls `completion` with
  /// none, or with what went wrong.
  virtual void openApplication(
      std::string_view path,
      std::function<void(std::optional<std::string> failure)> completion) = 0;
  virtual std::vector<RunningApplication> runningApplications() = 0;
  /// Asks an application to end: politely, or at once when `force`. False when it has gone already.
  virtual bool terminate(const RunningApplication& application, bool force) = 0;
};

}  // namespace kelvora::platform
