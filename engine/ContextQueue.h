#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace kelvora {
class KVSerialQueue;
namespace platform {
class MainQueue;
}
}  // namespace kelvora

namespace kelvora::engine {

/// Runs the work of a context, one piece at a time. Any thread.
class ContextQueue {
 public:
  virtual ~ContextQueue() = default;
  virtual void performAndWait(const std::function<void()>& work) = 0;
  virtual void perform(std::function<void()> work) = 0;
};

class MainContextQueue : public ContextQueue {
 public:
  explicit MainContextQueue(platform::MainQueue& queue) : queue_(queue) {}
  void performAndWait(const std::function<void()>& work) override;
  void perform(std::function<void()> work) override;

 private:
  platform::MainQueue& queue_;
};

/// Runs work in the order of the calls. Work that is waited for runs on the thread that waits, so
/// that a context needs a thread of its own only for work that runs later.
class PrivateContextQueue : public ContextQueue {
 public:
  PrivateContextQueue();
  ~PrivateContextQueue() override;
  void performAndWait(const std::function<void()>& work) override;
  void perform(std::function<void()> work) override;

 private:
  class Turns {
   public:
    bool isMine();
    std::uint64_t take();
    void run(std::uint64_t turn, const std::function<void()>& work);

   private:
    void end();
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t next_ = 0;
    std::uint64_t current_ = 0;
    std::thread::id owner_;
  };

  std::shared_ptr<Turns> turns_;
  std::mutex mutex_;  // so that turns and queued work have the same order
  std::unique_ptr<KVSerialQueue> later_;
};

}  // namespace kelvora::engine
