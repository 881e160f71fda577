#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kelvora::platform {

/// Runs work in order, one piece at a time, on a thread of its own. Destruction waits for what is
/// queued. One header with a source per system: a binary never holds two implementations.
class SerialQueue {
 public:
  /// `label` names the thread to debuggers, e.g. "Request Privilege".
  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const;
  void async(std::function<void()> work);
  /// Runs `work` on the queue and waits for it. Deadlocks when called from the queue itself.
  void sync(const std::function<void()>& work);

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace kelvora::platform
