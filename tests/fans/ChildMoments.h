#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "ports/ChildProcesses.h"

namespace kelvora::testing {

/// Starts and waits for programs, and calls `action` at one of these moments, counted from 0:
/// before and after each start, and after each wait with a limit.
class ChildMoments : public platform::ChildProcesses {
 public:
  ChildMoments(std::unique_ptr<platform::ChildProcesses> behind, int moment,
               std::function<void()> action)
      : behind_(std::move(behind)), left_(moment), action_(std::move(action)) {}

  platform::ChildLaunch launch(const platform::ChildRequest& request) override {
    passMoment();
    platform::ChildLaunch launch = behind_->launch(request);
    passMoment();
    if (launch.child) {
      launch.child = std::make_unique<Child>(std::move(launch.child), *this);
    }
    return launch;
  }

  /// Whether there were as many moments.
  bool isReached() const { return left_ < 0; }

 private:
  class Child : public platform::ChildProcess {
   public:
    Child(std::unique_ptr<platform::ChildProcess> behind, ChildMoments& owner)
        : behind_(std::move(behind)), owner_(owner) {}
    std::size_t readStandardOutput(std::span<std::byte> buffer) override {
      return behind_->readStandardOutput(buffer);
    }
    void closeStandardOutput() override { behind_->closeStandardOutput(); }
    int waitUntilExit() override { return behind_->waitUntilExit(); }
    std::optional<int> waitUntilExit(std::chrono::milliseconds limit) override {
      const auto status = behind_->waitUntilExit(limit);
      owner_.passMoment();
      return status;
    }
    void end() override { behind_->end(); }

   private:
    std::unique_ptr<platform::ChildProcess> behind_;
    ChildMoments& owner_;
  };

  void passMoment() {
    if (left_-- == 0) {
      action_();
    }
  }

  std::unique_ptr<platform::ChildProcesses> behind_;
  int left_;
  std::function<void()> action_;
};

}  // namespace kelvora::testing
