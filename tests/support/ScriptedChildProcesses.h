#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ports/ChildProcesses.h"

namespace kelvora::testing {

/// What a scripted child does.
struct ScriptedOutcome {
  std::string output;
  int exitStatus = 0;
  std::size_t largestRead = 65536;  ///< bytes per read at most, as a pipe delivers them
};

/// Children that follow a script: it returns an outcome for each request, or none for a
/// program that cannot be launched. For example
/// `ScriptedChildProcesses([](const auto&) { return ScriptedOutcome{std::string(10 << 20, 'x')};
/// })`
class ScriptedChildProcesses : public platform::ChildProcesses {
 public:
  using Script = std::function<std::optional<ScriptedOutcome>(const platform::ChildRequest&)>;

  explicit ScriptedChildProcesses(Script script) : script_(std::move(script)) {}

  platform::ChildLaunch launch(const platform::ChildRequest& request) override {
    requests.push_back(request);
    auto outcome = script_(request);
    if (!outcome) {
      return {nullptr, "No such file or directory"};
    }
    return {std::make_unique<Child>(std::move(*outcome), *this), ""};
  }

  std::vector<platform::ChildRequest> requests;  ///< in order
  std::atomic<int> waits = 0;                    ///< children that were waited for
  std::atomic<int> closedOutputs = 0;            ///< outputs that were closed

 private:
  class Child : public platform::ChildProcess {
   public:
    Child(ScriptedOutcome outcome, ScriptedChildProcesses& owner)
        : outcome_(std::move(outcome)), owner_(owner) {}
    std::size_t readStandardOutput(std::span<std::byte> buffer) override {
      const std::size_t count =
          std::min({buffer.size(), outcome_.output.size() - position_, outcome_.largestRead});
      const auto bytes = std::as_bytes(std::span(outcome_.output)).subspan(position_, count);
      std::copy(bytes.begin(), bytes.end(), buffer.begin());
      position_ += count;
      return count;
    }
    void closeStandardOutput() override {
      ++owner_.closedOutputs;
      position_ = outcome_.output.size();
    }
    int waitUntilExit() override {
      ++owner_.waits;
      return outcome_.exitStatus;
    }
    std::optional<int> waitUntilExit(std::chrono::milliseconds) override { return waitUntilExit(); }
    void end() override {}

   private:
    ScriptedOutcome outcome_;
    ScriptedChildProcesses& owner_;
    std::size_t position_ = 0;
  };

  Script script_;
};

}  // namespace kelvora::testing
