#include "KelvoraCore/TerminalSession.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/posix/PendingSignals.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

using platform::FileDescriptor;

constexpr std::array<int, 4> kTerminalSignals{SIGINT, SIGTERM, SIGCONT, SIGWINCH};
// A shell without job control, and nohup, start programs with these ignored.
constexpr std::array<int, 2> kUnlessIgnoredSignals{SIGHUP, SIGTSTP};

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OwnedStream = std::unique_ptr<std::FILE, FileCloser>;

OwnedStream streamOntoDescriptor(int descriptor) {
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  return OwnedStream(copy < 0 ? nullptr : fdopen(copy, "w"));
}

/// Keeps messages from the screen: they go into a pipe, which drops what is more than it holds.
/// They are printed at the end of the object, or of the process where that ends first.
class HeldMessages {
 public:
  HeldMessages() {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
      throw std::system_error(errno, std::generic_category(), "terminal");
    }
    reading_ = FileDescriptor(ends[0]);
    const FileDescriptor writing(ends[1]);
    for (const int end : ends) {
      fcntl(end, F_SETFD, FD_CLOEXEC);
      fcntl(end, F_SETFL, O_NONBLOCK);
    }
    printAtAnyEnd();
    std::fflush(nullptr);
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < kMessages.size(); ++i) {
      hold(kMessages.at(i), before_.at(i), writing);
    }
    current_ = this;
  }
  ~HeldMessages() { printCurrent(); }
  HeldMessages(const HeldMessages&) = delete;
  HeldMessages& operator=(const HeldMessages&) = delete;

 private:
  static constexpr std::array<int, 2> kMessages{STDOUT_FILENO, STDERR_FILENO};

  static void hold(int descriptor, FileDescriptor& before, const FileDescriptor& writing) {
    if (isatty(descriptor) == 1) {
      before = FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
      dup2(writing.get(), descriptor);
    }
  }

  // The library may end the process, from any thread. What draws on the screen leaves it before
  // this: it comes later, and what is registered last runs first.
  static void printAtAnyEnd() {
    static const bool isRegistered = [] {
      std::atexit(printCurrent);
      standardTerminate_ = std::set_terminate(printAndTerminate);
      return true;
    }();
    static_cast<void>(isRegistered);
  }
  [[noreturn]] static void printAndTerminate() {
    printCurrent();
    standardTerminate_();
    std::abort();
  }

  static void printCurrent() {
    const std::lock_guard lock(mutex_);
    if (HeldMessages* const held = std::exchange(current_, nullptr)) {
      held->print();
    }
  }
  void print() {
    std::fflush(nullptr);
    for (std::size_t i = 0; i < kMessages.size(); ++i) {
      if (before_.at(i).isOpen()) {
        dup2(before_.at(i).get(), kMessages.at(i));
      }
    }
    std::array<char, 4096> bytes{};
    for (ssize_t count = 0; (count = read(reading_.get(), bytes.data(), bytes.size())) > 0;) {
      std::fwrite(bytes.data(), 1, static_cast<std::size_t>(count), stderr);
    }
  }

  static inline std::mutex mutex_;
  static inline HeldMessages* current_ = nullptr;
  static inline std::terminate_handler standardTerminate_ = nullptr;

  FileDescriptor reading_;
  std::array<FileDescriptor, kMessages.size()> before_;
};

bool isInputReadable() {
  pollfd waiting{STDIN_FILENO, POLLIN, 0};
  return poll(&waiting, 1, 0) > 0;
}

}  // namespace

struct TerminalSession::State {
  explicit State(int output) : stream(streamOntoDescriptor(output)) {}

  // The events of signals, the most urgent first.
  bool take(Event& event) {
    signals.drain();
    if (signals.has(SIGINT) || signals.has(SIGTERM) || signals.has(SIGHUP)) {
      event = Event::kStop;
    } else if (signals.take(SIGTSTP)) {
      event = Event::kSuspend;
    } else if (signals.take(SIGCONT)) {
      event = Event::kResume;
    } else if (signals.take(SIGWINCH)) {
      event = Event::kResize;
    } else {
      return false;
    }
    return true;
  }

  HeldMessages messages;
  platform::PendingSignals signals{kTerminalSignals, kUnlessIgnoredSignals};
  OwnedStream stream;
};

TerminalSession::TerminalSession(StandardOutput& output)
    : state_(std::make_unique<State>(output.descriptor_)) {}

TerminalSession::~TerminalSession() = default;

std::FILE* TerminalSession::stream() const { return state_->stream.get(); }

TerminalSession::Size TerminalSession::size() const {
  winsize size{};
  const bool isKnown = stream() != nullptr && ioctl(fileno(stream()), TIOCGWINSZ, &size) == 0;
  return isKnown ? Size{size.ws_col, size.ws_row} : Size{};
}

TerminalSession::Event TerminalSession::waitUntil(std::chrono::steady_clock::time_point deadline) {
  Event event = Event::kWork;
  if (state_->take(event)) {
    return event;
  }
  platform::MainQueue& queue = Platform::current().mainQueue();
  queue.waitForWork(deadline, std::array{state_->signals.descriptor(), STDIN_FILENO});
  if (state_->take(event)) {
    return event;
  }
  queue.runPending();
  if (isInputReadable()) {
    return Event::kInput;
  }
  return std::chrono::steady_clock::now() < deadline ? Event::kWork : Event::kDeadline;
}

void TerminalSession::suspend() {
  struct sigaction standard = {};
  standard.sa_handler = SIG_DFL;
  sigemptyset(&standard.sa_mask);
  struct sigaction own = {};
  sigaction(SIGTSTP, &standard, &own);
  raise(SIGTSTP);
  sigaction(SIGTSTP, &own, nullptr);
  state_->signals.take(SIGCONT);
}

}  // namespace kelvora
