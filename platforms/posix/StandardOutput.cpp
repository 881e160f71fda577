#include "KelvoraCore/StandardOutput.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"

namespace kelvora {

namespace {

// A program may be started with its standard descriptors closed. The next files it opens would take
// their numbers, and messages would go into them.
void fillStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0) {
      // The lowest number that is free.
      [[maybe_unused]] const int opened = open("/dev/null", O_RDWR);
    }
  }
}

// Whoever shares the descriptor may have made it fail instead of wait.
bool waitUntilWritable(int descriptor) {
  pollfd waiting{descriptor, POLLOUT, 0};
  return poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

}  // namespace

StandardOutput::StandardOutput() {
  // In order with what goes to standard error itself.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  fillStandardDescriptors();
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

StandardOutput::~StandardOutput() { close(); }

void StandardOutput::close() {
  if (descriptor_ >= 0) {
    ::close(std::exchange(descriptor_, -1));
  }
}

bool StandardOutput::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor_, text.data(), text.size());
    const bool goesOn =
        count >= 0 || errno == EINTR || (errno == EAGAIN && waitUntilWritable(descriptor_));
    if (!goesOn) {
      return false;
    }
    text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  return true;
}

void StandardOutput::discardMessages(bool discard) {
  std::fflush(stdout);
  const platform::FileDescriptor nowhere(discard ? open("/dev/null", O_WRONLY | O_CLOEXEC) : -1);
  dup2(discard ? nowhere.get() : STDERR_FILENO, STDOUT_FILENO);
}

bool StandardOutput::isTerminal() const { return isatty(descriptor_) == 1; }

bool StandardOutput::isInputTerminal() { return isatty(STDIN_FILENO) == 1; }

int StandardOutput::columns() const {
  winsize size{};
  return isTerminal() && ioctl(descriptor_, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace kelvora
