#pragma once

#include <array>
#include <cstdlib>
#include <memory>
#include <string>

#include <fcntl.h>

#include "tests/support/ChildWork.h"

namespace kelvora::testing {

/// A session bus of the test's own: programs that this one starts afterwards, and this one, find it
/// in the environment. Ends with the object.
class SessionBus {
 public:
  SessionBus() {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe for the bus's address");
    }
    daemon_ = std::make_unique<ChildWork>([&] {
      dup2(ends[1], 3);
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
      execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=3",
             static_cast<char*>(nullptr));
      return 127;
    });
    close(ends[1]);
    char byte = 0;
    while (read(ends[0], &byte, 1) == 1 && byte != '\n') {
      address_ += byte;
    }
    close(ends[0]);
    if (address_.empty()) {
      throw std::runtime_error("dbus-daemon did not start");
    }
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  }

  /// Ends the bus while others use it.
  void end() { daemon_.reset(); }

 private:
  std::unique_ptr<ChildWork> daemon_;
  std::string address_;
};

}  // namespace kelvora::testing
