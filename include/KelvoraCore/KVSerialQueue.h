#pragma once

#include <functional>
#include <memory>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// Runs work in order, one piece at a time, on a thread of its own, which starts with the first
/// work. Any thread may queue; destruction waits for what is queued. Each system has its own
/// source, because a binary contains only one implementation.
class KELVORA_EXPORT KVSerialQueue {
 public:
  /// `label` names the queue to debuggers (on Linux its first 15 bytes name the thread), e.g.
  /// "com.KVDataManager.internalQueue".
  explicit KVSerialQueue(std::string label);
  ~KVSerialQueue();
  KVSerialQueue(const KVSerialQueue&) = delete;
  KVSerialQueue& operator=(const KVSerialQueue&) = delete;

  const std::string& label() const;  ///< as given to the constructor
  /// Queues `work` and returns at once, also on the queue itself. `work` must not throw. Any
  /// thread.
  void async(std::function<void()> work);
  /// Runs `work` on the queue, waits for it, and rethrows its exception. Deadlocks when called from
  /// the queue itself.
  void sync(const std::function<void()>& work);

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace kelvora
