#pragma once

#include <string>
#include <vector>

#include "platforms/recorded/RecordedMachine.h"
#include "ports/Authorization.h"
#include "ports/ChildProcesses.h"
#include "ports/HostStatistics.h"
#include "ports/SystemFacts.h"
#include "ports/Workspace.h"

namespace kelvora::platform {

/// The counters of a recorded Mac, which do not change.
class RecordedHostStatistics : public HostStatistics {
 public:
  explicit RecordedHostStatistics(RecordedStatistics recorded);
  std::optional<std::vector<ProcessorTicks>> processorTicks() override;
  std::optional<MemoryPages> memoryPages() override;
  std::optional<std::uint32_t> pageSizeBytes() override;
  /// 0 when it was not recorded.
  double uptimeSeconds() override;
  /// Only "/" was recorded.
  std::optional<FileSystemSize> fileSystemSize(std::string_view path) override;

 private:
  RecordedStatistics recorded_;
};

/// The recorded facts of a Mac's system, host, disks and displays.
class RecordedSystemFacts : public SystemFacts {
 public:
  explicit RecordedSystemFacts(const RecordedMachine& machine);
  std::optional<OSVersion> osVersion() override;
  std::string osVersionText() override;
  std::string localizedHostName() override;
  std::string hostName() override;
  std::vector<std::string> hostAddresses() override;
  /// The first recorded address.
  std::string primaryHostAddress() override;
  std::vector<std::string> mountedVolumePaths() override;
  std::optional<DiskDescription> diskDescription(std::string_view path) override;
  std::vector<Display> activeDisplays() override;

 private:
  std::optional<OSVersion> osVersion_;
  std::string osVersionText_;
  std::string localizedHostName_;
  std::string hostName_;
  std::vector<std::string> hostAddresses_;
  std::vector<RecordedVolume> volumes_;
  std::vector<Display> displays_;
};

/// Launches print what was recorded for the same path and arguments and exit with 0; nothing else
/// can be launched ("No such file or directory").
class RecordedChildProcesses : public ChildProcesses {
 public:
  explicit RecordedChildProcesses(std::vector<RecordedCommand> commands);
  ChildLaunch launch(const ChildRequest& request) override;

 private:
  std::vector<RecordedCommand> commands_;
};

/// The applications that ran on a recorded Mac. Nothing can be launched, opened or ended; a
/// completion is called before `openApplication` returns.
class RecordedWorkspace : public Workspace {
 public:
  explicit RecordedWorkspace(std::vector<RunningApplication> applications);
  bool launchApplication(std::string_view bundleIdentifier) override;
  void openApplication(std::string_view path,
                       std::function<void(std::optional<std::string>)> completion) override;
  std::vector<RunningApplication> runningApplications() override;
  std::optional<RunningApplication> runningApplication(std::int64_t pid) override;
  bool terminate(const RunningApplication& application, bool force) override;

 private:
  std::vector<RunningApplication> applications_;
};

/// Grants nothing: a recorded Mac has no rights to give.
class RefusingAuthorization : public Authorization {
 public:
  std::unique_ptr<AuthorizationGrant> request(std::string_view right) override;
};

}  // namespace kelvora::platform
