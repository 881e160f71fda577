#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvora::platform {

/// One end of a two-way stream of lines between two processes. The other end sees that it has ended
/// when the last copy of this one is closed, however the processes end that have them. A binary
/// never holds two implementations. One thread at a time.
class GuardChannel {
 public:
  /// The result of a wait for a line.
  enum class Event : std::uint8_t {
    kLine,
    kNothing,  ///< no line came in time
    kEnd,      ///< every copy of the other end is closed, or this one is
  };

  struct Ends;
  /// A new channel, of which no child inherits an end on its own; none where the system has no
  /// descriptors left.
  static std::optional<Ends> open();
  /// The end that this process was given as its standard input, which is then empty; none where
  /// that is not such a channel.
  static std::optional<GuardChannel> fromStandardInput();

  /// The end moves; `other` is then as after `close()`.
  GuardChannel(GuardChannel&& other) noexcept;
  /// The same; what this object had is closed with `other`.
  GuardChannel& operator=(GuardChannel&& other) noexcept;
  ~GuardChannel();

  /// Sends a line, given without its end. Never blocks and never raises SIGPIPE: false when the
  /// other end is closed, or has not read for so long that the system holds no more.
  bool send(std::string_view line);
  /// Waits for a line, which `line` then has without its end. Lines that came before the end are
  /// received first.
  Event receive(std::string& line, std::chrono::milliseconds limit);

  /// For `ChildRequest::standardInput`, and to wait for lines with others; -1 once closed.
  int descriptor() const { return descriptor_; }
  /// Closes this process's copy of the end.
  void close();

 private:
  explicit GuardChannel(int descriptor) : descriptor_(descriptor) {}
  bool takeLine(std::string& line);
  void read();

  int descriptor_ = -1;
  std::string received_;  // and not taken as a line yet
  bool hasEnded_ = false;
};

/// Makes this process independent of the terminal and the standard descriptors that it was started
/// with: a session of its own, the root as its folder, SIGHUP, SIGINT, SIGQUIT, SIGTERM and SIGTSTP
/// ignored, and the standard descriptors /dev/null.
void leaveTerminal();

/// Removes a variable from this process's environment, before another thread runs.
void removeFromEnvironment(const char* variable);

/// This process's identifier, e.g. 612.
std::int64_t processIdentifier();

/// Whether such a process runs, as far as this account may see. A later process can have got the
/// identifier of one that has ended.
bool isRunning(std::int64_t processIdentifier);

/// Both ends of a new channel, which are alike.
struct GuardChannel::Ends {
  GuardChannel first;
  GuardChannel second;
};

}  // namespace kelvora::platform
