#pragma once

#include <string_view>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// A program's standard output, kept apart from the library's messages. Creating one takes over
/// descriptor 1: what else the process prints there goes to standard error from then on, so that a
/// report stays whole. Standard descriptors that were closed lead to nowhere from then on; a report
/// to a closed one cannot be written. One per process, on the main thread, before anything is
/// printed or opened.
class KELVORA_EXPORT StandardOutput {
 public:
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// Writes all of `text`; false when it could not be written (a full disk, say).
  bool write(std::string_view text);
  bool isTerminal() const;
  /// Width of the terminal in columns, e.g. 80; 0 when it is no terminal or has no width.
  int columns() const;

 private:
  int descriptor_;
};

}  // namespace kelvora
