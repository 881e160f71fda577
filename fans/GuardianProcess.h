#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "fans/LeaseRecord.h"
#include "ports/ChildProcesses.h"
#include "ports/GuardChannel.h"

namespace kelvora {

/// The guardian of a lease as its holder sees it: a process and the channel whose end it waits for.
/// `launch` starts over. One thread at a time.
class GuardianProcess {
 public:
  using Event = platform::GuardChannel::Event;

  /// Nothing runs yet. `timeout` is that of the lease.
  GuardianProcess(platform::ChildProcesses& processes, std::chrono::milliseconds timeout)
      : processes_(processes), timeout_(timeout) {}

  /// Starts the program at `path` and sends it the request. Returns why it could not, else "".
  std::string launch(const std::string& path, const LeaseRequest& request);
  /// Waits for what it says, of which the answer to a renewal is "alive".
  Event receive(std::string& line, std::chrono::milliseconds limit);
  void renew();
  /// Whether a renewal is unanswered for longer than the time-out.
  bool isSilent() const;
  /// The holder's end of the channel; -1 while no guardian runs.
  int descriptor() const { return channel_ ? channel_->descriptor() : -1; }

  /// Closes the holder's end: the guardian hands the fans back once more, and ends.
  void leave() { channel_.reset(); }
  /// Whether it ends within the time-out, or none was started. Then it is forgotten.
  bool waitUntilEnded();

 private:
  platform::ChildProcesses& processes_;
  std::chrono::milliseconds timeout_;
  std::optional<platform::GuardChannel> channel_;
  std::unique_ptr<platform::ChildProcess> process_;
  // The first renewal that was not answered yet.
  std::optional<std::chrono::steady_clock::time_point> unanswered_;
};

}  // namespace kelvora
