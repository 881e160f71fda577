#pragma once

#include <string_view>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// A program's standard output, kept apart from the library's messages. Creating one takes over
/// descriptor 1: what else the process prints there goes to standard error from then on, so that
/// nothing is mixed into a report. Standard descriptors that were closed are opened on /dev/null,
/// so that no file takes their numbers. One per process, on the main thread, before anything is
/// printed or opened.
class KELVORA_EXPORT StandardOutput {
 public:
  /// Takes over descriptor 1. Never fails: without a usable descriptor every `write` returns false.
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// Writes all of `text` and blocks until the system has taken it. False when it could not be
  /// written, e.g. because the disk is full or the program was started with its output closed. Logs
  /// nothing.
  bool write(std::string_view text);
  /// Ends the output: a reader sees the end, and every later `write` returns false.
  void close();
  /// From now on, discards what else the process prints to descriptor 1, for a report that already
  /// contains the same messages; or passes it to standard error again. Standard error is not
  /// affected.
  void discardMessages(bool discard);
  /// Whether the output is a terminal.
  bool isTerminal() const;
  /// Whether standard input is a terminal, so that the program may prompt.
  static bool isInputTerminal();
  /// Width of the terminal in columns, e.g. 80; 0 when it is not a terminal or has no width.
  int columns() const;

 private:
  friend class TerminalSession;

  int descriptor_;
};

}  // namespace kelvora
