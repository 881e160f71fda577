#include "tools/smc/FanWriter.h"

#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platforms/recorded/RecordedSMC.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"
#include "tools/smc/Failure.h"

namespace kelvora::testing {
namespace {

using platform::RecordedSMC;
using platform::RecordedSMCKey;
using tool::ExitStatus;

// Fan 0 in floats from 1200 to 6000, fan 1 in fixed point from 1200 to 6000, fan 2 of odd types,
// fans 3 to 6 with limits that are no limits.
std::vector<RecordedSMCKey> keys() {
  const auto floating = [](const char* key, std::initializer_list<int> bytes) {
    return smcKey(key, "flt ", bytes);
  };
  std::vector<RecordedSMCKey> result = {
      smcKey("F0Md", "ui8 ", {0}),
      floating("F0Tg", {0, 0, 0x96, 0x44}),
      floating("F0Mn", {0, 0, 0x96, 0x44}),     // 1200
      floating("F0Mx", {0, 0x80, 0xbb, 0x45}),  // 6000
      smcKey("F1Tg", "fpe2", {0x12, 0xc0}),
      smcKey("F1Mn", "fpe2", {0x12, 0xc0}),
      smcKey("F1Mx", "fpe2", {0x5d, 0xc0}),
      smcKey("F2Md", "ui16", {0, 0}),
      smcKey("F2Tg", "sp78", {0, 0}),
      smcKey("F2Mn", "flt ", {0, 0}),
      smcKey("F2Mx", "fpe2", {0x5d, 0xc0}),
      floating("F3Tg", {0, 0, 0, 0}),
      floating("F3Mn", {0, 0, 0x96, 0x44}),
      floating("F3Mx", {0, 0, 0xc0, 0x7f}),  // not a number
      floating("F4Tg", {0, 0, 0, 0}),
      floating("F4Mn", {0, 0, 0x80, 0xbf}),  // -1
      floating("F4Mx", {0, 0x80, 0xbb, 0x45}),
      floating("F5Tg", {0, 0, 0, 0}),
      floating("F5Mn", {0, 0, 0x96, 0x44}),
      smcKey("F5Mx", "ui8 ", {200}),
      floating("F6Tg", {0, 0, 0, 0}),
      floating("F6Mn", {0, 0, 0x96, 0x44}),
      floating("F6Mx", {0, 0, 0x80, 0x7f}),  // infinity
      floating("F7Tg", {0, 0, 0, 0}),
      floating("F7Mn", {0, 0, 0x96, 0x44}),  // and no maximum
      floating("F8Tg", {0, 0, 0, 0}),
      floating("F8Mn", {0, 0x80, 0xbb, 0x45}),  // the minimum is above the maximum
      floating("F8Mx", {0, 0, 0x96, 0x44}),
  };
  RecordedSMCKey unreadable = floating("F7Mx", {0, 0x80, 0xbb, 0x45});
  unreadable.result = SMCResultNotReadable;
  result.push_back(unreadable);
  return result;
}

class FanWriterTest : public ::testing::Test {
 protected:
  FanWriterTest() { SetUpAgain(); }

  void SetUpAgain() {
    auto behind = std::make_unique<RecordedSMC>(keys());
    recorded = behind.get();
    smc = std::make_unique<ForwardingSMC>(std::move(behind));
  }

  // How a request ends; kWritten if it is written.
  ExitStatus statusOf(const char* key, const char* value) {
    message.clear();
    try {
      const std::vector<const char*> arguments = {"tool", "-k", key, "-w", value};
      const auto request = tool::parsedRequest(arguments);
      tool::FanWriter writer(*smc);
      writer.open(request.key);
      writer.write(request);
      return ExitStatus::kWritten;
    } catch (const tool::Failure& failure) {
      message = failure.what();
      return failure.status();
    }
  }

