#include "platforms/linux/bus/SessionBusLoop.h"

#include <chrono>
#include <string>
#include <utility>

#include <sdbus-c++/sdbus-c++.h>
#include <sys/socket.h>

namespace kelvora::platform {

namespace {

constexpr std::chrono::seconds kLongestFarewell(10);

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
    deliverWhatWasSent();
  }
}

// The bus handles the messages of a connection in order: its reply to a last one shows that it has
// the others. Closing a connection with something queued would wait for the bus without end, so the
// socket of a bus that does not reply is shut.
void SessionBusLoop::deliverWhatWasSent() {
  if (!hasSent_) {
    return;
  }
  try {
    const auto bus =
        sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    std::string id;
    bus->callMethod("GetId")
        .onInterface("org.freedesktop.DBus")
        .withTimeout(kLongestFarewell)
        .storeResultsTo(id);
  } catch (const sdbus::Error&) {
    // A bus that has gone has no socket any more.
    guardedFromBus([this] { shutdown(connection_->getEventLoopPollData().fd, SHUT_RDWR); });
  }
}

}  // namespace kelvora::platform
