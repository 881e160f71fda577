#include "platforms/linux/processes/LinuxWorkspace.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "platforms/linux/processes/ApplicationBundle.h"
#include "platforms/linux/processes/DetachedLaunch.h"

namespace kelvora::platform {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDeleted = " (deleted)";

// The executable of a process of this user; empty for others, kernel threads and the dead. An
// application that is replaced on disk while it runs keeps its old program: it still counts.
std::string executableOf(std::int64_t pid) {
  const std::string folder = "/proc/" + std::to_string(pid);
  struct stat facts = {};
  if (stat(folder.c_str(), &facts) != 0 || facts.st_uid != getuid()) {
    return {};
  }
  std::error_code error;
  std::string path = fs::read_symlink(folder + "/exe", error).string();
  if (path.ends_with(kDeleted)) {
    path.resize(path.size() - kDeleted.size());
  }
  return path;
}

std::optional<RunningApplication> runningApplication(std::int64_t pid) {
  const std::string executable = executableOf(pid);
  const auto bundle = executable.empty() ? std::nullopt : applicationOfExecutable(executable);
  if (!bundle) {
    return std::nullopt;
  }
  return RunningApplication{pid, bundle->text("CFBundleIdentifier"), bundle->name()};
}

std::optional<std::int64_t> pidOf(const fs::path& entry) {
  const std::string name = entry.filename().string();
  std::int64_t pid = 0;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), pid);
  return parsed.ec == std::errc() && parsed.ptr == name.data() + name.size() ? std::optional(pid)
                                                                             : std::nullopt;
}

std::optional<std::string> open(const std::string& path) {
  const auto bundle = applicationAt(path);
  if (!bundle || bundle->executablePath.empty()) {
    return "no application at " + path;
  }
  const int error = launchDetached(bundle->executablePath);
  return error == 0 ? std::nullopt : std::optional(std::generic_category().message(error));
}

}  // namespace

LinuxWorkspace::LinuxWorkspace(std::vector<std::string> folders) : folders_(std::move(folders)) {}

bool LinuxWorkspace::launchApplication(std::string_view bundleIdentifier) {
  for (const std::string& folder : folders_) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
      const auto bundle = applicationAt(entry->path().string());
      if (bundle && bundle->text("CFBundleIdentifier") == bundleIdentifier) {
        openApplication(bundle->path, nullptr);
        return true;
      }
    }
  }
  return false;
}

void LinuxWorkspace::openApplication(
    std::string_view path, std::function<void(std::optional<std::string> failure)> completion) {
  queue_.async([application = std::string(path), told = std::move(completion)] {
    auto failure = open(application);
    if (told) {
      told(std::move(failure));
    }
  });
}

std::vector<RunningApplication> LinuxWorkspace::runningApplications() {
  std::vector<RunningApplication> applications;
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    const auto pid = pidOf(entry->path());
    if (auto application = pid ? runningApplication(*pid) : std::nullopt) {
      applications.push_back(std::move(*application));
    }
  }
  std::sort(applications.begin(), applications.end(),
            [](const auto& a, const auto& b) { return a.pid < b.pid; });
  return applications;
}

bool LinuxWorkspace::terminate(const RunningApplication& application, bool force) {
  // The number may be another process's by now.
  const auto now = runningApplication(application.pid);
  return now && now->bundleIdentifier == application.bundleIdentifier &&
         kill(static_cast<pid_t>(application.pid), force ? SIGKILL : SIGTERM) == 0;
}

}  // namespace kelvora::platform
