#include "tests/macos/frameworks/Cocoa.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/Log.h"
#include "platforms/macos/cocoa/Applications.h"
#include "platforms/macos/cocoa/HostFacts.h"
#include "platforms/macos/cocoa/UserFolders.h"
#include "tests/macos/frameworks/Host.h"
#include "tests/macos/frameworks/Ledger.h"

namespace kelvora::testing::mac {

Cocoa& Cocoa::shared() {
  static Cocoa cocoa;
  return cocoa;
}

}  // namespace kelvora::testing::mac

namespace kelvora {

void log(std::string_view line) {
  std::string text(line);
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::fputs((text + "\n").c_str(), stderr);
}

}  // namespace kelvora

namespace kelvora::platform::cocoa {

using testing::mac::Cocoa;
using testing::mac::Host;
using testing::mac::Ledger;

namespace {

const RecordedMachine& machine() { return Host::shared().machine(); }

// The text, unless the test wants the call to fail.
std::string asked(const char* function, const std::string& text) {
  return Ledger::shared().called(function) ? "" : text;
}

}  // namespace

std::optional<OSVersion> osVersion() {
  return Ledger::shared().called("osVersion") ? std::nullopt : machine().osVersion;
}
std::string osVersionText() { return asked("osVersionText", machine().osText); }
std::string localeIdentifier() { return asked("localeIdentifier", Cocoa::shared().locale); }
std::string localizedHostName() { return asked("localizedHostName", machine().localizedHostName); }
std::string hostName() { return asked("hostName", machine().hostName); }
std::vector<std::string> hostAddresses() {
  return Ledger::shared().called("hostAddresses") ? std::vector<std::string>()
                                                  : machine().hostAddresses;
}
std::string primaryHostAddress() {
  const auto& addresses = machine().hostAddresses;
  return asked("primaryHostAddress", addresses.empty() ? "" : addresses.front());
}
std::vector<std::string> mountedVolumePaths() {
  std::vector<std::string> paths;
  if (!Ledger::shared().called("mountedVolumePaths")) {
    for (const auto& volume : machine().volumes) {
      paths.push_back(volume.path);
    }
  }
  return paths;
}

std::string documentsFolder() { return asked("documentsFolder", Cocoa::shared().documents); }
std::string applicationSupportFolder() {
  return asked("applicationSupportFolder", Cocoa::shared().applicationSupport);
}
std::string groupContainer(const std::string& groupIdentifier) {
  const auto found = Cocoa::shared().containers.find(groupIdentifier);
  const bool fails = Ledger::shared().called("groupContainer", groupIdentifier);
  return fails || found == Cocoa::shared().containers.end() ? "" : found->second;
}

bool launchApplication(const std::string& bundleIdentifier) {
  return !Ledger::shared().called("launchApplication", bundleIdentifier) &&
         Cocoa::shared().installed.contains(bundleIdentifier);
}
void openApplication(const std::string& path,
                     std::function<void(std::optional<std::string>)> completion) {
  Ledger::shared().called("openApplication", path);
  Cocoa::shared().opening.push_back(std::move(completion));
}
std::vector<RunningApplication> runningApplications() {
  return Ledger::shared().called("runningApplications") ? std::vector<RunningApplication>()
                                                        : Cocoa::shared().running;
}
std::optional<RunningApplication> runningApplication(std::int64_t pid) {
  const bool fails = Ledger::shared().called("runningApplication", pid);
  const auto& running = Cocoa::shared().running;
  const auto found = std::ranges::find(running, pid, &RunningApplication::pid);
  return fails || found == running.end() ? std::nullopt : std::optional(*found);
}
bool terminate(const RunningApplication& application, bool force) {
  return !Ledger::shared().called("terminate", application.bundleIdentifier, application.pid,
                                  force);
}

}  // namespace kelvora::platform::cocoa
