#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

namespace platform {
class HeldLock;
}  // namespace platform

/// The lock of the program that records history. A host that writes graph points holds it, so that
/// no sample is recorded twice.
inline constexpr char KVHistoryRecordingLock[] = "HistoryRecording";

/// A lock that one process of the user's account can hold at a time.
///
/// The lock ends with the object or with its process, however that ends: nothing remains that could
/// block the next one. Two objects of one process exclude each other too. A program that the
/// process starts does not inherit it, unless it is given the descriptor.
class KELVORA_EXPORT KVProcessLock {
 public:
  /// The result of an attempt to take the lock.
  enum class State : std::uint8_t {
    kHeld,
    kHeldElsewhere,  ///< another object has it, of this process or another
    kFailed,         ///< it cannot be taken; `fault` gives the reason
  };

  /// Longer than a program that only looks whether a lock is held has it.
  static constexpr std::chrono::milliseconds kLongestWait{200};

  /// Tries to take the lock of a name, a file name without its extension: "HistoryRecording" is the
  /// file "HistoryRecording.lock" in `KVUtils::groupContainerPath`, which stays there, empty. Waits
  /// at most `longestWait` for another that has it; 0 tries once. Logs nothing. Any thread.
  explicit KVProcessLock(const std::string& name, Platform& platform = Platform::current(),
                         std::chrono::milliseconds longestWait = kLongestWait);
  ~KVProcessLock();
  KVProcessLock(const KVProcessLock&) = delete;
  KVProcessLock& operator=(const KVProcessLock&) = delete;

  /// As the constructor found it; a held lock stays held.
  State state() const { return state_; }
  /// Why the lock cannot be taken, e.g. "Permission denied"; empty in the other states.
  const std::string& fault() const { return fault_; }
  /// A descriptor to pass to a child process, e.g. as its standard output: the lock is then held
  /// until the child has ended too. -1 unless the lock is held. Owned by the lock.
  int descriptor() const;

 private:
  std::unique_ptr<platform::HeldLock> lock_;
  State state_ = State::kFailed;
  std::string fault_;
};

}  // namespace kelvora
