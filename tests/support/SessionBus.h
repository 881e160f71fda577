#pragma once

#include <array>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include <fcntl.h>

#include "tests/support/ChildWork.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

/// A session bus of the test's own: programs that this one starts afterwards, and this one, find it
/// in the environment. Ends with the object.
class SessionBus {
 public:
  enum class Start { kNow, kLater };

  explicit SessionBus(Start start = Start::kNow) {
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
    if (start == Start::kNow) {
      begin();
    }
  }

  /// Starts the bus, also again after its end, at the same address.
  void begin() {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe for the bus's address");
    }
    daemon_ = std::make_unique<ChildWork>([&] {
      dup2(ends[1], 3);
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
      execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=3",
             ("--address=" + address_).c_str(), static_cast<char*>(nullptr));
      return 127;
    });
    close(ends[1]);
    char byte = 0;
    const bool hasStarted = read(ends[0], &byte, 1) == 1;
    close(ends[0]);
    if (!hasStarted) {
      throw std::runtime_error("dbus-daemon did not start");
    }
  }

  /// Ends the bus while others use it.
  void end() { daemon_.reset(); }
  /// Makes the bus take nothing any more; it still exists.
  void freeze() const { ::kill(daemon_->pid(), SIGSTOP); }

 private:
  TemporaryFolder folder_;
  std::string address_ = "unix:path=" + folder_.path("bus");
  std::unique_ptr<ChildWork> daemon_;
};

}  // namespace kelvora::testing
