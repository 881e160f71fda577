#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

/// An application with a running process of this user.
struct RunningApplication {
  std::int64_t pid = 0;
  std::string bundleIdentifier;  ///< e.g. "com.apple.Safari"
  std::string localizedName;     ///< e.g. "Safari"; empty: it has none
};

/// Applications: AppKit's workspace. Any thread; completions run on a thread of the system.
class Workspace {
 public:
  virtual ~Workspace() = default;
  /// Launches the application with a bundle identifier; one that runs is activated instead. Returns
  /// as soon as it has started, without waiting for it to be ready. False if no application has
  /// this identifier, or it cannot be started; not logged.
  virtual bool launchApplication(std::string_view bundleIdentifier) = 0;
  /// Opens the application at a path, e.g. "/Applications/Kelvora.app", with a default
  /// configuration; one that runs from this path is activated instead. Returns at once, and later
  /// calls `completion`, which may be empty, with none or with what went wrong, e.g. "Permission
  /// denied".
  virtual void openApplication(
      std::string_view path,
      std::function<void(std::optional<std::string> failure)> completion) = 0;
  /// The applications that this user runs, in the system's order; processes of other users are not
  /// listed.
  virtual std::vector<RunningApplication> runningApplications() = 0;
  /// The application of this user whose process has that number; none if there is no such process
  /// or it is no application.
  virtual std::optional<RunningApplication> runningApplication(std::int64_t pid) = 0;
  /// Asks an application to end, or ends it at once if `force`. Does not wait. False if it has
  /// ended already.
  virtual bool terminate(const RunningApplication& application, bool force) = 0;
};

}  // namespace kelvora::platform
