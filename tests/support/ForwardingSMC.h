#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/SMC.h"

#include "ports/Ports.h"
#include "ports/SMCUserClient.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {

/// One 80-byte call, as it was sent.
struct SMCCallRecord {
  std::uint8_t command = 0;  ///< an SMCCommand
  std::uint32_t key = 0;     ///< packed
  std::uint32_t data32 = 0;  ///< the index of SMCCommandKeyAtIndex
  friend bool operator==(const SMCCallRecord&, const SMCCallRecord&) = default;
};

/// Forwards to another SMC, records every 80-byte call, and can make some of them fail.
class ForwardingSMC : public platform::SMCUserClient {
 public:
  using Input = std::span<const std::byte>;
  using Output = std::span<std::byte>;
  /// Replaces a call of the SMC behind by a status, or returns none to let it through.
  using Override =
      std::function<std::optional<platform::KernelStatus>(const SMCCallRecord&, Output)>;

  explicit ForwardingSMC(std::unique_ptr<platform::SMCUserClient> behind)
      : behind_(std::move(behind)) {}

  /// Puts a forwarding SMC before the platform's own and returns it; the platform owns it.
  static ForwardingSMC& wrap(Platform& platform) {
    return wrapPort<ForwardingSMC>(platform.ports().smc);
  }

  /// The n-th call from now (1 is the next) returns `status` without reaching the SMC.
  void failNth(int n, platform::KernelStatus status = platform::kKernelError) {
    const std::lock_guard lock(mutex_);
    failures_.emplace_back(calls_.size() + static_cast<std::size_t>(n), status);
  }
  void setOverride(Override override) {
    const std::lock_guard lock(mutex_);
    override_ = std::move(override);
  }
  /// What matchingServices and openService return; none forwards.
  std::optional<platform::KernelStatus> matchingStatus;
  std::optional<platform::KernelStatus> openStatus;

  std::vector<SMCCallRecord> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  /// How many calls there were, of one command if it is given.
  int count(std::optional<std::uint8_t> command = std::nullopt) const {
    int number = 0;
    for (const SMCCallRecord& call : calls()) {
      number += !command || call.command == *command;
    }
    return number;
  }
  void forgetCalls() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
    failures_.clear();
  }
  int openConnections() const {
    const std::lock_guard lock(mutex_);
    return openConnections_;
  }
  platform::SMCUserClient& behind() { return *behind_; }

  platform::KernelStatus matchingServices(const char* serviceClass,
                                          platform::IOObject& iterator) override {
    return matchingStatus ? *matchingStatus : behind_->matchingServices(serviceClass, iterator);
  }
  platform::IOObject nextService(platform::IOObject iterator) override {
    return behind_->nextService(iterator);
  }
  void release(platform::IOObject object) override { behind_->release(object); }
  platform::KernelStatus openService(platform::IOObject service, std::uint32_t type,
                                     platform::IOObject& connection) override {
    if (openStatus) {
      return *openStatus;
    }
    const auto status = behind_->openService(service, type, connection);
    changeOpenConnections(status, 1);
    return status;
  }
  platform::KernelStatus closeService(platform::IOObject connection) override {
    const auto status = behind_->closeService(connection);
    changeOpenConnections(status, -1);
    return status;
  }
  platform::KernelStatus callStructMethod(platform::IOObject connection, std::uint32_t selector,
                                          Input input, Output output) override {
    const SMCCallRecord call = recordOf(input);
    if (const auto answer = note(call, output)) {
      return *answer;
    }
    return behind_->callStructMethod(connection, selector, input, output);
  }

 private:
  static SMCCallRecord recordOf(Input input) {
    SMCParamRecord record;
    if (input.size() == sizeof record) {
      std::memcpy(&record, input.data(), sizeof record);
    }
    return {record.command, record.key, record.data32};
  }

  std::optional<platform::KernelStatus> note(const SMCCallRecord& call, Output output) {
    Override override;
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back(call);
      for (const auto& [number, status] : failures_) {
        if (number == calls_.size()) {
          return status;
        }
      }
      override = override_;
    }
    return override ? override(call, output) : std::nullopt;
  }

  void changeOpenConnections(platform::KernelStatus status, int difference) {
    const std::lock_guard lock(mutex_);
    if (status == platform::kKernelSuccess) {
      openConnections_ += difference;
    }
  }

  std::unique_ptr<platform::SMCUserClient> behind_;
  mutable std::mutex mutex_;
  std::vector<SMCCallRecord> calls_;
  std::vector<std::pair<std::size_t, platform::KernelStatus>> failures_;
  Override override_;
  int openConnections_ = 0;
};

/// Installs a Mac whose SMC holds exactly these keys, and watches its calls.
inline ForwardingSMC& installSMC(std::vector<platform::RecordedSMCKey> keys) {
  platform::RecordedMachine machine;
  machine.title = "Test Mac";
  machine.smcKeys = std::move(keys);
  return ForwardingSMC::wrap(installRecordedPlatform(std::move(machine)));
}

/// Commands of the calls so far, in order.
inline std::vector<int> commands(const ForwardingSMC& smc) {
  std::vector<int> result;
  for (const SMCCallRecord& call : smc.calls()) {
    result.push_back(call.command);
  }
  return result;
}

/// "9 TC0P", "8 #3" and so on: command and key, or command and index, of the calls so far.
inline std::vector<std::string> calls(const ForwardingSMC& smc) {
  std::vector<std::string> texts;
  for (const SMCCallRecord& call : smc.calls()) {
    char key[5];
    SMCConvertNumberToString(key, call.key);
    texts.push_back(std::to_string(call.command) + " " +
                    (call.command == 8 ? "#" + std::to_string(call.data32) : key));
  }
  return texts;
}

}  // namespace kelvora::testing
