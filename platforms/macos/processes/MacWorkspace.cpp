#include "platforms/macos/processes/MacWorkspace.h"

#include <cerrno>
#include <utility>

#include <signal.h>

#include "platforms/macos/cocoa/Applications.h"

namespace kelvora::platform {

namespace {

// AppKit may still list an application whose process has ended.
bool hasEnded(const RunningApplication& application) {
  return kill(static_cast<pid_t>(application.pid), 0) != 0 && errno == ESRCH;
}

}  // namespace

bool MacWorkspace::launchApplication(std::string_view bundleIdentifier) {
  return cocoa::launchApplication(std::string(bundleIdentifier));
}

void MacWorkspace::openApplication(std::string_view path,
                                   std::function<void(std::optional<std::string>)> completion) {
  cocoa::openApplication(std::string(path), std::move(completion));
}

std::vector<RunningApplication> MacWorkspace::runningApplications() {
  auto applications = cocoa::runningApplications();
  std::erase_if(applications, hasEnded);
  return applications;
}

std::optional<RunningApplication> MacWorkspace::runningApplication(std::int64_t pid) {
  auto application = cocoa::runningApplication(pid);
  if (application && hasEnded(*application)) {
    application.reset();
  }
  return application;
}

bool MacWorkspace::terminate(const RunningApplication& application, bool force) {
  return !hasEnded(application) && cocoa::terminate(application, force);
}

}  // namespace kelvora::platform
