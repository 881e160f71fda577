#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/StandardOutput.h"

namespace kelvora {

/// What a full-screen terminal program needs from the system, in addition to a drawing library.
/// While an object exists:
///
/// - SIGINT (Ctrl-C), SIGTERM, SIGHUP (the terminal was closed), SIGTSTP (Ctrl-Z), SIGCONT and
///   SIGWINCH are events. SIGHUP and SIGTSTP stay ignored where they were ignored before (nohup).
///   Afterwards the signals do what they did before.
/// - What the process prints to the terminal as messages (standard error, and descriptor 1 behind
///   StandardOutput) is kept, at most the first 64 KB of it, and printed to standard error at the
///   end, also if std::exit or std::terminate is that. Messages to a file are not touched.
///
/// At most one object per process at a time, and none beside a StopSignal; only on the main thread.
class KELVORA_EXPORT TerminalSession {
 public:
  /// Why a wait ended, most urgent first.
  enum class Event : std::uint8_t {
    kStop,      ///< the program is to end; every later wait returns this too
    kSuspend,   ///< the user pressed Ctrl-Z: restore the terminal, then call `suspend`
    kResume,    ///< the process was continued after a stop: the terminal may show anything
    kResize,    ///< `size` may have changed
    kInput,     ///< standard input can be read, or has ended
    kWork,      ///< work of the main queue has run, or nothing has happened
    kDeadline,  ///< the deadline has passed
  };

  /// In characters.
  struct Size {
    int columns = 0;
    int rows = 0;
  };

  /// `output` must outlive the object. Throws std::system_error where the system has no descriptors
  /// left.
  explicit TerminalSession(StandardOutput& output);
  ~TerminalSession();
  TerminalSession(const TerminalSession&) = delete;
  TerminalSession& operator=(const TerminalSession&) = delete;

  /// A stream onto the standard output, for the library that draws. Owned by this object; null when
  /// the program was started with its output closed.
  std::FILE* stream() const;
  /// The terminal's size in characters, e.g. 80 by 24; 0 by 0 where the output is not a terminal.
  Size size() const;

  /// Runs the main queue's work as it comes, as `KVMainQueue::runUntil` does, until an event
  /// occurs. Returns one event per call, each once, except kStop and kInput, which persist.
  Event waitUntil(std::chrono::steady_clock::time_point deadline);
  /// Stops the process as Ctrl-Z does by default, and returns when it is continued; returns at once
  /// without a shell with job control, which could not continue it.
  void suspend();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kelvora
