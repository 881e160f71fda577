#pragma once

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The user's wish that a program which runs on should end: an interrupt from the terminal or a
/// request to terminate. While an object stands these no longer end the process; afterwards they do
/// what they did before. One per process at a time; used by one thread.
class KELVORA_EXPORT StopSignal {
 public:
  /// Throws std::system_error where the system has no descriptors left.
  StopSignal();
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// Blocks until `descriptor` is readable; false once the program is to stop, which goes before
  /// what is readable. A negative descriptor waits for the stop alone.
  bool waitUntilReadable(int descriptor);
};

}  // namespace kelvora
