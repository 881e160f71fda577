#pragma once

#include <deque>
#include <functional>
#include <mutex>

namespace kelvora::platform {

/// Work that waits for the main thread. Any thread adds and looks.
class PendingWork {
 public:
  /// `added` and `taken` are called under the lock, once for each piece of work.
  explicit PendingWork(
      std::function<void()> added, std::function<void()> taken = [] {});

  void add(std::function<void()> work, const void* owner = nullptr);
  bool isEmpty() const;
  /// Drops the work of an owner without running it.
  void clear(const void* owner = nullptr);
  /// Runs the work that waits now, in order, and returns how much it was. What that work adds waits
  /// for the next call. Work may call this itself. An exception ends the call, and the rest waits.
  int run();

 private:
  struct Piece {
    std::function<void()> work;
    const void* owner;
  };

  std::function<void()> takeFirst();

  std::function<void()> added_;
  std::function<void()> taken_;
  mutable std::mutex mutex_;
  std::deque<Piece> queued_;
};

}  // namespace kelvora::platform
