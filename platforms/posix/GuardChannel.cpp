#include "ports/GuardChannel.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/posix/PollTimeout.h"

namespace kelvora::platform {

namespace {

using Clock = std::chrono::steady_clock;

// No line of a guardian or of its holder is as long.
constexpr std::size_t kLongestLine = 65'536;

#ifdef SO_NOSIGPIPE  // macOS says it once, of the socket; Linux of each call
constexpr int kWithoutSignal = 0;
bool raisesNoSignal(int descriptor) {
  const int yes = 1;
  return setsockopt(descriptor, SOL_SOCKET, SO_NOSIGPIPE, &yes, sizeof yes) == 0;
}
#else
constexpr int kWithoutSignal = MSG_NOSIGNAL;
bool raisesNoSignal(int) { return true; }
#endif

FileDescriptor preparedEnd(int descriptor) {
  FileDescriptor end(descriptor);
  if (fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0 || !raisesNoSignal(descriptor)) {
    end.close();
  }
  return end;
}

bool isStream(int descriptor) {
  int type = 0;
  socklen_t size = sizeof type;
  return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

}  // namespace

struct GuardChannel::Stream {
  FileDescriptor descriptor;
  std::string received;  // and not taken as a line yet
  bool hasEnded = false;

  bool takeLine(std::string& line) {
    const std::size_t end = received.find('\n');
    if (end == std::string::npos) {
      return false;
    }
    line = received.substr(0, end);
    received.erase(0, end + 1);
    return true;
  }

  // False when nothing came before the deadline.
  bool waitUntil(Clock::time_point deadline) const {
    pollfd readable{descriptor.get(), POLLIN, 0};
    int count = 0;
    do {
      count = poll(&readable, 1, pollTimeoutMs(deadline));
    } while (count < 0 && errno == EINTR);
    return count != 0;
  }

  void read() {
    std::array<char, 4096> buffer;
    const ssize_t count = recv(descriptor.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count > 0) {
      received.append(buffer.data(), static_cast<std::size_t>(count));
    }
    const bool isLater = count < 0 && (errno == EAGAIN || errno == EINTR);
    hasEnded = (count <= 0 && !isLater) || received.size() > kLongestLine;
  }
};

std::optional<GuardChannel::Ends> GuardChannel::open() {
  std::array<int, 2> ends = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
    return std::nullopt;
  }
  FileDescriptor first = preparedEnd(ends[0]);
  FileDescriptor second = preparedEnd(ends[1]);
  if (!first.isOpen() || !second.isOpen()) {
    return std::nullopt;
  }
  return Ends{GuardChannel(std::make_unique<Stream>(Stream{std::move(first), "", false})),
              GuardChannel(std::make_unique<Stream>(Stream{std::move(second), "", false}))};
}

std::optional<GuardChannel> GuardChannel::fromStandardInput() {
  if (!isStream(STDIN_FILENO)) {
    return std::nullopt;
  }
  FileDescriptor end = preparedEnd(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  const FileDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!end.isOpen() || dup2(nothing.get(), STDIN_FILENO) < 0) {
    return std::nullopt;
  }
  return GuardChannel(std::make_unique<Stream>(Stream{std::move(end), "", false}));
}

GuardChannel::GuardChannel(std::unique_ptr<Stream> stream) : stream_(std::move(stream)) {}
GuardChannel::GuardChannel(GuardChannel&&) noexcept = default;
GuardChannel& GuardChannel::operator=(GuardChannel&&) noexcept = default;
GuardChannel::~GuardChannel() = default;

// A line is far smaller than what the system holds, so it goes as a whole or not at all.
bool GuardChannel::send(std::string_view line) {
  const std::string text = std::string(line) + "\n";
  ssize_t count = -1;
  do {
    count =
        ::send(stream_->descriptor.get(), text.data(), text.size(), MSG_DONTWAIT | kWithoutSignal);
  } while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(text.size());
}

GuardChannel::Event GuardChannel::receive(std::string& line, std::chrono::milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (!stream_->takeLine(line)) {
    if (stream_->hasEnded || !stream_->descriptor.isOpen()) {
      return Event::kEnd;
    }
    if (!stream_->waitUntil(deadline)) {
      return Event::kNothing;
    }
    stream_->read();
  }
  return Event::kLine;
}

int GuardChannel::descriptor() const { return stream_->descriptor.get(); }

void GuardChannel::close() { stream_->descriptor.close(); }

}  // namespace kelvora::platform
