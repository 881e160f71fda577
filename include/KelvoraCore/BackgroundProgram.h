#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/StandardOutput.h"

namespace kelvora {

/// Starts the running program again as a background process without a terminal:
///
///     in the process that a user started:  BackgroundProgram::start({"serve"});
///     in the background process:           output.write(answer);
///                                          BackgroundProgram::detach(output);
///
/// What the second process writes before it detaches is the answer to the first. Any thread.
class KELVORA_EXPORT BackgroundProgram {
 public:
  /// The result of a start.
  struct Start {
    std::string output;         ///< what the new process wrote to its standard output
    std::optional<int> status;  ///< its exit status, or 128 plus a signal; none while it runs
    std::string fault;  ///< why it could not be started, e.g. "Permission denied"; empty on success
  };

  /// Starts the executable of this process with other arguments, in the same session and with the
  /// same standard input and error, and blocks until the new process detaches or ends.
  static Start start(const std::vector<std::string>& arguments);

  /// In the process that was started: leaves the session and its terminal, closes `output`,
  /// redirects the standard descriptors to /dev/null, and makes "/" the working directory. Signals
  /// stay as they are, so that SIGTERM still ends it.
  static void detach(StandardOutput& output);

  /// Sends SIGTERM to a process of this account whose executable has the file name of this one's,
  /// e.g. "kelvora". For any other process, or one that does not exist, sends nothing and returns
  /// false.
  static bool askToEnd(std::int64_t processIdentifier);
};

}  // namespace kelvora
