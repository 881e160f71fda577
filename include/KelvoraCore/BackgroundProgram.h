#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/StandardOutput.h"

namespace kelvora {

/// The running program, started once more to go on without a terminal after this process has ended:
///
///     in the process that a user started:  BackgroundProgram::start({"serve"});
///     in the process that goes on:         output.write(answer);
///     BackgroundProgram::detach(output);
///
/// What the second process writes before it detaches is the answer to the first. Any thread.
class KELVORA_EXPORT BackgroundProgram {
 public:
  /// What became of a start.
  struct Start {
    std::string output;         ///< what the new process wrote to its standard output
    std::optional<int> status;  ///< its exit status, or 128 plus a signal; none while it goes on
    std::string fault;  ///< why it was not started, e.g. "Permission denied"; empty if it was
  };

  /// Starts the executable of this process with other arguments, in the same session and with the
  /// same standard input and error, and blocks until the new process detaches or ends.
  static Start start(const std::vector<std::string>& arguments);

  /// In the process that was started: leaves the session and its terminal, closes `output`, makes
  /// the standard descriptors /dev/null and the root the folder of the process. Signals stay as
  /// they are, so that SIGTERM still ends it.
  static void detach(StandardOutput& output);

  /// Sends SIGTERM to a process of this account whose executable has the file name of this one's,
  /// e.g. "kelvora". False, and nothing is sent, for any other process and for none.
  static bool askToEnd(std::int64_t processIdentifier);
};

}  // namespace kelvora
