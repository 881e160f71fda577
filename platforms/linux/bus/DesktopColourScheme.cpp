#include "platforms/linux/bus/DesktopColourScheme.h"

#include <chrono>
#include <utility>

namespace kelvora::platform {

namespace {

constexpr std::chrono::milliseconds kLongestWait(500);

}  // namespace

std::uint32_t DesktopColourScheme::value() {
  follow();
  std::unique_lock lock(mutex_);
  waitHasEnded_.wait_for(lock, kLongestWait, [this] { return !isAwaited_; });
  isAwaited_ = false;
  wasGuessed_ = !known_;
  return known_.value_or(kNoPreference);
}

void DesktopColourScheme::follow() {
  const std::lock_guard lock(portalMutex_);
  if (portal_ == nullptr || !portal_->isConnected()) {
    ask();
  }
}

void DesktopColourScheme::followAgain() {
  const std::lock_guard lock(portalMutex_);
  if (isFollowed_) {
    ask();
  }
}

void DesktopColourScheme::ask() {
  isFollowed_ = true;
  portal_ = ColourSchemePortal::open({[this](std::uint32_t value) { answered(value); },
                                      [this](std::uint32_t value) { changed(value); },
                                      [this] { stopWaiting(); }});
  if (portal_ == nullptr) {
    stopWaiting();
  }
}

void DesktopColourScheme::stopWaiting() {
  const std::lock_guard lock(mutex_);
  isAwaited_ = false;
  waitHasEnded_.notify_all();
}

void DesktopColourScheme::setHandler(std::function<void()> changed) {
  const std::lock_guard lock(handlerMutex_);
  handler_ = std::move(changed);
}

void DesktopColourScheme::answered(std::uint32_t value) {
  bool isOther = false;
  {
    const std::lock_guard lock(mutex_);
    isOther = (known_ || wasGuessed_) && value != known_.value_or(kNoPreference);
    known_ = value;
  }
  stopWaiting();
  if (isOther) {
    announce();
  }
}

void DesktopColourScheme::changed(std::uint32_t value) {
  bool isOther = false;
  {
    const std::lock_guard lock(mutex_);
    isOther = known_ != value;
    known_ = value;
  }
  stopWaiting();
  if (isOther) {
    announce();
  }
}

void DesktopColourScheme::announce() {
  const std::lock_guard lock(handlerMutex_);
  if (handler_) {
    handler_();
  }
}

}  // namespace kelvora::platform
