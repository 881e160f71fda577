#include "hardware/SMCConnection.h"

#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SMCWrapper.h"

#include "tests/support/ForwardingPorts.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::IOObject;
using platform::KernelStatus;

std::unique_ptr<Platform> macWith(std::vector<platform::RecordedSMCKey> keys) {
  platform::RecordedMachine machine;
  machine.smcKeys = std::move(keys);
  return recordedPlatform(std::move(machine));
}

TEST(SMCConnection, KeepsTheKeyInformationOfItsOwnMachine) {
  const auto first = macWith({smcKey("TC0P", "sp78", {0x28, 0x80})});
  const auto second = macWith({smcKey("TC0P", "flt ", {0, 0, 0x20, 0x42})});
  SMCConnection firstConnection(first->smc());
  SMCConnection secondConnection(second->smc());
  ASSERT_EQ(firstConnection.open(), 0U);
  ASSERT_EQ(secondConnection.open(), 0U);
  for (int round = 0; round < 2; ++round) {
    SMCValueRecord value;
    ASSERT_EQ(firstConnection.readKey(SMCPackedKey("TC0P"), value), 0U);
    EXPECT_EQ(SMCConvertValueToNumber(value), 40.5F);
    ASSERT_EQ(secondConnection.readKey(SMCPackedKey("TC0P"), value), 0U);
    EXPECT_EQ(SMCConvertValueToNumber(value), 40.0F);
  }
}

TEST(SMCConnection, ToTheCurrentPlatformIsThatOfTheProcess) {
  installSMC({});
  EXPECT_EQ(SMCConnection::to(Platform::current()), SMCConnection::ofProcess());
  const auto other = macWith({});
  EXPECT_NE(SMCConnection::to(*other), SMCConnection::ofProcess());
  EXPECT_NE(SMCConnection::to(*other), SMCConnection::to(*other));
}

// Reads a key each time that the service is opened, before and after it is.
class ReadingWhileOpening : public ForwardingSMC {
 public:
  using ForwardingSMC::ForwardingSMC;
  KernelStatus openService(IOObject service, std::uint32_t type, IOObject& handle) override {
    read();
    const KernelStatus status = ForwardingSMC::openService(service, type, handle);
    read();
    return status;
  }

  SMCConnection* connection = nullptr;
  std::vector<KernelStatus> statuses;

 private:
  void read() {
    if (connection != nullptr) {
      SMCValueRecord value;
      statuses.push_back(connection->readKey(SMCPackedKey("TC0P"), value));
    }
  }
};

TEST(SMCConnection, ReadsWhileItIsOpenedAgain) {
  const auto platform = macWith({smcKey("TC0P", "sp78", {0x28, 0x80})});
  auto& smc = wrapPort<ReadingWhileOpening>(platform->ports().smc);
  SMCConnection connection(smc);
  ASSERT_EQ(connection.open(), 0U);
  smc.connection = &connection;
  ASSERT_EQ(connection.open(), 0U);
  EXPECT_EQ(smc.statuses, (std::vector<KernelStatus>{0, 0}));
}

TEST(SMCConnection, NoReadFailsWhileAnotherThreadOpensAgain) {
  const auto platform = macWith({smcKey("TC0P", "sp78", {0x28, 0x80})});
  SMCConnection connection(platform->smc());
  ASSERT_EQ(connection.open(), 0U);
  std::atomic<bool> isDone = false;
  std::atomic<int> reads = 0;
  std::atomic<int> failures = 0;
  const auto readUntilDone = [&] {
    while (!isDone) {
      SMCValueRecord value;
      failures += connection.readKey(SMCPackedKey("TC0P"), value) == 0 ? 0 : 1;
      ++reads;
    }
  };
  std::thread first(readUntilDone);
  std::thread second(readUntilDone);
  for (int i = 0; i < 300 || reads < 1000; ++i) {
    if (i < 300) {
      EXPECT_EQ(connection.open(), 0U);
    }
    std::this_thread::yield();
  }
  isDone = true;
  first.join();
  second.join();
  EXPECT_EQ(failures, 0);
}

TEST(SMCConnection, IsInvalidAfterItCouldNotBeOpenedAgain) {
  const auto platform = macWith({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ForwardingSMC& smc = ForwardingSMC::wrap(*platform);
  SMCConnection connection(smc);
  ASSERT_EQ(connection.open(), 0U);
  smc.openStatus = platform::kKernelError;
  EXPECT_EQ(connection.open(), 1U);
  SMCValueRecord value;
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), platform::kKernelNotOpen);
  smc.openStatus.reset();
  EXPECT_EQ(connection.open(), 0U);
  EXPECT_EQ(connection.readKey(SMCPackedKey("TC0P"), value), 0U);
}

TEST(SMCWrapper, OnAnotherPlatformHasAConnectionOfItsOwn) {
  ForwardingSMC& current = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  const auto platform = macWith({smcKey("TC0P", "sp78", {0x30, 0})});
  ForwardingSMC& other = ForwardingSMC::wrap(*platform);
  {
    SMCWrapper wrapper(*platform);
    EXPECT_EQ(wrapper.rawValueByKey("TC0P"), 48.0);
    EXPECT_EQ(other.openConnections(), 1);
    EXPECT_EQ(current.openConnections(), 0);
    EXPECT_EQ(current.count(), 0);
  }
  EXPECT_EQ(other.openConnections(), 0);
}

TEST(SMCWrapper, OfTheCurrentPlatformEndsWithoutClosingAnothersConnection) {
  installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  const auto platform = macWith({smcKey("TC0P", "sp78", {0x30, 0})});
  SMCWrapper wrapper(*platform);
  {
    SMCWrapper ofProcess;
    EXPECT_EQ(ofProcess.rawValueByKey("TC0P"), 40.5);
  }
  EXPECT_EQ(wrapper.rawValueByKey("TC0P"), 48.0);
}

TEST(SMCWrapper, OfTheCurrentPlatformSharesTheConnectionOfTheFunctions) {
  installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  SMCValueRecord value;
  {
    const SMCWrapper wrapper;
    EXPECT_EQ(SMCReadKey("TC0P", &value), 0U);
  }
  EXPECT_EQ(SMCReadKey("TC0P", &value), platform::kKernelNotOpen);
}

TEST(SMCWrapper, OnARecordedMacMakesNoPlatformCurrent) {
  const auto platform = macWith({});
  const SMCWrapper wrapper(*platform);
  EXPECT_FALSE(platform->isCurrent());
  EXPECT_NO_THROW(Platform::install(macWith({})));
  EXPECT_TRUE(Platform::current().isCurrent());
}

}  // namespace
}  // namespace kelvora::testing