  // Writes a target once for each of its calls, which are its description, its limits (description
  // and bytes each) and those of SMCWriteKey.
  void expectFailureOfEachCall(const std::string& ending,
                               const std::function<void(int)>& failCall) {
    int number = 0;
    for (const ExitStatus status :
         {ExitStatus::kUnknownKey, ExitStatus::kUnreadableLimits, ExitStatus::kUnreadableLimits,
          ExitStatus::kUnreadableLimits, ExitStatus::kUnreadableLimits, ExitStatus::kWriteFailed,
          ExitStatus::kWriteFailed}) {
      ++number;
      SetUpAgain();
      failCall(number);
      EXPECT_EQ(statusOf("F0Tg", "0000fa44"), status) << number;
      EXPECT_TRUE(message.ends_with(ending)) << message;
      EXPECT_TRUE(recorded->writes().empty());
      EXPECT_EQ(smc->count(), number);
    }
  }

  RecordedSMC* recorded;
  std::unique_ptr<ForwardingSMC> smc;
  std::string message;
};

TEST_F(FanWriterTest, ChecksTheValueAgainstWhatTheFanCanDo) {
  struct Row {
    const char* key;
    const char* value;
    ExitStatus status;
  };
  const Row rows[] = {
      {"F0Md", "00", ExitStatus::kWritten},
      {"F0Md", "01", ExitStatus::kWritten},
      {"F0Md", "02", ExitStatus::kNoMode},
      {"F0Md", "ff", ExitStatus::kNoMode},
      {"F0Md", "0001", ExitStatus::kWrongSize},
      {"F0Md", "00000000", ExitStatus::kWrongSize},
      {"F2Md", "0001", ExitStatus::kWrongType},
      {"F9Md", "00", ExitStatus::kUnknownKey},
      {"FJTg", "0000fa44", ExitStatus::kUnknownKey},
      {"F0Tg", "0000fa44", ExitStatus::kWritten},
      {"F0Tg", "00009644", ExitStatus::kWritten},      // the least
      {"F0Tg", "ffff9544", ExitStatus::kOutOfLimits},  // the float below it
      {"F0Tg", "0080bb45", ExitStatus::kWritten},      // the most
      {"F0Tg", "0180bb45", ExitStatus::kOutOfLimits},  // the float above it
      {"F0Tg", "00000000", ExitStatus::kOutOfLimits},
      {"F0Tg", "0000fac4", ExitStatus::kOutOfLimits},  // -2000
      {"F0Tg", "0000c07f", ExitStatus::kNotFinite},
      {"F0Tg", "0000c0ff", ExitStatus::kNotFinite},
      {"F0Tg", "0000807f", ExitStatus::kNotFinite},
      {"F0Tg", "000080ff", ExitStatus::kNotFinite},
      {"F0Tg", "0000fa", ExitStatus::kWrongSize},
      {"F0Tg", "1f40", ExitStatus::kWrongSize},
      {"F0Tg", "0000fa4400", ExitStatus::kWrongSize},
      {"F0Mn", "00000000", ExitStatus::kMinimumOfMode},
      {"F0Mn", "0000fa44", ExitStatus::kMinimumOfMode},
      {"F2Mn", "0100", ExitStatus::kWrongType},
      {"F4Mn", "00000000", ExitStatus::kWritten},
      {"F4Mn", "0080bb45", ExitStatus::kWritten},
      {"F4Mn", "0180bb45", ExitStatus::kOutOfLimits},
      {"F4Mn", "01000080", ExitStatus::kOutOfLimits},  // below 0
      {"F1Tg", "12c0", ExitStatus::kWritten},
      {"F1Tg", "12bf", ExitStatus::kOutOfLimits},
      {"F1Tg", "5dc0", ExitStatus::kWritten},
      {"F1Tg", "5dc1", ExitStatus::kOutOfLimits},
      {"F1Mn", "0000", ExitStatus::kWritten},
      {"F1Mn", "5dc0", ExitStatus::kWritten},
      {"F1Mn", "5dc1", ExitStatus::kOutOfLimits},
      {"F1Mn", "0080bb45", ExitStatus::kWrongSize},
      {"F2Tg", "0100", ExitStatus::kWrongType},
      {"F3Tg", "0000fa44", ExitStatus::kUnreadableLimits},
      {"F4Tg", "0000fa44", ExitStatus::kUnreadableLimits},
      {"F5Tg", "0000fa44", ExitStatus::kUnreadableLimits},
      {"F6Tg", "0000fa44", ExitStatus::kUnreadableLimits},
      {"F7Tg", "0000fa44", ExitStatus::kUnreadableLimits},
      {"F7Mn", "0000fa44", ExitStatus::kUnreadableLimits},
      {"F8Tg", "0000fa44", ExitStatus::kOutOfLimits},
  };
  for (const Row& row : rows) {
    SetUpAgain();
    EXPECT_EQ(statusOf(row.key, row.value), row.status) << row.key << " " << row.value << message;
    const bool isWritten = row.status == ExitStatus::kWritten;
    EXPECT_EQ(recorded->writes().size(), isWritten ? 1U : 0U);
    EXPECT_EQ(smc->count(SMCCommandWriteBytes), isWritten ? 1 : 0);
    EXPECT_EQ(message.starts_with(std::string(row.key) + ": "), !isWritten) << message;
  }
}

TEST_F(FanWriterTest, ModesAreWrittenWithoutLookingAtLimits) {
  EXPECT_EQ(statusOf("F0Md", "00"), ExitStatus::kWritten);
  const std::vector<SMCCallRecord> expected = {{SMCCommandGetKeyInfo, SMCPackedKey("F0Md")},
                                               {SMCCommandReadBytes, SMCPackedKey("F0Md")},
                                               {SMCCommandWriteBytes, SMCPackedKey("F0Md")}};
  EXPECT_EQ(smc->calls(), expected);
}

TEST_F(FanWriterTest, WritesTheBytesAsTheyAre) {
  EXPECT_EQ(statusOf("F0Tg", "0100fa44"), ExitStatus::kWritten);
  const auto writes = recorded->writes();
  ASSERT_EQ(writes.size(), 1U);
  EXPECT_EQ(writes[0].key, SMCPackedKey("F0Tg"));
  EXPECT_EQ(writes[0].bytes,
            (std::vector{std::byte{1}, std::byte{0}, std::byte{0xfa}, std::byte{0x44}}));
}

TEST_F(FanWriterTest, AnSMCThatIsNotThereOrRefusesToOpenIsNamed) {
  smc->openStatus = platform::kKernelNotPermitted;
  EXPECT_EQ(statusOf("F0Md", "00"), ExitStatus::kSMCRefused);
  EXPECT_EQ(message, "F0Md: the SMC cannot be opened: IOServiceOpen (status e00002e2)");
  smc->matchingStatus = platform::kKernelError;
  EXPECT_EQ(statusOf("F0Md", "00"), ExitStatus::kSMCRefused);
  EXPECT_EQ(message,
            "F0Md: the SMC cannot be opened: IOServiceGetMatchingServices (status e00002bc)");
  smc = std::make_unique<ForwardingSMC>(std::make_unique<RecordedSMC>(std::nullopt));
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(statusOf("F0Md", "00"), ExitStatus::kNoSMC);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(message, "F0Md: there is no SMC");
}

TEST_F(FanWriterTest, AFailureOfAnyCallEndsWithoutAWriteOrWithAFailedOne) {
  expectFailureOfEachCall(" (status e00002e2)", [this](int number) {
    smc->failNth(number, platform::kKernelNotPermitted);
  });
  SetUpAgain();
  EXPECT_EQ(statusOf("F0Tg", "0000fa44"), ExitStatus::kWritten);
  EXPECT_EQ(smc->count(), 7);
}

TEST_F(FanWriterTest, AResultOtherThanSuccessIsAFailureOfEachCall) {
  expectFailureOfEachCall(" (result 130)", [this](int number) {
    smc->setOverride(
        [number, this](const SMCCallRecord&,
                       ForwardingSMC::Output output) -> std::optional<platform::KernelStatus> {
          if (smc->count() != number) {
            return std::nullopt;
          }
          SMCParamRecord reply;
          reply.result = 0x82;
          std::memcpy(output.data(), &reply, sizeof reply);
          return platform::kKernelSuccess;
        });
  });
}

// An old SMC describes a key that it does not know with size 0.
TEST_F(FanWriterTest, AKeyOfNoBytesIsNotKnown) {
  smc->setOverride([](const SMCCallRecord&,
                      ForwardingSMC::Output output) -> std::optional<platform::KernelStatus> {
    const SMCParamRecord reply;
    std::memcpy(output.data(), &reply, sizeof reply);
    return platform::kKernelSuccess;
  });
  EXPECT_EQ(statusOf("F0Md", "00"), ExitStatus::kUnknownKey);
  EXPECT_EQ(message, "F0Md: the SMC has no such key");
}

TEST_F(FanWriterTest, AFanMayStopIfItsMinimumIsZero) {
  EXPECT_EQ(statusOf("F1Mn", "0000"), ExitStatus::kWritten);
  EXPECT_EQ(statusOf("F1Tg", "0000"), ExitStatus::kWritten);
}

// Else three writes would stop it: the minimum that limits the target, the mode and the target.
TEST_F(FanWriterTest, AFanWithAModeCannotBeStopped) {
  EXPECT_EQ(statusOf("F0Mn", "00000000"), ExitStatus::kMinimumOfMode);
  EXPECT_EQ(message, "F0Mn: the fan has a mode, so its minimum stays as it is");
  EXPECT_EQ(statusOf("F0Md", "01"), ExitStatus::kWritten);
  EXPECT_EQ(statusOf("F0Mn", "00000000"), ExitStatus::kMinimumOfMode);
  EXPECT_EQ(statusOf("F0Tg", "00000000"), ExitStatus::kOutOfLimits);
}

TEST_F(FanWriterTest, AMinimumIsNotWrittenWhileItIsUnknownWhetherTheFanHasAMode) {
  smc->failNth(2, platform::kKernelNotPermitted);
  EXPECT_EQ(statusOf("F1Mn", "12c0"), ExitStatus::kUnreadableLimits);
  EXPECT_EQ(message, "F1Mn: the mode F1Md cannot be read (status e00002e2)");
  SetUpAgain();
  smc->setOverride([this](const SMCCallRecord&,
                          ForwardingSMC::Output output) -> std::optional<platform::KernelStatus> {
    if (smc->count() != 2) {
      return std::nullopt;
    }
    SMCParamRecord reply;
    reply.result = 0x82;
    std::memcpy(output.data(), &reply, sizeof reply);
    return platform::kKernelSuccess;
  });
  EXPECT_EQ(statusOf("F1Mn", "12c0"), ExitStatus::kUnreadableLimits);
  EXPECT_EQ(message, "F1Mn: the mode F1Md cannot be read (result 130)");
  EXPECT_TRUE(recorded->writes().empty());
}

TEST_F(FanWriterTest, LimitsAreThoseOfTheMomentOfTheWrite) {
  EXPECT_EQ(statusOf("F1Mn", "1f40"), ExitStatus::kWritten);  // 2000
  EXPECT_EQ(statusOf("F1Tg", "12c0"), ExitStatus::kOutOfLimits);
  EXPECT_EQ(message, "F1Tg: 1200 is not within the fan's limits, 2000 to 6000");
  EXPECT_EQ(statusOf("F1Mn", "12c0"), ExitStatus::kWritten);
  EXPECT_EQ(statusOf("F1Tg", "12c0"), ExitStatus::kWritten);
}

}  // namespace
}  // namespace kelvora::testing
