#include "KelvoraCore/SMC.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platforms/recorded/RecordedSMC.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::KernelStatus;
using platform::kKernelError;
using ::testing::ElementsAre;

// A record that holds something already.
SMCValueRecord usedRecord() {
  SMCValueRecord value;
  std::memset(value.key, 'x', sizeof value.key);
  std::memset(value.dataType, 'x', sizeof value.dataType);
  std::memset(value.bytes, 0xaa, sizeof value.bytes);
  value.dataSize = 77;
  return value;
}

TEST(SMCReadKey, FillsTheWholeRecord) {
  installSMC({smcKey("FNum", "ui8 ", {2})});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value = usedRecord();
  ASSERT_EQ(SMCReadKey("FNum", &value), 0U);
  EXPECT_STREQ(value.key, "FNum");
  EXPECT_EQ(value.dataSize, 1U);
  EXPECT_STREQ(value.dataType, "ui8 ");
  EXPECT_EQ(value.bytes[0], 2);
  EXPECT_TRUE(std::all_of(std::begin(value.bytes) + 1, std::end(value.bytes),
                          [](std::uint8_t byte) { return byte == 0; }));
}

TEST(SMCReadKey, TakesTheFirstFourBytesAndPadsAShorterKeyWithNUL) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKey("TC0PX", &value), 0U);
  EXPECT_STREQ(value.key, "TC0P");
  ASSERT_EQ(SMCReadKey("TB", &value), 0U);
  EXPECT_STREQ(value.key, "TB");
  ASSERT_EQ(SMCReadKey("", &value), 0U);
  const auto calls = smc.calls();
  EXPECT_EQ(calls[0].key, SMCPackedKey("TC0P"));
  EXPECT_EQ(calls[2].key, SMCPackedKey("TB\0\0"));
  EXPECT_EQ(calls[4].key, 0U);
}

TEST(SMCReadKey, KeepsOnlyTheKeyWhenItsInformationCannotBeRead) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.failNth(1, 0xe00002d8);
  SMCValueRecord value = usedRecord();
  EXPECT_EQ(SMCReadKey("TC0P", &value), 0xe00002d8);
  EXPECT_STREQ(value.key, "TC0P");
  EXPECT_EQ(value.dataSize, 0U);
  EXPECT_STREQ(value.dataType, "");
  EXPECT_EQ(value.bytes[0], 0);
  EXPECT_THAT(commands(smc), ElementsAre(9));
}

TEST(SMCReadKey, KeepsSizeAndTypeWhenThePayloadCannotBeRead) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.failNth(2, 0xe00002d8);
  SMCValueRecord value;
  EXPECT_EQ(SMCReadKey("TC0P", &value), 0xe00002d8);
  EXPECT_EQ(value.dataSize, 2U);
  EXPECT_STREQ(value.dataType, "sp78");
  EXPECT_EQ(value.bytes[0], 0);
}

TEST(SMCReadKey, TakesNoPayloadOutOfTheReplyOfACallThatFailed) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.setOverride(
      [](const SMCCallRecord& call, ForwardingSMC::Output output) -> std::optional<KernelStatus> {
        if (call.command != 5) {
          return std::nullopt;
        }
        std::fill(output.begin(), output.end(), std::byte{0xaa});
        return kKernelError;
      });
  SMCValueRecord value;
  EXPECT_EQ(SMCReadKey("TC0P", &value), kKernelError);
  EXPECT_TRUE(std::all_of(std::begin(value.bytes), std::end(value.bytes),
                          [](std::uint8_t byte) { return byte == 0; }));
}

TEST(SMCReadKey, DoesNotExamineTheResultByte) {
  auto key = smcKey("TC0P", "sp78", {0x28, 0x80});
  key.result = 137;
  installSMC({key});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  EXPECT_EQ(SMCReadKey("TC0P", &value), 0U);
  EXPECT_EQ(value.bytes[0], 0x28);
}

TEST(SMCReadKey, CopiesAll32BytesOfTheReply) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output output) {
    SMCParamRecord reply;
    if (call.command == SMCCommandGetKeyInfo) {
      reply.keyInfo = {2, SMCPackedKey("sp78"), 0, {}};
    }
    std::iota(std::begin(reply.bytes), std::end(reply.bytes), std::uint8_t{1});
    std::memcpy(output.data(), &reply, sizeof reply);
    return std::optional<KernelStatus>(0);
  });
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  EXPECT_EQ(value.dataSize, 2U);
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(value.bytes[i], i + 1);
  }
}

TEST(SMCReadKey, CopesWithAKeyThatClaimsMoreBytesThanARecordHolds) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output output) {
    SMCParamRecord reply;
    if (call.command == 9) {
      reply.keyInfo = {200, SMCPackedKey("ui8 "), 0, {}};
    }
    std::fill(std::begin(reply.bytes), std::end(reply.bytes), std::uint8_t{1});
    std::memcpy(output.data(), &reply, sizeof reply);
    return std::optional<KernelStatus>(0);
  });
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKey("HUGE", &value), 0U);
  EXPECT_EQ(value.dataSize, 200U);
  EXPECT_EQ(SMCConvertValueToNumber(value), static_cast<float>(0x01010101));
}

