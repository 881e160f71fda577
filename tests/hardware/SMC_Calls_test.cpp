#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/SMC.h"

#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::IOObject;
using platform::KernelStatus;
using platform::kKernelError;
using ::testing::ElementsAre;

// Records what it is asked and gives scripted answers.
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
    Platform::install(std::move(platform));
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
  smc.openStatus = kKernelError;
  EXPECT_EQ(printedBySMCOpen(1), "Error: IOServiceOpen() = e00002bc\n");
  EXPECT_EQ(smc.log.back(), "release 22");
}

TEST(SMCOpen, LeavesNoConnectionWhenItFails) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  SMCValueRecord value;
  ASSERT_EQ(SMCOpen(), 0U);
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  smc.openStatus = kKernelError;
  EXPECT_NE(printedBySMCOpen(1), "");
  EXPECT_EQ(SMCReadKey("TC0P", &value), platform::kKernelNotOpen);
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
  smc.reply.key = SMCPackedKey("TC0P");
  smc.reply.keyInfo = {2, SMCPackedKey("sp78"), 0xd0, {}};
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKeyByIndex(258, &value), 0U);
  value.bytes[31] = 0xee;
  ASSERT_EQ(SMCWriteKey(value), 0U);

  std::vector<SMCParamRecord> expected(5);
  expected[0].command = 8;
  expected[0].data32 = 258;
  expected[1].command = 9;
  expected[1].key = SMCPackedKey("TC0P");
  expected[2].command = 5;
  expected[2].key = SMCPackedKey("TC0P");
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

// An SMC driver that succeeds without filling in the reply.
TEST(SMCRequests, AReplyThatIsNotFilledInCarriesNothingOfAnEarlierKey) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  ASSERT_EQ(value.bytes[0], 0x28);
  smc.setOverride(
      [](const SMCCallRecord&, ForwardingSMC::Output) { return std::optional<KernelStatus>(0); });
  ASSERT_EQ(SMCReadKey("TC1P", &value), 0U);
  EXPECT_EQ(value.dataSize, 0U);
  EXPECT_THAT(value.bytes, ::testing::Each(0));
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  EXPECT_EQ(value.dataSize, 2U) << "cached";
  EXPECT_THAT(value.bytes, ::testing::Each(0));
}

}  // namespace
}  // namespace kelvora::testing
