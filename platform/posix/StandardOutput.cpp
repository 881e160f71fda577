#include "platform/StandardOutput.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kelvora::platform {

StandardOutput::StandardOutput() {
  // In order with what goes to standard error itself.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

StandardOutput::~StandardOutput() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

bool StandardOutput::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor_, text.data(), text.size());
    if (count < 0 && errno != EINTR) {
      return false;
    }
    text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  return true;
}

bool StandardOutput::isTerminal() const { return isatty(descriptor_) == 1; }

int StandardOutput::columns() const {
  winsize size{};
  return isTerminal() && ioctl(descriptor_, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace kelvora::platform
