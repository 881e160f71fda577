#include "platforms/linux/bus/SessionBusLoop.h"

#include <chrono>
#include <utility>

#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/socket.h>

namespace kelvora::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestStall(2'000);
constexpr std::chrono::seconds kLongestFarewell(10);

bool takesMore(int bus) {
  pollfd waiting{bus, POLLOUT, 0};
  return poll(&waiting, 1, static_cast<int>(kLongestStall.count())) > 0;
}

}  // namespace

void guardedFromBus(const std::function<void()>& work) {
  try {
    work();
  } catch (const sdbus::Error&) {
    return;
  }
}

SessionBusLoop::SessionBusLoop() : connection_(sdbus::createSessionBusConnection()) {}

SessionBusLoop::~SessionBusLoop() {
  exitWork_.reset();
  stop();
}

void SessionBusLoop::start(std::function<void()> ended) {
  thread_ = std::thread([this, ended = std::move(ended)] {
    // The loop ends with an error when the bus goes away.
    guardedFromBus([this] { connection_->enterEventLoop(); });
    if (ended) {
      ended();
    }
  });
  exitWork_.emplace([this] { stop(); });
}

void SessionBusLoop::stop() {
  if (thread_.joinable()) {
    guardedFromBus([this] { connection_->leaveEventLoop(); });
    thread_.join();
    guardedFromBus([this] { sendWhatIsQueued(); });
  }
}

// The library asks for POLLOUT as long as something is queued. Closing a connection with something
// queued would wait for the bus without end, so the socket of a bus that takes nothing is shut.
void SessionBusLoop::sendWhatIsQueued() {
  const auto end = Clock::now() + kLongestFarewell;
  for (auto socket = connection_->getEventLoopPollData(); (socket.events & POLLOUT) != 0;
       socket = connection_->getEventLoopPollData()) {
    if (Clock::now() > end || !takesMore(socket.fd)) {
      shutdown(socket.fd, SHUT_RDWR);
      return;
    }
    connection_->processPendingRequest();
  }
}

}  // namespace kelvora::platform
