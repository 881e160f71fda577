#pragma once

#include <cstddef>
#include <vector>

#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/MachineChoice.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Screen.h"

namespace kelvora::tool {

/// What a command says that a signal ended before its one report.
inline constexpr char kInterrupted[] = "interrupted";

/// A report of what changes, which a command shows once or, with --watch, again and again.
class LiveReport {
 public:
  virtual ~LiveReport() = default;
  /// Begins to take a sample, unless one is still being taken. Slow work belongs on another thread,
  /// which queues its result on the main queue.
  virtual void begin() = 0;
  /// Whether a sample has been taken, once for each; from then on the other operations show it.
  virtual bool take() = 0;
  /// The members of the report beside "machine".
  virtual Json json() const = 0;
  /// The lines below the machine's. `columns` is the width of the terminal, 0 for a pipe or file,
  /// which gets no bars. `rows` is how many lines can be seen at once, 0 for no limit: a report may
  /// put parts beside each other to need no more, but what still does not fit is not left out.
  virtual Screen lines(std::size_t columns, std::size_t rows) const = 0;
};

/// --watch and --every, for a command's arguments.
std::vector<Argument> watchArguments();
/// Whether --watch is given. Throws CommandError (wrong usage) for an interval that is out of
/// range, or that is given without it.
bool isWatched(const Options& options);

/// Shows the report once. With --watch: in the place of the last one on a terminal, until a key,
/// SIGINT or SIGTERM ends it; as one block of lines, or one line of JSON, each time elsewhere. The
/// interval is that of --every, else of the settings as they are then. False where a signal came
/// before the one report could be shown.
bool show(LiveReport& report, const Options& options, const MachineChoice& machine,
          StandardOutput& output);

}  // namespace kelvora::tool
