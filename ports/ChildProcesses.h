#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kelvora::platform {

/// The platform's quality-of-service class of a child that a user is waiting for.
inline constexpr int kQualityOfServiceUserInteractive = 33;

/// The exit status of a child that another part of the program has waited for, or that cannot be
/// waited for because the program ignores SIGCHLD: only its end is known.
inline constexpr int kUnknownExitStatus = -1;

/// For `ChildRequest::standardInput` and `standardOutput`: the child's is empty, and what it writes
/// is discarded.
inline constexpr int kNullDevice = -2;

/// What to start, and how.
struct ChildRequest {
  std::string path;                    ///< of the executable, e.g. "/usr/sbin/system_profiler"
  std::vector<std::string> arguments;  ///< without the program's own name
  bool captureStandardOutput = false;  ///< otherwise the child writes where this process does
  bool discardStandardError = false;   ///< otherwise the child writes where this process does
  int qualityOfService = 0;   ///< as a task of Foundation has it; launching a program ignores it
  int standardInput = -1;     ///< a descriptor for the child, or kNullDevice; -1: this process's
  int standardOutput = -1;    ///< the same, unless it is captured
  bool isOwnProgram = false;  ///< of the product: also a chosen recorded Mac really starts it
};

/// A launched child. Destruction closes the pipe; it neither ends a child that still runs nor waits
/// for it, and no zombie stays when the child ends later. One thread at a time, but for `end`.
class ChildProcess {
 public:
  virtual ~ChildProcess() = default;
  /// Blocks for bytes of the captured standard output: how many were read, 0 at its end.
  virtual std::size_t readStandardOutput(std::span<std::byte> buffer) = 0;
  /// Closes the reading end of the captured standard output.
  virtual void closeStandardOutput() = 0;
  /// Blocks until the child exits: its exit status (0 to 255), 128 plus the signal that ended it,
  /// or kUnknownExitStatus. Further calls return the same at once.
  virtual int waitUntilExit() = 0;
  /// The same, but blocks for `limit` at most: none if the child still runs then.
  virtual std::optional<int> waitUntilExit(std::chrono::milliseconds limit) = 0;
  /// Ends the child at once (SIGKILL) unless it has ended. Any thread: a read or a wait of another
  /// one then returns as for every child that a signal ends.
  virtual void end() = 0;
};

/// The outcome of a launch: a child, or the reason for the failure.
struct ChildLaunch {
  std::unique_ptr<ChildProcess> child;  ///< null when the launch failed
  std::string failure;                  ///< e.g. "No such file or directory"; empty on success
};

/// Starts programs. No descriptor of this process but the standard ones reaches a child. Any
/// thread.
class ChildProcesses {
 public:
  virtual ~ChildProcesses() = default;
  /// Starts a program without waiting for it. A launch that fails, e.g. of a file that does not
  /// exist, has no child but a failure text; it is not logged.
  virtual ChildLaunch launch(const ChildRequest& request) = 0;
};

}  // namespace kelvora::platform
