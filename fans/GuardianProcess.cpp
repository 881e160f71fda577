#include "fans/GuardianProcess.h"

#include <utility>

namespace kelvora {

using platform::GuardChannel;
using Clock = std::chrono::steady_clock;

std::string GuardianProcess::launch(const std::string& path, const LeaseRequest& request) {
  unanswered_.reset();
  auto ends = GuardChannel::open();
  if (!ends) {
    return "the system has no descriptors left";
  }
  platform::ChildRequest child;
  child.path = path;
  child.isOwnProgram = true;
  child.standardInput = ends->second.descriptor();
  platform::ChildLaunch launch = processes_.launch(child);
  if (!launch.child) {
    return "the guardian cannot be started: " + path + ": " + launch.failure;
  }
  process_ = std::move(launch.child);
  channel_.emplace(std::move(ends->first));
  channel_->send(lineOf(request));
  return "";
}

GuardianProcess::Event GuardianProcess::receive(std::string& line,
                                                std::chrono::milliseconds limit) {
  const Event event = channel_ ? channel_->receive(line, limit) : Event::kEnd;
  if (event == Event::kLine && line == "alive") {
    unanswered_.reset();
  }
  return event;
}

void GuardianProcess::renew() {
  channel_->send("renew");
  if (!unanswered_) {
    unanswered_ = Clock::now();
  }
}

bool GuardianProcess::isSilent() const {
  return unanswered_ && Clock::now() - *unanswered_ > timeout_;
}

bool GuardianProcess::waitUntilEnded() {
  const auto process = std::move(process_);
  return process == nullptr || process->waitUntilExit(timeout_).has_value();
}

}  // namespace kelvora
