#include "platforms/linux/processes/LinuxWorkspace.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>

#include "platforms/linux/processes/ApplicationBundle.h"
#include "platforms/linux/processes/DetachedLaunch.h"
#include "platforms/linux/processes/RunningExecutable.h"
#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

namespace {

namespace fs = std::filesystem;

std::optional<std::int64_t> pidOf(const fs::path& entry) {
  const std::string name = entry.filename().string();
  std::int64_t pid = 0;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), pid);
  return parsed.ec == std::errc() && parsed.ptr == name.data() + name.size() ? std::optional(pid)
                                                                             : std::nullopt;
}

template <typename Visit>
void visitProcesses(Visit visit) {
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    if (const auto pid = pidOf(entry->path())) {
      visit(*pid);
    }
  }
}

bool isRunning(const ApplicationBundle& bundle) {
  bool found = false;
  visitProcesses([&](std::int64_t pid) {
    const auto running = found ? std::nullopt : applicationOfProcess(pid);
    std::error_code error;
    found = found || (running && fs::equivalent(running->path, bundle.path, error));
  });
  return found;
}

// False when somebody else holds the lock all of `wait`: every account that may read the folder
// can.
bool lockWithin(const FileDescriptor& folder, std::chrono::milliseconds wait) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kPause{2};
  const Clock::time_point deadline = Clock::now() + wait;
  while (flock(folder.get(), LOCK_EX | LOCK_NB) != 0 && (errno == EWOULDBLOCK || errno == EINTR)) {
    if (Clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

// Two programs that open one application at the same time start it once: the second finds it
// running. None on success, also if it ran already.
std::optional<std::string> openBundle(const std::optional<ApplicationBundle>& bundle,
                                      const std::string& path, std::chrono::milliseconds wait) {
  if (!bundle || bundle->executablePath.empty()) {
    return "no application at " + path;
  }
  const FileDescriptor folder(::open(bundle->path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lockWithin(folder, wait)) {
    return "another program keeps " + path + " locked";
  }
  if (isRunning(*bundle)) {
    return std::nullopt;
  }
  const int error = launchDetached(bundle->executablePath);
  return error == 0 ? std::nullopt : std::optional(std::generic_category().message(error));
}

}  // namespace

LinuxWorkspace::LinuxWorkspace(std::vector<std::string> folders, std::chrono::milliseconds wait)
    : folders_(std::move(folders)), wait_(wait) {}

bool LinuxWorkspace::launchApplication(std::string_view bundleIdentifier) {
  for (const std::string& folder : folders_) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
      const auto bundle = applicationAt(entry->path().string());
      if (bundle && bundle->text("CFBundleIdentifier") == bundleIdentifier) {
        return !openBundle(bundle, bundle->path, wait_);
      }
    }
  }
  return false;
}

void LinuxWorkspace::openApplication(
    std::string_view path, std::function<void(std::optional<std::string> failure)> completion) {
  queue_.async([application = std::string(path), completion = std::move(completion), wait = wait_] {
    auto failure = openBundle(applicationAt(application), application, wait);
    if (completion) {
      completion(std::move(failure));
    }
  });
}

std::vector<RunningApplication> LinuxWorkspace::runningApplications() {
  std::vector<RunningApplication> applications;
  visitProcesses([&](std::int64_t pid) {
    if (auto application = runningApplication(pid)) {
      applications.push_back(std::move(*application));
    }
  });
  std::sort(applications.begin(), applications.end(),
            [](const auto& a, const auto& b) { return a.pid < b.pid; });
  return applications;
}

std::optional<RunningApplication> LinuxWorkspace::runningApplication(std::int64_t pid) {
  const auto bundle = applicationOfProcess(pid);
  if (!bundle) {
    return std::nullopt;
  }
  return RunningApplication{pid, bundle->text("CFBundleIdentifier"), bundle->name()};
}

bool LinuxWorkspace::terminate(const RunningApplication& application, bool force) {
  // The number may be another process's by now.
  const auto now = runningApplication(application.pid);
  return now && now->bundleIdentifier == application.bundleIdentifier &&
         kill(static_cast<pid_t>(application.pid), force ? SIGKILL : SIGTERM) == 0;
}

}  // namespace kelvora::platform
