#pragma once

#include <functional>

namespace kelvora::platform {

/// Work for the normal exit of the process, for objects that live as long as the process and are
/// never destroyed: their threads must end before the objects of libraries are destroyed. What was
/// registered first runs first. Any thread.
class ExitWork {
 public:
  explicit ExitWork(std::function<void()> work);
  /// The work does not run any more; waits for it if it runs on another thread.
  ~ExitWork();
  ExitWork(const ExitWork&) = delete;
  ExitWork& operator=(const ExitWork&) = delete;

 private:
  class Registry;
  friend class Registry;

  std::function<void()> work_;
};

}  // namespace kelvora::platform
