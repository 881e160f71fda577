#include "KelvoraCore/StopSignal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>

#include <poll.h>

#include "platforms/posix/PendingSignals.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr std::array<int, 2> kStopSignals{SIGINT, SIGTERM};
constexpr std::array<int, 1> kStopSignalsUnlessIgnored{SIGHUP};

std::optional<platform::PendingSignals> asked;

}  // namespace

StopSignal::StopSignal() { asked.emplace(kStopSignals, kStopSignalsUnlessIgnored); }

StopSignal::~StopSignal() { asked.reset(); }

bool StopSignal::waitUntilReadable(int descriptor) {
  std::array<pollfd, 2> waiting{{{asked->descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
  // A signal ends the wait early; its byte is found the next time round.
  while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
  }
  return waiting[0].revents == 0;
}

bool StopSignal::runUntil(std::chrono::steady_clock::time_point deadline) {
  platform::MainQueue& queue = Platform::current().mainQueue();
  const std::array<int, 1> wakes{asked->descriptor()};
  do {
    if (asked->hasAny()) {
      return false;
    }
    queue.waitForWork(deadline, wakes);
    if (asked->hasAny()) {
      return false;
    }
    queue.runPending();
  } while (std::chrono::steady_clock::now() < deadline);
  return true;
}

void StopSignal::run() {
  while (runUntil(std::chrono::steady_clock::time_point::max())) {
  }
}

}  // namespace kelvora
