#include "KelvoraCore/SMC.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hardware/SMCKeyInfoCache.h"
#include "hardware/SMCReading.h"
#include "tests/hardware/SMCKeys.h"

namespace kelvora::testing {
namespace {

using platform::IOObject;
using platform::KernelStatus;
using platform::kIOReturnError;
using ::testing::ElementsAre;

// Writes down what it is asked, and answers what it is told to.
class ScriptedSMC : public platform::SMCUserClient {
 public:
  KernelStatus matchingServices(const char* serviceClass, IOObject& iterator) override {
    log.push_back(std::string("match ") + serviceClass);
    iterator = 11;
    return matchingStatus;
  }
  IOObject nextService(IOObject iterator) override {
    log.push_back("next " + std::to_string(iterator));
    return service;
  }
  void release(IOObject object) override { log.push_back("release " + std::to_string(object)); }
  KernelStatus openService(IOObject object, std::uint32_t type, IOObject& connection) override {
    log.push_back("open " + std::to_string(object) + " type " + std::to_string(type));
    connection = 33;
    return openStatus;
  }
  KernelStatus closeService(IOObject connection) override {
    log.push_back("close " + std::to_string(connection));
    return closeStatus;
  }
  KernelStatus callStructMethod(IOObject connection, std::uint32_t selector,
                                std::span<const std::byte> input,
                                std::span<std::byte> output) override {
    log.push_back("call " + std::to_string(connection) + " selector " + std::to_string(selector) +
                  " " + std::to_string(input.size()) + "/" + std::to_string(output.size()));
    SMCParamRecord request;
    std::memcpy(&request, input.data(), std::min(input.size(), sizeof request));
    requests.push_back(request);
    std::memcpy(output.data(), &reply, std::min(output.size(), sizeof reply));
    return callStatus;
  }

  static ScriptedSMC& install() {
    auto platform = recordedPlatform({});
    auto smc = std::make_unique<ScriptedSMC>();
    ScriptedSMC& result = *smc;
    platform->ports().smc = std::move(smc);
    platform::Platform::install(std::move(platform));
    return result;
  }

  std::vector<std::string> log;
  std::vector<SMCParamRecord> requests;
  SMCParamRecord reply;
  IOObject service = 22;
  KernelStatus matchingStatus = 0;
  KernelStatus openStatus = 0;
  KernelStatus closeStatus = 0;
  KernelStatus callStatus = 0;
};

std::string printedBySMCOpen(std::uint32_t expectedStatus) {
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(SMCOpen(), expectedStatus);
  std::fflush(stdout);
  return ::testing::internal::GetCapturedStdout();
}

std::array<std::uint8_t, 80> bytesOf(const SMCParamRecord& record) {
  std::array<std::uint8_t, 80> bytes;
  std::memcpy(bytes.data(), &record, bytes.size());
  return bytes;
}

TEST(SMCOpen, OpensTheFirstServiceWithTypeZeroAndReleasesIteratorAndService) {
  ScriptedSMC& smc = ScriptedSMC::install();
  EXPECT_EQ(printedBySMCOpen(0), "");
  EXPECT_THAT(smc.log, ElementsAre("match AppleSMC", "next 11", "release 11", "open 22 type 0",
                                   "release 22"));
}

TEST(SMCOpen, PrintsTheStatusWhenMatchingFails) {
  ScriptedSMC& smc = ScriptedSMC::install();
  smc.matchingStatus = 0x1f;
  EXPECT_EQ(printedBySMCOpen(1), "Error: IOServiceGetMatchingServices() = 0000001f\n");
  EXPECT_THAT(smc.log, ElementsAre("match AppleSMC"));
}

TEST(SMCOpen, SaysThatThereIsNoSMC) {
  ScriptedSMC& smc = ScriptedSMC::install();
  smc.service = 0;
  EXPECT_EQ(printedBySMCOpen(1), "Error: no SMC found\n");
  EXPECT_THAT(smc.log, ElementsAre("match AppleSMC", "next 11", "release 11"));
}

TEST(SMCOpen, PrintsTheStatusWhenOpeningFailsAndStillReleasesTheService) {
  ScriptedSMC& smc = ScriptedSMC::install();
  smc.openStatus = kIOReturnError;
  EXPECT_EQ(printedBySMCOpen(1), "Error: IOServiceOpen() = e00002bc\n");
  EXPECT_EQ(smc.log.back(), "release 22");
}

TEST(SMCOpen, LeavesNoConnectionWhenItFails) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  SMCValueRecord value;
  ASSERT_EQ(SMCOpen(), 0U);
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  smc.openStatus = kIOReturnError;
  EXPECT_NE(printedBySMCOpen(1), "");
  EXPECT_EQ(SMCReadKey("TC0P", &value), platform::kIOReturnNotOpen);
}

TEST(SMCOpen, WithoutAnySMCMakesEveryReadFail) {
  installRecordedPlatform(platform::RecordedMachine{});
  EXPECT_EQ(printedBySMCOpen(1), "Error: no SMC found\n");
  SMCValueRecord value;
  EXPECT_NE(SMCReadKey("TC0P", &value), 0U);
  EXPECT_NE(SMCReadKeyByIndex(0, &value), 0U);
}

TEST(SMCOpen, DoesNotCloseAnEarlierConnection) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  ASSERT_EQ(SMCOpen(), 0U);
  EXPECT_EQ(smc.openConnections(), 2);
}

