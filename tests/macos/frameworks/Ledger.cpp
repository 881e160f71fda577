#include "tests/macos/frameworks/Ledger.h"

#include <gtest/gtest.h>

namespace kelvora::testing::mac {

Ledger& Ledger::shared() {
  static Ledger ledger;
  return ledger;
}

bool Ledger::recorded(const std::string& function, std::string call) {
  const std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
  return countedLocked(function);
}

bool Ledger::counted(const std::string& function) {
  const std::lock_guard lock(mutex_);
  return countedLocked(function);
}

bool Ledger::countedLocked(const std::string& function) {
  const int number = ++counts_[function];
  const auto wanted = failures_.find(function);
  if (wanted == failures_.end()) {
    return false;
  }
  const auto& [first, goesOn] = wanted->second;
  return number == first || (goesOn && number > first);
}

void Ledger::failCall(const std::string& function, int number) { fail(function, number, false); }

void Ledger::failCallsFrom(const std::string& function, int number) {
  fail(function, number, true);
}

void Ledger::fail(const std::string& function, int number, bool goesOn) {
  const std::lock_guard lock(mutex_);
  failures_[function] = {counts_[function] + number, goesOn};
}

void Ledger::failNothing() {
  const std::lock_guard lock(mutex_);
  failures_.clear();
}

std::vector<std::string> Ledger::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

void Ledger::forgetCalls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

int Ledger::callCount(const std::string& function) const {
  const std::lock_guard lock(mutex_);
  const auto count = counts_.find(function);
  return count == counts_.end() ? 0 : count->second;
}

void Ledger::opened(const std::string& kind) {
  const std::lock_guard lock(mutex_);
  ++open_[kind];
}

void Ledger::closed(const std::string& kind) {
  const std::lock_guard lock(mutex_);
  if (--open_[kind] == 0) {
    open_.erase(kind);
  }
}

std::map<std::string, int> Ledger::open() const {
  const std::lock_guard lock(mutex_);
  return open_;
}

void Ledger::misuse(const std::string& function, const std::string& what) {
  ADD_FAILURE() << function << ": " << what;
}

void Ledger::requireMainThread(const std::string& function) const {
  if (std::this_thread::get_id() != mainThread_) {
    misuse(function, "not on the main thread");
  }
}

void Ledger::reset() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
  counts_.clear();
  failures_.clear();
  open_.clear();
  mainThread_ = std::this_thread::get_id();
}

}  // namespace kelvora::testing::mac
