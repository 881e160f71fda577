#pragma once

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The guardian of a `KVFanLease`: a process of its own that hands the lease's fans back when the
/// holder ends or stops, however that happens.
class KELVORA_EXPORT KVFanGuardian {
 public:
  /// The whole of the program "Kelvora Guardian". Speaks with the holder over the channel that is
  /// the process's standard input, and returns the exit status once the system controls the fans
  /// again: 0, or 64 when standard input is not such a channel. Call it first in main(): it leaves
  /// the terminal's session, ignores SIGHUP, SIGINT, SIGQUIT, SIGTERM and SIGTSTP, and redirects
  /// the standard descriptors to /dev/null, and takes KELVORA_MACHINE out of the environment: the
  /// privileged tool writes the fans of this computer, or of the Mac that the account has chosen,
  /// whatever recording the variable names.
  static int run();
};

}  // namespace kelvora
