#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "KelvoraCore/StandardOutput.h"
#include "KelvoraCore/TerminalSession.h"

#include "tools/kelvora/Screen.h"

namespace kelvora::tool {

/// The terminal as a screen to draw on, from construction to destruction. However the program ends,
/// short of a crash or a SIGKILL, the terminal is as it was before: its modes, and what it showed.
///
/// Ctrl-Z, a resume and a new size are handled here; the program only draws again. One object at a
/// time, on the main thread.
class Terminal {
 public:
  /// What a wait ended with.
  enum class Event : std::uint8_t {
    kStop,      ///< SIGINT, SIGTERM, SIGHUP, or the terminal is gone: end the program
    kRedraw,    ///< the size may be another one: draw
    kKeys,      ///< take them with `nextKey`
    kWork,      ///< work of the main queue has run
    kDeadline,  ///< the deadline has passed
  };

  /// Takes over the terminal that is the output. Throws CommandError (wrong usage) where input or
  /// output is not a terminal, or it is one of a kind that cannot place a cursor; `alternative`
  /// ends that line, e.g. "'kelvora sensors' writes to pipes and files".
  Terminal(StandardOutput& output, const std::string& alternative);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  /// At least 1 by 1.
  TerminalSession::Size size() const;
  /// Shows a screen in the place of the last one; only what differs is sent. What is too long or
  /// too low is cut. Colours only where the terminal has them and NO_COLOR is not set.
  void draw(const Screen& screen);

  /// Runs the main queue's work as it comes, until there is something to do.
  Event waitUntil(std::chrono::steady_clock::time_point deadline);
  /// The next key that was pressed; none when there is no other for now.
  std::optional<Key> nextKey();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kelvora::tool
