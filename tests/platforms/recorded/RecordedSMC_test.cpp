#include "platforms/recorded/RecordedSMC.h"

#include <gtest/gtest.h>

#include "tests/support/ForwardingSMC.h"
#include "tests/support/RawSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::RecordedSMC;
using platform::RecordedSMCKey;

std::vector<std::byte> bytesOf(std::initializer_list<int> values) {
  std::vector<std::byte> bytes;
  for (const int value : values) {
    bytes.push_back(static_cast<std::byte>(value));
  }
  return bytes;
}

// Two keys of one name: the first is meant.
std::vector<RecordedSMCKey> fewKeys() {
  return {smcKey("TC0P", "sp78", {0x25, 0x20}), smcKey("TC0P", "flt ", {1, 2, 3, 4})};
}

TEST(RecordedSMC, AWriteGoesIntoItsMemoryAndIsListed) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  const auto reply = connection.call(6, SMCPackedKey("TC0P"), 2, 0, bytesOf({9, 8, 7}));
  EXPECT_EQ(reply.status, 0U);
  EXPECT_EQ(reply.result, 0);
  ASSERT_EQ(smc.writes().size(), 1U);
  EXPECT_EQ(smc.writes().front().key, SMCPackedKey("TC0P"));
  EXPECT_EQ(smc.writes().front().bytes, bytesOf({9, 8}));
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[0], std::byte{9});
}

TEST(RecordedSMC, AWriteFillsAPayloadAndNoMore) {
  constexpr std::uint32_t kPayload = sizeof SMCParamRecord::bytes;
  RecordedSMCKey full;
  full.key = SMCPackedKey("Full");
  full.bytes.resize(kPayload);
  RecordedSMCKey larger;
  larger.key = SMCPackedKey("More");
  larger.bytes.resize(kPayload + 1);
  RecordedSMC smc(std::vector<RecordedSMCKey>{full, larger});
  RawSMC connection(smc);
  EXPECT_EQ(connection.call(6, full.key, kPayload, 0, bytesOf({1})).result, 0);
  EXPECT_NE(connection.call(6, larger.key, kPayload + 1, 0, bytesOf({1})).result, 0);
  ASSERT_EQ(smc.writes().size(), 1U);
  EXPECT_EQ(smc.writes().front().bytes.size(), kPayload);
}

TEST(RecordedSMC, AWriteOfAnotherSizeIsNotTaken) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  EXPECT_NE(connection.call(6, SMCPackedKey("TC0P"), 4, 0, bytesOf({9, 8, 7, 6})).result, 0);
  EXPECT_TRUE(smc.writes().empty());
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[0], std::byte{0x25});
}

TEST(RecordedSMC, AServiceOpensOnlyBeforeItIsReleased) {
  RecordedSMC smc(fewKeys());
  platform::IOObject iterator = 0;
  smc.matchingServices("AppleSMC", iterator);
  const platform::IOObject service = smc.nextService(iterator);
  smc.release(iterator);
  smc.release(service);
  platform::IOObject connection = 0;
  EXPECT_EQ(smc.openService(service, 0, connection), platform::kKernelBadArgument);
}

TEST(ForwardingSMC, CountsCallsAndMakesTheNthFail) {
  ForwardingSMC smc(std::make_unique<RecordedSMC>(fewKeys()));
  RawSMC connection(smc);
  smc.failNth(2);
  EXPECT_EQ(connection.call(9, SMCPackedKey("TC0P")).status, 0U);
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).status, platform::kKernelError);
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).status, 0U);
  EXPECT_EQ(smc.count(), 3);
  EXPECT_EQ(smc.count(5), 2);
  EXPECT_EQ(smc.calls().front(), (SMCCallRecord{9, SMCPackedKey("TC0P"), 0}));
  EXPECT_EQ(smc.openConnections(), 1);
}

}  // namespace
}  // namespace kelvora::testing
