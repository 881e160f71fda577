#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "ports/ChildProcesses.h"

namespace kelvora::testing {

/// Children that print something, and then nothing more until someone ends them.
class HangingChildProcesses : public platform::ChildProcesses {
 public:
  explicit HangingChildProcesses(std::string output) : output_(std::move(output)) {}

  platform::ChildLaunch launch(const platform::ChildRequest&) override {
    ++launches;
    return {std::make_unique<Child>(*this), ""};
  }
  /// Blocks until a child hangs.
  void waitUntilHanging() const { hanging_.wait(0); }

  std::atomic<int> launches = 0;
  std::atomic<int> ends = 0;

 private:
  class Child : public platform::ChildProcess {
   public:
    explicit Child(HangingChildProcesses& owner) : owner_(owner), output_(owner.output_) {}
    std::size_t readStandardOutput(std::span<std::byte> buffer) override {
      if (output_.empty()) {
        ++owner_.hanging_;
        owner_.hanging_.notify_all();
        isEnded_.wait(false);
      }
      const std::size_t count = std::min(buffer.size(), output_.size());
      std::ranges::copy(std::as_bytes(std::span(output_)).first(count), buffer.begin());
      output_.erase(0, count);
      return count;
    }
    void closeStandardOutput() override {}
    int waitUntilExit() override {
      isEnded_.wait(false);
      return 128 + 9;
    }
    std::optional<int> waitUntilExit(std::chrono::milliseconds) override { return waitUntilExit(); }
    void end() override {
      ++owner_.ends;
      isEnded_ = true;
      isEnded_.notify_all();
    }

   private:
    HangingChildProcesses& owner_;
    std::string output_;
    std::atomic<bool> isEnded_ = false;
  };

  std::string output_;
  std::atomic<int> hanging_ = 0;
};

}  // namespace kelvora::testing
