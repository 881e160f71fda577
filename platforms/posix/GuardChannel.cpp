#include "ports/GuardChannel.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/posix/OwnSession.h"
#include "platforms/posix/PollTimeout.h"
#include "platforms/posix/ProcessExecutable.h"

namespace kelvora::platform {

namespace {

using Clock = std::chrono::steady_clock;

// No line of a guardian or of its holder is as long.
constexpr std::size_t kLongestLine = 65'536;

#ifdef SOCK_CLOEXEC  // so that a child started at the same moment does not inherit an end
constexpr int kStream = SOCK_STREAM | SOCK_CLOEXEC;
#else
constexpr int kStream = SOCK_STREAM;
#endif

#ifdef SO_NOSIGPIPE  // macOS sets it once per socket, Linux per call
constexpr int kWithoutSignal = 0;
bool raisesNoSignal(int descriptor) {
  const int yes = 1;
  return setsockopt(descriptor, SOL_SOCKET, SO_NOSIGPIPE, &yes, sizeof yes) == 0;
}
#else
constexpr int kWithoutSignal = MSG_NOSIGNAL;
bool raisesNoSignal(int) { return true; }
#endif

bool prepare(int descriptor) {
  return fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0 && raisesNoSignal(descriptor);
}

bool isStream(int descriptor) {
  int type = 0;
  socklen_t size = sizeof type;
  return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

// False when nothing came before the deadline.
bool waitUntilReadable(int descriptor, Clock::time_point deadline) {
  pollfd readable{descriptor, POLLIN, 0};
  int count = 0;
  do {
    count = poll(&readable, 1, pollTimeoutMs(deadline));
  } while (count < 0 && errno == EINTR);
  return count != 0;
}

}  // namespace

std::optional<GuardChannel::Ends> GuardChannel::open() {
  std::array<int, 2> ends = {-1, -1};
  if (socketpair(AF_UNIX, kStream, 0, ends.data()) != 0) {
    return std::nullopt;
  }
  Ends channel{GuardChannel(ends[0]), GuardChannel(ends[1])};
  if (!prepare(ends[0]) || !prepare(ends[1])) {
    return std::nullopt;
  }
  return channel;
}

std::optional<GuardChannel> GuardChannel::fromStandardInput() {
  if (!isStream(STDIN_FILENO)) {
    return std::nullopt;
  }
  GuardChannel end(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  const FileDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!prepare(end.descriptor()) || dup2(nothing.get(), STDIN_FILENO) < 0) {
    return std::nullopt;
  }
  return end;
}

GuardChannel::GuardChannel(GuardChannel&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      received_(std::move(other.received_)),
      hasEnded_(other.hasEnded_) {}

GuardChannel& GuardChannel::operator=(GuardChannel&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(received_, other.received_);
  std::swap(hasEnded_, other.hasEnded_);
  return *this;
}

GuardChannel::~GuardChannel() { close(); }

// A line is far smaller than what the system holds, so it goes as a whole or not at all.
bool GuardChannel::send(std::string_view line) {
  const std::string text = std::string(line) + "\n";
  ssize_t count = -1;
  do {
    count = ::send(descriptor_, text.data(), text.size(), MSG_DONTWAIT | kWithoutSignal);
  } while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(text.size());
}

GuardChannel::Event GuardChannel::receive(std::string& line, std::chrono::milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (!takeLine(line)) {
    if (hasEnded_ || descriptor_ < 0) {
      return Event::kEnd;
    }
    if (!waitUntilReadable(descriptor_, deadline)) {
      return Event::kNothing;
    }
    read();
  }
  return Event::kLine;
}

bool GuardChannel::takeLine(std::string& line) {
  const std::size_t end = received_.find('\n');
  if (end == std::string::npos) {
    return false;
  }
  line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return true;
}

void GuardChannel::read() {
  std::array<char, 4096> buffer;
  const ssize_t count = recv(descriptor_, buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count > 0) {
    received_.append(buffer.data(), static_cast<std::size_t>(count));
  }
  const bool isLater = count < 0 && (errno == EAGAIN || errno == EINTR);
  hasEnded_ = (count <= 0 && !isLater) || received_.size() > kLongestLine;
}

void GuardChannel::close() {
  if (descriptor_ >= 0) {
    ::close(std::exchange(descriptor_, -1));
  }
}

void removeFromEnvironment(const char* variable) { ::unsetenv(variable); }

void leaveTerminal() {
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP}) {
    std::signal(number, SIG_IGN);
  }
  leaveSession();
}

std::int64_t processIdentifier() { return getpid(); }

bool isRunning(std::int64_t processIdentifier) {
  return processIdentifier > 0 && !executableOf(static_cast<pid_t>(processIdentifier)).empty();
}

}  // namespace kelvora::platform
