#include "platforms/recorded/RecordedSystem.h"

#include <algorithm>
#include <utility>

namespace kelvora::platform {

namespace {

class RecordedChild : public ChildProcess {
 public:
  explicit RecordedChild(std::string output) : output_(std::move(output)) {}

  std::size_t readStandardOutput(std::span<std::byte> buffer) override {
    const std::size_t count = std::min(buffer.size(), output_.size() - position_);
    const auto bytes = std::as_bytes(std::span(output_)).subspan(position_, count);
    std::copy(bytes.begin(), bytes.end(), buffer.begin());
    position_ += count;
    return count;
  }
  void closeStandardOutput() override { position_ = output_.size(); }
  int waitUntilExit() override { return 0; }
  std::optional<int> waitUntilExit(std::chrono::milliseconds) override { return 0; }
  void end() override {}  // it has ended

 private:
  std::string output_;
  std::size_t position_ = 0;
};

bool isEmpty(const DiskDescription& description) {
  return !description.mediaName && !description.deviceModel && !description.mediaSizeBytes &&
         !description.mediaRemovable;
}

}  // namespace

RecordedHostStatistics::RecordedHostStatistics(RecordedStatistics recorded)
    : recorded_(std::move(recorded)) {}

std::optional<std::vector<ProcessorTicks>> RecordedHostStatistics::processorTicks() {
  return recorded_.processorTicks;
}

std::optional<MemoryPages> RecordedHostStatistics::memoryPages() { return recorded_.memory; }

std::optional<std::uint32_t> RecordedHostStatistics::pageSizeBytes() {
  return recorded_.pageSizeBytes;
}

double RecordedHostStatistics::uptimeSeconds() { return recorded_.uptimeSeconds.value_or(0); }

std::optional<FileSystemSize> RecordedHostStatistics::fileSystemSize(std::string_view path) {
  return path == "/" ? recorded_.fileSystem : std::nullopt;
}

RecordedSystemFacts::RecordedSystemFacts(const RecordedMachine& machine)
    : osVersion_(machine.osVersion),
      osVersionText_(machine.osText),
      localizedHostName_(machine.localizedHostName),
      hostName_(machine.hostName),
      hostAddresses_(machine.hostAddresses),
      volumes_(machine.volumes),
      displays_(machine.displays) {}

std::optional<OSVersion> RecordedSystemFacts::osVersion() { return osVersion_; }

std::string RecordedSystemFacts::osVersionText() { return osVersionText_; }

std::string RecordedSystemFacts::localizedHostName() { return localizedHostName_; }

std::string RecordedSystemFacts::hostName() { return hostName_; }

std::vector<std::string> RecordedSystemFacts::hostAddresses() { return hostAddresses_; }

std::string RecordedSystemFacts::primaryHostAddress() {
  return hostAddresses_.empty() ? "" : hostAddresses_.front();
}

std::vector<std::string> RecordedSystemFacts::mountedVolumePaths() {
  std::vector<std::string> paths;
  for (const RecordedVolume& volume : volumes_) {
    paths.push_back(volume.path);
  }
  return paths;
}

std::optional<DiskDescription> RecordedSystemFacts::diskDescription(std::string_view path) {
  for (const RecordedVolume& volume : volumes_) {
    if (volume.path == path && !isEmpty(volume.description)) {
      return volume.description;
    }
  }
  return std::nullopt;
}

std::vector<Display> RecordedSystemFacts::activeDisplays() {
  return {displays_.begin(), displays_.begin() + static_cast<std::ptrdiff_t>(
                                                     std::min(displays_.size(), kMostDisplays))};
}

RecordedChildProcesses::RecordedChildProcesses(std::vector<RecordedCommand> commands)
    : commands_(std::move(commands)) {}

ChildLaunch RecordedChildProcesses::launch(const ChildRequest& request) {
  for (const RecordedCommand& command : commands_) {
    if (command.path == request.path && command.arguments == request.arguments) {
      const bool isCaptured = request.captureStandardOutput;
      return {std::make_unique<RecordedChild>(isCaptured ? command.standardOutput : ""), ""};
    }
  }
  return {nullptr, "No such file or directory"};
}

RecordedWorkspace::RecordedWorkspace(std::vector<RunningApplication> applications)
    : applications_(std::move(applications)) {}

bool RecordedWorkspace::launchApplication(std::string_view) { return false; }

void RecordedWorkspace::openApplication(
    std::string_view, std::function<void(std::optional<std::string>)> completion) {
  if (completion) {
    completion("a recorded machine opens no applications");
  }
}

std::vector<RunningApplication> RecordedWorkspace::runningApplications() { return applications_; }

std::optional<RunningApplication> RecordedWorkspace::runningApplication(std::int64_t pid) {
  const auto found = std::ranges::find(applications_, pid, &RunningApplication::pid);
  return found == applications_.end() ? std::nullopt : std::optional(*found);
}

bool RecordedWorkspace::terminate(const RunningApplication&, bool) { return false; }

std::unique_ptr<AuthorizationGrant> RefusingAuthorization::request(std::string_view) {
  return nullptr;
}

}  // namespace kelvora::platform
