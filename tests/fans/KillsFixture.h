#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/fans/LeaseFixture.h"
#include "tests/support/ChildWork.h"

namespace kelvora::testing {

/// Leases whose guardians the test can count, in processes of its own.
class FanLeaseKills : public LeaseFixture {
 protected:
  FanLeaseKills() { std::filesystem::copy_file(KELVORA_TEST_GUARDIAN, guardian); }
  ~FanLeaseKills() override {
    EXPECT_TRUE(soon([this] { return guardians().empty(); }));
  }

  std::unique_ptr<KVFanLease> lease(std::chrono::milliseconds timeout) const {
    return std::make_unique<KVFanLease>(*controller,
                                        KVFanLeaseOptions{timeout, "Test Host", guardian});
  }
  std::vector<pid_t> guardians() const { return processesOf(guardian); }

  // This fixture's own, so that it can wait for the last of them.
  const std::string guardian = folder.path("Kelvora Guardian");
};

}  // namespace kelvora::testing
