#include "platforms/macos/system/MacHostStatistics.h"

#include "platforms/recorded/RecordedSystem.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacHostStatistics;
using platform::ProcessorTicks;

bool operator==(const ProcessorTicks& a, const ProcessorTicks& b) {
  return a.user == b.user && a.system == b.system && a.idle == b.idle && a.nice == b.nice;
}

platform::RecordedMachine machineWithStatistics() {
  platform::RecordedMachine machine;
  machine.statistics.uptimeSeconds = 12345.5;
  machine.statistics.processorTicks = {{1, 2, 3, 4}, {0xffffffff, 6, 7, 8}};
  machine.statistics.pageSizeBytes = 16384;
  machine.statistics.memory = platform::MemoryPages{10, 20, 30, 0xfffffff0};
  machine.statistics.fileSystem = platform::FileSystemSize{499963174912, 1234567890};
  return machine;
}

class MacHostStatisticsTest : public SystemTest {
 protected:
  MacHostStatisticsTest() { Host::shared().boot(machineWithStatistics()); }
  MacHostStatistics statistics;
};

TEST_F(MacHostStatisticsTest, TicksAreCopiedAndTheKernelsMemoryIsGivenBack) {
  const auto ticks = statistics.processorTicks();
  ASSERT_TRUE(ticks.has_value());
  ASSERT_EQ(ticks->size(), 2U);
  EXPECT_TRUE((*ticks)[0] == (ProcessorTicks{1, 2, 3, 4}));
  EXPECT_TRUE((*ticks)[1] == (ProcessorTicks{0xffffffff, 6, 7, 8}));
  EXPECT_EQ(takeCalls(), (Calls{"mach_host_self()", "host_processor_info(2)",
                                "mach_port_deallocate()", "vm_deallocate()"}));
}

TEST_F(MacHostStatisticsTest, WithoutProcessorInformationThereAreNoTicksAndNothingIsGivenBack) {
  ledger.failCall("host_processor_info");
  EXPECT_FALSE(statistics.processorTicks().has_value());
  EXPECT_EQ(takeCalls(),
            (Calls{"mach_host_self()", "host_processor_info(2)", "mach_port_deallocate()"}));
  EXPECT_TRUE(statistics.processorTicks().has_value());
}

TEST_F(MacHostStatisticsTest, MemoryIsAskedForWithFifteenWords) {
  const auto pages = statistics.memoryPages();
  ASSERT_TRUE(pages.has_value());
  EXPECT_EQ(pages->free, 10U);
  EXPECT_EQ(pages->active, 20U);
  EXPECT_EQ(pages->inactive, 30U);
  EXPECT_EQ(pages->wired, 0xfffffff0U);
  EXPECT_EQ(takeCalls(),
            (Calls{"mach_host_self()", "host_statistics(2, 15)", "mach_port_deallocate()"}));
  ledger.failCallsFrom("host_statistics");
  EXPECT_FALSE(statistics.memoryPages().has_value());
}

TEST_F(MacHostStatisticsTest, ThePageSizeIsReadByNumber) {
  EXPECT_EQ(statistics.pageSizeBytes(), 16384U);
  EXPECT_EQ(takeCalls(), (Calls{"sysctl(6.7, value)"}));
  ledger.failCall("sysctl");
  EXPECT_FALSE(statistics.pageSizeBytes().has_value());
}

TEST_F(MacHostStatisticsTest, UptimeComesFromTheClockInItsOwnUnit) {
  EXPECT_NEAR(statistics.uptimeSeconds(), 12345.5, 1e-6);
  ledger.failCall("mach_timebase_info");
  EXPECT_EQ(statistics.uptimeSeconds(), 0);
}

TEST_F(MacHostStatisticsTest, AFileSystemsSizeIsItsBlocks) {
  const auto size = statistics.fileSystemSize("/");
  ASSERT_TRUE(size.has_value());
  EXPECT_EQ(size->totalBytes, 499963174912);
  EXPECT_EQ(size->freeBytes, 1234567890);
  EXPECT_FALSE(statistics.fileSystemSize("/Volumes/None").has_value());
  ledger.failCall("statfs");
  EXPECT_FALSE(statistics.fileSystemSize("/").has_value());
}

class MacHostStatisticsOfRecordedMac : public SystemTest,
                                       public ::testing::WithParamInterface<const char*> {};

TEST_P(MacHostStatisticsOfRecordedMac, AreWhatWasRecorded) {
  const auto machine = recordedMachine(GetParam());
  Host::shared().boot(machine);
  MacHostStatistics mac;
  platform::RecordedHostStatistics recorded(machine.statistics);
  const auto ticks = mac.processorTicks();
  const auto expected = recorded.processorTicks();
  ASSERT_EQ(ticks.has_value(), expected.has_value());
  EXPECT_TRUE(!ticks || std::equal(ticks->begin(), ticks->end(), expected->begin(), expected->end(),
                                   [](const auto& a, const auto& b) { return a == b; }));
  EXPECT_EQ(mac.pageSizeBytes(), recorded.pageSizeBytes());
  EXPECT_NEAR(mac.uptimeSeconds(), recorded.uptimeSeconds(), 1e-6);
  EXPECT_EQ(mac.memoryPages().has_value(), recorded.memoryPages().has_value());
  const auto size = mac.fileSystemSize("/");
  const auto expectedSize = recorded.fileSystemSize("/");
  ASSERT_EQ(size.has_value(), expectedSize.has_value());
  EXPECT_TRUE(!size || (size->totalBytes == expectedSize->totalBytes &&
                        size->freeBytes == expectedSize->freeBytes));
}

INSTANTIATE_TEST_SUITE_P(Recorded, MacHostStatisticsOfRecordedMac,
                         ::testing::ValuesIn(kRecordedMachines));

}  // namespace
}  // namespace kelvora::testing::mac
