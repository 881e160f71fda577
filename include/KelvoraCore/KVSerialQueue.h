#pragma once

#include <functional>
#include <memory>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// Runs work in order, one piece at a time, on a thread of its own, which starts with the first
/// work. Any thread may queue; destruction waits for what is queued. A binary never holds two
/// implementations, so each system has a source of its own.
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
  /// Runs `work` on the queue and waits for it, also for what it throws; called from the queue
  /// itself it never returns.
  void sync(const std::function<void()>& work);

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace kelvora