TEST(SMCClose, ClosesTheConnectionAndPassesTheStatusOn) {
  ScriptedSMC& smc = ScriptedSMC::install();
  ASSERT_EQ(SMCOpen(), 0U);
  smc.closeStatus = 0xe00002cd;
  EXPECT_EQ(SMCClose(), 0xe00002cd);
  EXPECT_EQ(smc.log.back(), "close 33");
}

TEST(SMCCall, SendsEightyBytesWithTheSelectorOfTheCaller) {
  ScriptedSMC& smc = ScriptedSMC::install();
  ASSERT_EQ(SMCOpen(), 0U);
  smc.callStatus = 7;
  smc.reply.data32 = 99;
  SMCParamRecord input;
  input.data32 = 5;
  SMCParamRecord output;
  EXPECT_EQ(SMCCall(3, &input, &output), 7U);
  EXPECT_EQ(smc.log.back(), "call 33 selector 3 80/80");
  EXPECT_EQ(smc.requests.back().data32, 5U);
  EXPECT_EQ(output.data32, 99U);
}

TEST(SMCRequests, CarryOnlyTheFieldsOfTheirCommand) {
  ScriptedSMC& smc = ScriptedSMC::install();
  ASSERT_EQ(SMCOpen(), 0U);
  smc.reply.key = packedKey("TC0P");
  smc.reply.keyInfo = {2, packedKey("sp78"), 0xd0, {}};
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKeyByIndex(258, &value), 0U);
  value.bytes[31] = 0xee;
  ASSERT_EQ(SMCWriteKey(value), 0U);

  std::vector<SMCParamRecord> expected(5);
  expected[0].command = 8;
  expected[0].data32 = 258;
  expected[1].command = 9;
  expected[1].key = packedKey("TC0P");
  expected[2].command = 5;
  expected[2].key = packedKey("TC0P");
  expected[2].keyInfo.dataSize = 2;
  expected[3] = expected[2];
  expected[4] = expected[2];
  expected[4].command = 6;
  std::copy(std::begin(value.bytes), std::end(value.bytes), expected[4].bytes);
  ASSERT_EQ(smc.requests.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(bytesOf(smc.requests[i]), bytesOf(expected[i])) << "call " << i;
  }
  EXPECT_EQ(smc.log.back(), "call 33 selector 2 80/80");
}

