#include "platforms/linux/system/ProcText.h"

#include <gtest/gtest.h>

namespace kelvora::testing {
namespace {

using namespace platform;

constexpr const char* kTwoPackages = R"(processor	: 0
vendor_id	: GenuineIntel
model name	: Intel(R) Xeon(R) CPU E5-1620 v2 @ 3.70GHz
cpu MHz		: 3700.500
physical id	: 0
siblings	: 2
core id		: 0
cpu cores	: 1

processor	: 1
vendor_id	: GenuineIntel
model name	: Intel(R) Xeon(R) CPU E5-1620 v2 @ 3.70GHz
cpu MHz		: 1200.000
physical id	: 1
siblings	: 2
core id		: 0
cpu cores	: 1
)";

TEST(ProcText, ProcessorFacts) {
  const ProcessorFacts facts = processorFactsOf(kTwoPackages);
  EXPECT_EQ(facts.brand, "Intel(R) Xeon(R) CPU E5-1620 v2 @ 3.70GHz");
  EXPECT_EQ(facts.vendor, "GenuineIntel");
  EXPECT_EQ(facts.logicalProcessors, 2);
  EXPECT_EQ(facts.packages, 2);
  EXPECT_EQ(facts.coresPerPackage, 1);
  EXPECT_EQ(facts.threadsPerPackage, 2);
  EXPECT_DOUBLE_EQ(facts.frequencyHz, 3.7005e9);
}

TEST(ProcText, ProcessorFactsOfAnIncompleteText) {
  const ProcessorFacts arm = processorFactsOf("processor\t: 0\nBogoMIPS\t: 48.00\n");
  EXPECT_EQ(arm.logicalProcessors, 1);
  EXPECT_EQ(arm.packages, 1);
  EXPECT_EQ(arm.coresPerPackage, 0);
  EXPECT_EQ(processorFactsOf("").packages, 0);
  EXPECT_EQ(processorFactsOf("cpu cores: many\n:\n\n").coresPerPackage, 0);
}

TEST(ProcText, ProcessorTicksCountWaitingAsIdleAndInterruptsAsSystem) {
  const auto ticks = processorTicksOf(
      "cpu  1 2 3 4 5 6 7 8 9 10\n"
      "cpu0 10 20 30 40 1 2 3 4 0 0\n"
      "cpu1 1 2 3 4294967297\n"
      "cpu2 1 2\ncpux 1 2 3 4\nintr 5\n");
  ASSERT_EQ(ticks.size(), 2U);
  EXPECT_EQ(ticks[0].user, 10U);
  EXPECT_EQ(ticks[0].nice, 20U);
  EXPECT_EQ(ticks[0].system, 39U);
  EXPECT_EQ(ticks[0].idle, 41U);
  EXPECT_EQ(ticks[1].idle, 1U) << "wraps at 32 bits";
}

TEST(ProcText, MemorySizesAreBytes) {
  const char* const meminfo =
      "MemTotal:       16 kB\nHugePages_Total:       3\nbad line\nX: y\nMem: 5 kB";
  EXPECT_EQ(memorySizeOf(meminfo, "MemTotal"), 16384U);
  EXPECT_EQ(memorySizeOf(meminfo, "HugePages_Total"), 3U);
  EXPECT_EQ(memorySizeOf(meminfo, "Mem"), 5120U) << "not the first name that starts like it";
  for (const char* absent : {"bad line", "X", "Total", ""}) {
    EXPECT_EQ(memorySizeOf(meminfo, absent), std::nullopt) << absent;
  }
}

TEST(ProcText, InterfaceCountersAreBytesReceivedAndSent) {
  const auto counters = interfaceCountersOf(
      "Inter-|   Receive                                                |  Transmit\n"
      " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets\n"
      "    lo:    1000      10    0    0    0     0          0         0     2000      10 0 0 0 0 "
      "0 0\n"
      "eth0:5000000000 1 0 0 0 0 0 0 7 1 0 0 0 0 0 0\n");
  ASSERT_EQ(counters.size(), 2U);
  EXPECT_EQ(counters[0].name, "lo");
  EXPECT_EQ(counters[0].receivedBytes, 1000U);
  EXPECT_EQ(counters[0].sentBytes, 2000U);
  EXPECT_EQ(counters[1].receivedBytes, 5000000000U);
  EXPECT_EQ(counters[1].sentBytes, 7U);
}

TEST(ProcText, MountsHaveTheirPathsUnescaped) {
  const auto mounts = mountsOf(
      "/dev/sda1 / ext4 rw 0 0\n/dev/sdb1 /media/My\\0402nd\\134x vfat rw 0 0\nshort line\n"
      "none /odd\\04 tmpfs rw\n");
  ASSERT_EQ(mounts.size(), 3U);
  EXPECT_EQ(mounts[0].device, "/dev/sda1");
  EXPECT_EQ(mounts[1].path, "/media/My 2nd\\x");
  EXPECT_EQ(mounts[1].fileSystem, "vfat");
  EXPECT_EQ(mounts[2].path, "/odd\\04");
}

TEST(ProcText, AssignmentsLoseTheirQuotationMarks) {
  const auto values = assignmentsOf(
      "# comment=1\nNAME=\"Debian GNU/Linux\"\nID=debian\nODD='\nEMPTY=\"\"\nnothing\n");
  EXPECT_EQ(values.at("NAME"), "Debian GNU/Linux");
  EXPECT_EQ(values.at("ID"), "debian");
  EXPECT_EQ(values.at("ODD"), "'");
  EXPECT_EQ(values.at("EMPTY"), "");
  EXPECT_EQ(values.size(), 4U);
}

}  // namespace
}  // namespace kelvora::testing
