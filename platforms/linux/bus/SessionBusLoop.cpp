#include "platforms/linux/bus/SessionBusLoop.h"

#include <cstdlib>
#include <mutex>
#include <set>
#include <utility>

#include <sdbus-c++/sdbus-c++.h>

namespace kelvora::platform {

namespace {

// Ends the loops of all connections when the process exits: a platform that lives for the process
// is never destroyed, and its loop would go on while the bus library's own objects go away.
class OpenLoops {
 public:
  static OpenLoops& all() {
    static OpenLoops& loops = *new OpenLoops();
    return loops;
  }

  void add(SessionBusLoop* loop) {
    const std::lock_guard lock(mutex_);
    loops_.insert(loop);
  }
  void remove(SessionBusLoop* loop) {
    const std::lock_guard lock(mutex_);
    loops_.erase(loop);
  }

 private:
  OpenLoops() {
    // The bus library makes the connection behind its variants with the first of them. It must
    // stand before this is registered, so that it goes after the loops have ended.
    const sdbus::Variant first;
    std::atexit([] { all().stopAll(); });
  }
  void stopAll() {
    const std::lock_guard lock(mutex_);
    for (SessionBusLoop* loop : loops_) {
      loop->stop();
    }
  }

  std::mutex mutex_;
  std::set<SessionBusLoop*> loops_;
};

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
  OpenLoops::all().remove(this);
  stop();
}

void SessionBusLoop::start(std::function<void()> ended) {
  OpenLoops& loops = OpenLoops::all();
  thread_ = std::thread([this, ended = std::move(ended)] {
    // The loop ends with an error when the bus goes away.
    guardedFromBus([this] { connection_->enterEventLoop(); });
    if (ended) {
      ended();
    }
  });
  loops.add(this);
}

void SessionBusLoop::stop() {
  if (thread_.joinable()) {
    guardedFromBus([this] { connection_->leaveEventLoop(); });
    thread_.join();
  }
}

}  // namespace kelvora::platform