TEST(SMCExchange, LeavesNothingOfOneKeyInTheCallsForTheNext) {
  ScriptedSMC& smc = ScriptedSMC::install();
  ASSERT_EQ(SMCOpen(), 0U);
  SMCExchange exchange;
  std::vector<SMCParamRecord> expected;
  for (const auto& [key, size] : {std::pair(packedKey("TC0P"), 2U), {packedKey("TC1P"), 4U}}) {
    smc.reply.key = key;
    smc.reply.keyInfo = {size, packedKey("sp78"), 0xd0, {}};
    smc.reply.result = 132;
    std::ranges::fill(smc.reply.bytes, static_cast<std::uint8_t>(0xe0 + size));
    SMCKeyInfo info;
    ASSERT_EQ(smcReadPayload(key, info, exchange), 0U);
    EXPECT_EQ(info.dataSize, size);
    EXPECT_EQ(exchange.reply.bytes[31], 0xe0 + size);
    SMCParamRecord request;
    request.key = key;
    request.command = 9;
    expected.push_back(request);
    request.command = 5;
    request.keyInfo.dataSize = size;
    expected.push_back(request);
  }
  ASSERT_EQ(smc.requests.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(bytesOf(smc.requests[i]), bytesOf(expected[i])) << "call " << i;
  }
}

TEST(SMCKeyInfo, IsAnsweredFromTheSMCOnceAndFromTheCacheThereafter) {
  auto key = smcKey("TC0P", "sp78", {0, 0});
  key.attributes = 0xd0;
  ForwardingSMC& smc = installSMC({key});
  ASSERT_EQ(SMCOpen(), 0U);
  for (int i = 0; i < 2; ++i) {
    SMCKeyInfo info;
    ASSERT_EQ(SMCGetKeyInfo(packedKey("TC0P"), &info), 0U);
    EXPECT_EQ(info.dataSize, 2U);
    EXPECT_EQ(info.dataType, packedKey("sp78"));
    EXPECT_EQ(info.dataAttributes, 0xd0);
  }
  EXPECT_THAT(commands(smc), ElementsAre(9));
}

TEST(SMCKeyInfo, OfAKeyThatTheSMCDoesNotKnowHasSizeZeroAndIsCached) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCKeyInfo info;
  info.dataSize = 4;
  ASSERT_EQ(SMCGetKeyInfo(packedKey("Nope"), &info), 0U);
  EXPECT_EQ(info.dataSize, 0U);
  ASSERT_EQ(SMCGetKeyInfo(packedKey("Nope"), &info), 0U);
  EXPECT_EQ(smc.count(9), 1);
}

TEST(SMCKeyInfo, ThatCannotBeHadChangesNothingAndIsAskedForAgain) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0, 0})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.failNth(1, 0xe00002d8);
  SMCKeyInfo info;
  info.dataSize = 77;
  EXPECT_EQ(SMCGetKeyInfo(packedKey("TC0P"), &info), 0xe00002d8);
  EXPECT_EQ(info.dataSize, 77U);
  EXPECT_EQ(SMCKeyInfoCacheAccess().count(), 0);
  EXPECT_EQ(SMCGetKeyInfo(packedKey("TC0P"), &info), 0U);
  EXPECT_EQ(info.dataSize, 2U);
  EXPECT_EQ(smc.count(9), 2);
}

TEST(SMCKeyInfo, ASecondReadOfAKeyIssuesOnlyTheReadCommand) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  EXPECT_THAT(commands(smc), ElementsAre(9, 5, 5));
}

std::string numberedKey(int number) {
  return {'T', static_cast<char>('a' + number / 26), static_cast<char>('a' + number % 26), 'x'};
}

TEST(SMCKeyInfo, OfThe101stKeyIsAskedForOnEveryReadAndTheCountStays100) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(SMCReadKey(numberedKey(i).c_str(), &value), 0U);
    EXPECT_EQ(SMCKeyInfoCacheAccess().count(), i + 1);
  }
  smc.forgetCalls();
  for (int i = 0; i < 3; ++i) ASSERT_EQ(SMCReadKey(numberedKey(100).c_str(), &value), 0U);
  EXPECT_THAT(commands(smc), ElementsAre(9, 5, 9, 5, 9, 5));
  EXPECT_EQ(SMCKeyInfoCacheAccess().count(), 100);

  smc.forgetCalls();
  for (int i = 0; i < 100; ++i) ASSERT_EQ(SMCReadKey(numberedKey(i).c_str(), &value), 0U);
  EXPECT_EQ(smc.count(9), 0);
}

