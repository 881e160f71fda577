#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "ports/ChildProcesses.h"
#include "sensors/FanWrites.h"

namespace kelvora {

class Platform;

/// Descriptors that a tool inherits while it runs, so that others can detect it.
struct ToolDescriptors {
  int standardInput = platform::kNullDevice;
  int standardOutput = platform::kNullDevice;
};

/// Writes keys of fans with the privileged tool, and waits for it. One thread at a time.
class ToolWrites {
 public:
  /// A tool that has not ended after `limit` counts as failed; it is left alone, and may still
  /// write. While 16 such tools run, no other is started, and every write fails.
  ToolWrites(Platform& platform, std::chrono::milliseconds limit)
      : platform_(platform), limit_(limit) {}

  /// Empty on success, else why the key may not be written: "F0Md: the privileged tool ended with
  /// status 5". In a process that ignores SIGCHLD the status is lost: what the key reads decides.
  std::string write(const FanWrite& write, ToolDescriptors descriptors = {});

  /// A write that gives a fan back to the system: of its mode or its minimum.
  struct HandBack {
    FanWrite write;
    ToolDescriptors descriptors = {};
    bool isWritten = false;  ///< a result; false also if the fan was the system's already
    /// A result: empty on success, also when the write failed and the fan is the system's all the
    /// same; else as that of `write`.
    std::string fault = {};
  };
  /// Gives fans back, each with its own tool at the same time, so that one that hangs delays no
  /// other. What the tools print is discarded.
  void handBack(std::vector<HandBack>& fans);

  /// Whether there is a tool to run.
  bool isInstalled() const;

  /// Whether a tool that was left alone still runs.
  bool hasLateTools();

 private:
  // A tool that was started, or why it was not.
  struct Run {
    FanWrite write;
    std::unique_ptr<platform::ChildProcess> tool;
    std::string outcome;
  };
  Run start(const FanWrite& write, ToolDescriptors descriptors, bool isSilent);
  std::string faultAtEnd(Run run, std::chrono::milliseconds limit);
  std::string outcomeAtEnd(Run& run, std::chrono::milliseconds limit);
  void forgetEndedTools();

  Platform& platform_;
  std::chrono::milliseconds limit_;
  std::vector<std::unique_ptr<platform::ChildProcess>> late_;
};

}  // namespace kelvora
