#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "KelvoraCore/KVSerialQueue.h"

#include "ports/Workspace.h"

namespace kelvora::platform {

/// Applications are folders with an information dictionary. The running ones are this user's
/// processes that run an application's executable; activating one that runs does nothing.
class LinuxWorkspace : public Workspace {
 public:
  /// How long opening waits for other programs that open the same application.
  static constexpr std::chrono::milliseconds kWaitOfOpening{10'000};

  /// Looks for applications by identifier in `folders`; the first match counts.
  explicit LinuxWorkspace(std::vector<std::string> folders,
                          std::chrono::milliseconds wait = kWaitOfOpening);

  bool launchApplication(std::string_view bundleIdentifier) override;
  void openApplication(std::string_view path,
                       std::function<void(std::optional<std::string> failure)> completion) override;
  std::vector<RunningApplication> runningApplications() override;
  std::optional<RunningApplication> runningApplication(std::int64_t pid) override;
  /// SIGTERM, or SIGKILL when `force`.
  bool terminate(const RunningApplication& application, bool force) override;

 private:
  std::vector<std::string> folders_;
  const std::chrono::milliseconds wait_;
  KVSerialQueue queue_{"Open Application"};
};

}  // namespace kelvora::platform