TEST(SMCReadKeyByIndex, DeliversNameSizeTypeAndBytesOfThePosition) {
  ForwardingSMC& smc =
      installSMC({smcKey("#KEY", "ui32", {0, 0, 0, 2}), smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKeyByIndex(1, &value), 0U);
  EXPECT_STREQ(value.key, "TC0P");
  EXPECT_STREQ(value.dataType, "sp78");
  EXPECT_EQ(SMCConvertValueToNumber(value), 40.5F);
  EXPECT_THAT(commands(smc), ElementsAre(8, 9, 5));
}

TEST(SMCReadKeyByIndex, WithAResultByteReturnsTheGeneralErrorAndReadsNothing) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  EXPECT_EQ(SMCReadKeyByIndex(0, &value), 0xe00002bc);
  EXPECT_THAT(commands(smc), ElementsAre(8));
}

TEST(SMCReadKeyByIndex, FailsOnEveryResultByteButZero) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  for (const int result : {1, 131, 133, 255}) {
    smc.setOverride([result](const SMCCallRecord&, ForwardingSMC::Output output) {
      SMCParamRecord reply;
      reply.key = SMCPackedKey("TC0P");
      reply.result = static_cast<std::uint8_t>(result);
      std::memcpy(output.data(), &reply, sizeof reply);
      return std::optional<KernelStatus>(0);
    });
    SMCValueRecord value;
    EXPECT_EQ(SMCReadKeyByIndex(0, &value), 0xe00002bc) << result;
  }
  EXPECT_EQ(smc.count(), 4) << "no key is read";
}

TEST(SMCReadKeyByIndex, PassesTheStatusOfAFailedCallOn) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0, 0})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.failNth(1, 0xe00002d8);
  SMCValueRecord value;
  EXPECT_EQ(SMCReadKeyByIndex(0, &value), 0xe00002d8);
  smc.failNth(2, 0xe00002eb);
  EXPECT_EQ(SMCReadKeyByIndex(0, &value), 0xe00002eb);
}

TEST(SMCReadKeyByIndex, ReadsAKeyThatNoTextCanName) {
  platform::RecordedSMCKey key = smcKey(std::string_view("T\0\0x", 4), "ui8 ", {9});
  ForwardingSMC& smc = installSMC({key});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKeyByIndex(0, &value), 0U);
  EXPECT_EQ(SMCConvertValueToNumber(value), 9.0F);
  EXPECT_EQ(smc.calls().back().key, key.key);
}

SMCValueRecord fanTarget(std::uint32_t size) {
  SMCValueRecord value;
  std::memcpy(value.key, "F0Tg", 4);
  value.dataSize = size;
  value.bytes[0] = 0x0f;
  value.bytes[1] = 0xa0;
  return value;
}

TEST(SMCWriteKey, ReadsTheKeyAndThenWritesItsBytes) {
  ForwardingSMC& smc = installSMC({smcKey("F0Tg", "fpe2", {0, 0})});
  ASSERT_EQ(SMCOpen(), 0U);
  ASSERT_EQ(SMCWriteKey(fanTarget(2)), 0U);
  EXPECT_THAT(commands(smc), ElementsAre(9, 5, 6));
  const auto writes = dynamic_cast<platform::RecordedSMC&>(smc.behind()).writes();
  ASSERT_EQ(writes.size(), 1U);
  EXPECT_EQ(writes[0].key, SMCPackedKey("F0Tg"));
  EXPECT_THAT(writes[0].bytes, ElementsAre(std::byte{0x0f}, std::byte{0xa0}));
}

TEST(SMCWriteKey, OfAnotherSizeThanTheKeysIsRefusedWithoutAWriteCommand) {
  for (const std::uint32_t size : {0U, 1U, 4U, 32U}) {
    static ForwardingSMC& smc = installSMC({smcKey("F0Tg", "fpe2", {0, 0})});
    ASSERT_EQ(SMCOpen(), 0U);
    EXPECT_EQ(SMCWriteKey(fanTarget(size)), 0xe00002bc);
    EXPECT_EQ(smc.count(6), 0) << size;
  }
}

TEST(SMCWriteKey, DoesNotExamineTheResultByte) {
  ForwardingSMC& smc = installSMC({smcKey("F0Tg", "fpe2", {0, 0})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.setOverride(
      [](const SMCCallRecord& call, ForwardingSMC::Output output) -> std::optional<KernelStatus> {
        if (call.command != SMCCommandWriteBytes) {
          return std::nullopt;
        }
        SMCParamRecord reply;
        reply.result = SMCResultWrongSize;
        std::memcpy(output.data(), &reply, sizeof reply);
        return 0;
      });
  EXPECT_EQ(SMCWriteKey(fanTarget(2)), 0U);
  EXPECT_EQ(smc.count(SMCCommandWriteBytes), 1);
}

TEST(SMCWriteKey, PassesTheStatusesOfItsReadAndOfItsWriteOn) {
  ForwardingSMC& smc = installSMC({smcKey("F0Tg", "fpe2", {0, 0})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.failNth(2, 0xe00002d8);
  EXPECT_EQ(SMCWriteKey(fanTarget(2)), 0xe00002d8);
  EXPECT_EQ(smc.count(6), 0);
  smc.failNth(2, 0xe00002c1);
  EXPECT_EQ(SMCWriteKey(fanTarget(2)), 0xe00002c1);
}

}  // namespace
}  // namespace kelvora::testing
