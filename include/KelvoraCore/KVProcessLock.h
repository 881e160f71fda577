#pragma once

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

/// Lets one process of the user's account at a time do something, whatever program it is.
///
/// The lock ends with the object or with its process, however that ends: nothing is left that could
/// keep the next one out. Two objects of one process keep each other out too. A program that the
/// process starts does not inherit it, unless it is given the descriptor.
class KELVORA_EXPORT KVProcessLock {
 public:
  /// What an attempt to take the lock came to.
  enum class State : std::uint8_t {
    kHeld,
    kHeldElsewhere,  ///< another object has it, of this process or another
    kFailed,         ///< nobody can have it, for the reason that `fault` gives
  };

  /// Tries to take the lock of a name, a file name without its extension: "HistoryRecording" is the
  /// file "HistoryRecording.lock" in `KVUtils::groupContainerPath`, which stays there, empty. Waits
  /// a fraction of a second at most. Logs nothing. Any thread.
  explicit KVProcessLock(const std::string& name, Platform& platform = Platform::current());
  ~KVProcessLock();
  KVProcessLock(const KVProcessLock&) = delete;
  KVProcessLock& operator=(const KVProcessLock&) = delete;

  /// As the constructor found it; a held lock stays held.
  State state() const { return state_; }
  /// Why nobody can have the lock, e.g. "Permission denied"; empty in the other states.
  const std::string& fault() const { return fault_; }
  /// A descriptor for a program that the process starts, as its standard output, say: the lock is
  /// then held until that program has ended too. -1 unless the lock is held. Owned by the lock.
  int descriptor() const;

 private:
  std::unique_ptr<platform::HeldLock> lock_;
  State state_ = State::kFailed;
  std::string fault_;
};

}  // namespace kelvora
