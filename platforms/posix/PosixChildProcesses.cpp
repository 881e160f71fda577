#include "platforms/posix/PosixChildProcesses.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/posix/SpawnSystem.h"

namespace kelvora::platform {

namespace {

// How often to look whether a child has ended, for a wait that has a limit.
constexpr std::chrono::milliseconds kPauseBetweenLooks{1};

// The child's exit status; none while it runs, if `options` say not to wait for it.
std::optional<int> reapedStatus(pid_t pid, int options) {
  int status = 0;
  pid_t reaped = -1;
  do {
    reaped = waitpid(pid, &status, options);
  } while (reaped < 0 && errno == EINTR);
  if (reaped == 0) {
    return std::nullopt;
  }
  if (reaped < 0) {
    return kUnknownExitStatus;
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// Leaves the child's process id taken.
void waitWithoutReaping(pid_t pid) {
  siginfo_t information;
  while (waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT) < 0 &&
         errno == EINTR) {
  }
}

// Whoever has read a child's output need not wait for what it does afterwards.
void reapWithoutWaiting(pid_t pid) {
  if (reapedStatus(pid, WNOHANG)) {
    return;
  }
  std::thread([pid] { reapedStatus(pid, 0); }).detach();
}

class Child : public ChildProcess {
 public:
  Child(pid_t pid, FileDescriptor output) : pid_(pid), output_(std::move(output)) {}
  ~Child() override {
    output_.close();
    if (!exitStatus_) {
      reapWithoutWaiting(pid_);
    }
  }

  std::size_t readStandardOutput(std::span<std::byte> buffer) override {
    if (!output_.isOpen() || buffer.empty()) {
      return 0;
    }
    ssize_t count = -1;
    do {
      count = read(output_.get(), buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    return static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }

  void closeStandardOutput() override { output_.close(); }

  int waitUntilExit() override {
    if (!exitStatus_) {
      waitWithoutReaping(pid_);
      reap();
    }
    return exitStatus_.value_or(kUnknownExitStatus);
  }

  // No call of POSIX waits for one child with a limit.
  std::optional<int> waitUntilExit(std::chrono::milliseconds limit) override {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!exitStatus_ && !reap() && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(kPauseBetweenLooks);
    }
    return exitStatus_;
  }

  void end() override {
    const std::lock_guard lock(mutex_);
    if (!exitStatus_) {
      kill(pid_, SIGKILL);
    }
  }

 private:
  // Whether the child has ended. Its process id may be another process's from now on.
  bool reap() {
    const std::lock_guard lock(mutex_);
    exitStatus_ = reapedStatus(pid_, WNOHANG);
    return exitStatus_.has_value();
  }

  pid_t pid_;
  FileDescriptor output_;
  std::mutex mutex_;  // over a change of the exit status, and a signal
  std::optional<int> exitStatus_;
};

// What the child does to its descriptors before it runs the program.
class SpawnActions {
 public:
  SpawnActions() { posix_spawn_file_actions_init(&actions_); }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;

  // A host that has closed a standard descriptor may have got its number for `from`, which another
  // action would then overwrite.
  void duplicate(int from, int to) {
    if (from <= STDERR_FILENO) {
      FileDescriptor& copy = copies_.emplace_back(fcntl(from, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
      note(copy.isOpen() ? 0 : errno);
      from = copy.get();
    }
    note(posix_spawn_file_actions_adddup2(&actions_, from, to));
  }
  void openNullDevice(int descriptor) {
    note(posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", O_RDWR, 0));
  }
  // As a request wants it: -1 leaves the descriptor as this process has it.
  void replace(int descriptor, int wanted) {
    if (wanted == kNullDevice) {
      openNullDevice(descriptor);
    } else if (wanted >= 0) {
      duplicate(wanted, descriptor);
    }
  }

  int error() const { return error_; }
  posix_spawn_file_actions_t& get() { return actions_; }

 private:
  void note(int error) {
    if (error_ == 0) {
      error_ = error;
    }
  }

  posix_spawn_file_actions_t actions_;
  std::vector<FileDescriptor> copies_;  // open until the program is started
  int error_ = 0;
};

// Signal settings that a program expects to start with, whatever this process has set.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    posix_spawnattr_init(&attributes_);
    sigset_t none;
    sigemptyset(&none);
    sigset_t ignoredByLibraries;
    sigemptyset(&ignoredByLibraries);
    sigaddset(&ignoredByLibraries, SIGPIPE);
    sigaddset(&ignoredByLibraries, SIGCHLD);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &ignoredByLibraries);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  posix_spawnattr_t& get() { return attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

struct Pipe {
  FileDescriptor reading;
  FileDescriptor writing;
};

ChildLaunch failed(int error) { return {nullptr, std::generic_category().message(error)}; }

std::vector<char*> argumentPointers(ChildRequest& request) {
  std::vector<char*> pointers = {request.path.data()};
  for (std::string& argument : request.arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

ChildLaunch spawn(ChildRequest request, SpawnActions& actions, FileDescriptor output) {
  SpawnAttributes attributes;
  int error = keepOnlyStandardDescriptors(actions.get(), attributes.get());
  pid_t pid = 0;
  if (error == 0) {
    error = posix_spawn(&pid, request.path.c_str(), &actions.get(), &attributes.get(),
                        argumentPointers(request).data(), environmentOfProcess());
  }
  if (error != 0) {
    return failed(error);
  }
  return {std::make_unique<Child>(pid, std::move(output)), ""};
}

}  // namespace

ChildLaunch PosixChildProcesses::launch(const ChildRequest& request) {
  Pipe pipe;
  if (request.captureStandardOutput) {
    std::array<int, 2> ends = {-1, -1};
    if (const int error = openPipe(ends); error != 0) {
      return failed(error);
    }
    pipe = {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
  }
  SpawnActions actions;
  actions.replace(STDIN_FILENO, request.standardInput);
  actions.replace(STDOUT_FILENO,
                  pipe.writing.isOpen() ? pipe.writing.get() : request.standardOutput);
  if (request.discardStandardError) {
    actions.openNullDevice(STDERR_FILENO);
  }
  if (actions.error() != 0) {
    return failed(actions.error());
  }
  return spawn(request, actions, std::move(pipe.reading));
}

}  // namespace kelvora::platform