TEST(SMCKeyInfo, OfTheKeyOfFourNULsIsNotTakenForAnEmptyPlaceOfTheCache) {
  ForwardingSMC& smc = installSMC({smcKey("\0\0\0\0", "ui8 ", {1})});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCKeyInfo info;
  ASSERT_EQ(SMCGetKeyInfo(packedKey("TC0P"), &info), 0U);
  ASSERT_EQ(SMCGetKeyInfo(0, &info), 0U);
  EXPECT_EQ(info.dataSize, 1U);
  EXPECT_EQ(smc.count(9), 2);
}

// Keys whose place would be the last one of the cache's index: all but the first stand elsewhere.
TEST(SMCKeyInfo, OfKeysThatSpreadToOnePlaceIsKeptForEach) {
  constexpr char kKeys[][5] = {"TmBx", "Toux", "To9x", "Tq0x", "TIUx", "TKLx", "TMCx", "TQ1x"};
  std::vector<platform::RecordedSMCKey> keys;
  std::uint8_t attributes = 0;
  for (const char(&key)[5] : kKeys) {
    keys.push_back(smcKey(key, "ui8 ", {0}));
    keys.back().attributes = ++attributes;
  }
  ForwardingSMC& smc = installSMC(keys);
  ASSERT_EQ(SMCOpen(), 0U);
  for (int round = 0; round < 2; ++round) {
    for (const platform::RecordedSMCKey& key : keys) {
      SMCKeyInfo info;
      ASSERT_EQ(SMCGetKeyInfo(key.key, &info), 0U);
      EXPECT_EQ(info.dataAttributes, key.attributes);
    }
  }
  EXPECT_EQ(smc.count(9), static_cast<int>(keys.size()));
  EXPECT_EQ(SMCKeyInfoCacheAccess().count(), static_cast<int>(keys.size()));
}

TEST(SMCKeyInfo, IsAskedForByOneThreadAtATime) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  std::atomic<int> asking{0};
  std::atomic<int> mostAtOnce{0};
  smc.setOverride([&](const SMCCallRecord& call, ForwardingSMC::Output) {
    if (call.command == 9) {
      const int now = ++asking;
      for (int i = 0; i < 200; ++i) {
        mostAtOnce = std::max(mostAtOnce.load(), std::max(now, asking.load()));
        std::this_thread::yield();
      }
      --asking;
    }
    return std::optional<KernelStatus>();
  });
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      SMCValueRecord value;
      for (int i = 0; i < 40; ++i) SMCReadKey(numberedKey(i + 40 * (thread % 2)).c_str(), &value);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mostAtOnce, 1);
  EXPECT_EQ(smc.count(9), 80) << "a key that two threads miss at once is asked for once";
  EXPECT_EQ(SMCKeyInfoCacheAccess().count(), 80);
}

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
  EXPECT_EQ(calls[0].key, packedKey("TC0P"));
  EXPECT_EQ(calls[2].key, packedKey("TB\0\0"));
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
        if (call.command != 5) return std::nullopt;
        std::fill(output.begin(), output.end(), std::byte{0xaa});
        return kIOReturnError;
      });
  SMCValueRecord value;
  EXPECT_EQ(SMCReadKey("TC0P", &value), kIOReturnError);
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

TEST(SMCReadKey, CopesWithAKeyThatClaimsMoreBytesThanARecordHolds) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output output) {
    SMCParamRecord reply;
    if (call.command == 9) reply.keyInfo = {200, packedKey("ui8 "), 0, {}};
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

TEST(SMCReadKeyByIndex, WithAResultByteAnswersTheGeneralErrorAndReadsNothing) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  EXPECT_EQ(SMCReadKeyByIndex(0, &value), 0xe00002bc);
  EXPECT_THAT(commands(smc), ElementsAre(8));
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
  platform::RecordedSMCKey key = smcKey("T\0\0x", "ui8 ", {9});
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
  EXPECT_EQ(writes[0].key, packedKey("F0Tg"));
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
