#include "platforms/recorded/RecordedSMC.h"

#include <array>
#include <cstring>
#include <thread>

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

// Not in the order of their codes, one of them twice.
std::vector<RecordedSMCKey> fewKeys() {
  return {{SMCPackedKey("TC0P"), SMCPackedKey("sp78"), 192, bytesOf({0x25, 0x20}), 0, 0},
          {SMCPackedKey("#KEY"), SMCPackedKey("ui32"), 128, bytesOf({0, 0, 0, 4}), 0, 0},
          {SMCPackedKey("BNCM"), SMCPackedKey("ui8 "), 3, bytesOf({0}), 133, 0},
          {SMCPackedKey("TC0P"), SMCPackedKey("flt "), 1, bytesOf({1, 2, 3, 4}), 0, 0},
          {SMCPackedKey("Fail"), SMCPackedKey("ui8 "), 0, bytesOf({7}), 0, platform::kKernelError},
          {SMCPackedKey("None"), SMCPackedKey("ui8 "), 0, {}, 0, 0}};
}

TEST(RecordedSMC, ReadsTheBytesOfAKey) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  const auto reply = connection.call(5, SMCPackedKey("TC0P"), 2);
  EXPECT_EQ(reply.status, 0U);
  EXPECT_EQ(reply.result, 0);
  EXPECT_EQ(reply.payload[0], std::byte{0x25});
  EXPECT_EQ(reply.payload[1], std::byte{0x20});
  EXPECT_EQ(reply.payload[2], std::byte{0});
}

TEST(RecordedSMC, ReturnsSizeTypeAndAttributesOfAKey) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  const auto reply = connection.call(9, SMCPackedKey("TC0P"));
  EXPECT_EQ(reply.dataSize, 2U);
  EXPECT_EQ(reply.dataType, SMCPackedKey("sp78"));
  EXPECT_EQ(reply.attributes, 192);
  EXPECT_EQ(connection.call(9, SMCPackedKey("None")).dataSize, 0U);
}

TEST(RecordedSMC, ListsEveryKeyByIndexInTheOrderOfTheFile) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  const auto keys = fewKeys();
  for (std::uint32_t i = 0; i < keys.size(); ++i) {
    const auto reply = connection.call(8, 0, 0, i);
    EXPECT_EQ(reply.key, keys[i].key) << i;
    EXPECT_EQ(reply.result, 0);
  }
}

TEST(RecordedSMC, AnUnknownKeyOrIndexAnswersResult132AndSizeZero) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  for (const std::uint8_t command : {std::uint8_t{5}, std::uint8_t{6}, std::uint8_t{9}}) {
    const auto reply = connection.call(command, SMCPackedKey("Nope"));
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(reply.result, 132);
    EXPECT_EQ(reply.dataSize, 0U);
  }
  for (const std::uint32_t index : {6U, 0xffffffffU}) {
    const auto reply = connection.call(8, 0, 0, index);
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(reply.result, 132);
  }
}

TEST(RecordedSMC, ARecordedResultOrStatusIsThatOfARead) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  EXPECT_EQ(connection.call(5, SMCPackedKey("BNCM"), 1).result, 133);
  EXPECT_EQ(connection.call(9, SMCPackedKey("BNCM")).result, 0);
  EXPECT_EQ(connection.call(5, SMCPackedKey("Fail"), 1).status, platform::kKernelError);
  EXPECT_EQ(connection.call(9, SMCPackedKey("Fail")).status, 0U);
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

TEST(RecordedSMC, ThereIsNoServiceWithoutAListOrOfAnotherClass) {
  RecordedSMC absent(std::nullopt);
  RecordedSMC empty(std::vector<RecordedSMCKey>{});
  platform::IOObject iterator = 0;
  ASSERT_EQ(absent.matchingServices("AppleSMC", iterator), 0U);
  EXPECT_EQ(absent.nextService(iterator), 0U);
  ASSERT_EQ(empty.matchingServices("IOPCIDevice", iterator), 0U);
  EXPECT_EQ(empty.nextService(iterator), 0U);
  ASSERT_EQ(empty.matchingServices("AppleSMC", iterator), 0U);
  EXPECT_NE(empty.nextService(iterator), 0U);
  EXPECT_EQ(empty.nextService(iterator), 0U);
}

TEST(RecordedSMC, ACallNeedsAnOpenConnection) {
  RecordedSMC smc(fewKeys());
  std::array<std::byte, 80> record{};
  EXPECT_EQ(smc.callStructMethod(0, 2, record, record), platform::kKernelNotOpen);
  platform::IOObject handle = 0;
  {
    RawSMC connection(smc);
    handle = connection.handle();
    EXPECT_EQ(smc.callStructMethod(handle + 1, 2, record, record), platform::kKernelNotOpen);
  }
  EXPECT_EQ(smc.callStructMethod(handle, 2, record, record), platform::kKernelNotOpen);
  EXPECT_EQ(smc.closeService(handle), platform::kKernelNotOpen);
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

TEST(RecordedSMC, AMalformedCallIsABadArgument) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  std::array<std::byte, 80> record{};
  std::array<std::byte, 79> shorter{};
  const auto handle = connection.handle();
  EXPECT_EQ(smc.callStructMethod(handle, 2, shorter, record), platform::kKernelBadArgument);
  EXPECT_EQ(smc.callStructMethod(handle, 2, record, shorter), platform::kKernelBadArgument);
  EXPECT_EQ(smc.callStructMethod(handle, 1, record, record), platform::kKernelBadArgument);
  EXPECT_EQ(connection.call(77, SMCPackedKey("TC0P")).status, platform::kKernelBadArgument);
}

TEST(RecordedSMC, ManyThreadsReadAndWriteAtOnce) {
  RecordedSMC smc(fewKeys());
  RawSMC connection(smc);
  const auto work = [&] {
    for (int i = 0; i < 500; ++i) {
      connection.call(6, SMCPackedKey("TC0P"), 2, 0, bytesOf({i % 256, i % 256}));
      const auto reply = connection.call(5, SMCPackedKey("TC0P"), 2);
      EXPECT_EQ(reply.status, 0U);
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(smc.writes().size(), 1000U);
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
