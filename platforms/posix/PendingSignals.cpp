#include "platforms/posix/PendingSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace kelvora::platform {

namespace {

// A handler may only use what is set before it can run: the signal becomes a bit, and a byte in a
// pipe that ends a wait.
std::array<int, 2> signalPipe{-1, -1};
std::atomic<std::uint32_t> notedSignals{0};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
std::vector<std::pair<int, struct sigaction>> previousActions;

std::uint32_t bitOf(int signal) { return std::uint32_t{1} << static_cast<unsigned>(signal); }

void noteSignal(int signal) {
  const int error = errno;
  const char byte = 0;
  notedSignals.fetch_or(bitOf(signal));
  // A full pipe says the same already.
  [[maybe_unused]] const ssize_t count = write(signalPipe[1], &byte, 1);
  errno = error;
}

void openSignalPipe() {
  if (pipe(signalPipe.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "signals");
  }
  for (const int end : signalPipe) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);
  }
}

bool isIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void takeOver(int signal) {
  struct sigaction action = {};
  action.sa_handler = noteSignal;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  struct sigaction before = {};
  sigaction(signal, &action, &before);
  previousActions.emplace_back(signal, before);
}

}  // namespace

PendingSignals::PendingSignals(std::span<const int> signals, std::span<const int> unlessIgnored) {
  openSignalPipe();
  notedSignals = 0;
  for (const int signal : signals) {
    takeOver(signal);
  }
  for (const int signal : unlessIgnored) {
    if (!isIgnored(signal)) {
      takeOver(signal);
    }
  }
}

PendingSignals::~PendingSignals() {
  for (const auto& [signal, action] : previousActions) {
    sigaction(signal, &action, nullptr);
  }
  previousActions.clear();
  for (int& end : signalPipe) {
    close(end);
    end = -1;
  }
}

int PendingSignals::descriptor() const { return signalPipe[0]; }

void PendingSignals::drain() const {
  std::array<char, 64> bytes{};
  while (read(signalPipe[0], bytes.data(), bytes.size()) > 0) {
  }
}

bool PendingSignals::hasAny() const { return notedSignals != 0; }

bool PendingSignals::has(int signal) const { return (notedSignals & bitOf(signal)) != 0; }

bool PendingSignals::take(int signal) {
  return (notedSignals.fetch_and(~bitOf(signal)) & bitOf(signal)) != 0;
}

}  // namespace kelvora::platform
