#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/SMCWrapper.h"

#include "tests/hardware/Messages.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;

TEST(SMCWrapper, ReportsAReadThatFailed) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  smc.failNth(1);
  EXPECT_EQ(wrapper.rawValueByKey("TC0P"), std::nullopt);
  smc.failNth(2);
  EXPECT_EQ(wrapper.rawStringValueByKey("F0ID"), std::nullopt);
  EXPECT_THAT(messages->all, ElementsAre("SMC read (TC0P) failed", "SMC read (F0ID) failed"));
}

TEST(SMCWrapper, ReportsAConversionThatFailedWithTypeAndSize) {
  installSMC({smcKey("TX0x", "hex_", {1, 2}), smcKey("TY0y", "ui8\0", {1}),
              smcKey("TZ0z",
                     "\xb0"
                     "C\xff ",
                     {1, 2, 3})});
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  for (const char* key : {"TX0x", "TY0y", "TZ0z"}) {
    EXPECT_EQ(wrapper.rawValueByKey(key), std::nullopt);
  }
  EXPECT_THAT(messages->all, ElementsAre("SMC convert (TX0x) failed: val:hex_ size-2",
                                         "SMC convert (TY0y) failed: val:ui8 size-1",
                                         "SMC convert (TZ0z) failed: val:\u00b0C\u00ff  size-3"));
}

TEST(SMCWrapper, ReportsAKeyAsItWasGivenInWellFormedText) {
  ForwardingSMC& smc = installSMC({smcKey("TX0x", "hex_", {1, 2})});
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  wrapper.rawValueByKey("TX0x\xff");
  smc.setOverride([](const SMCCallRecord&, ForwardingSMC::Output) {
    return std::optional(platform::kKernelError);
  });
  wrapper.rawValueByKey("TX0x\xff");
  wrapper.rawStringValueByKey("TX0x\xff");
  EXPECT_THAT(messages->all,
              ElementsAre("SMC convert (TX0x\ufffd) failed: val:hex_ size-2",
                          "SMC read (TX0x\ufffd) failed", "SMC read (TX0x\ufffd) failed"));
}

TEST(SMCWrapper, ReportsASizeThatNoRealKeyHasAsASignedNumber) {
  ForwardingSMC& smc = installSMC({});
  smc.setOverride([](const SMCCallRecord&, ForwardingSMC::Output output) {
    SMCParamRecord reply;
    reply.keyInfo = {0xffffffff, SMCPackedKey("hex_"), 0, {}};
    std::memcpy(output.data(), &reply, sizeof reply);
    return std::optional<platform::KernelStatus>(0);
  });
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  EXPECT_EQ(wrapper.rawValueByKey("HUGE"), std::nullopt);
  EXPECT_THAT(messages->all, ElementsAre("SMC convert (HUGE) failed: val:hex_ size--1"));
}

TEST(SMCWrapper, ReportsATextKeyWithoutBytesAsFailedReadButReadsANumberKeyWithoutBytesAsZero) {
  installSMC({});
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  EXPECT_EQ(wrapper.rawStringValueByKey("F0ID"), std::nullopt);
  EXPECT_THAT(messages->all, ElementsAre("SMC read (F0ID) failed"));
  EXPECT_EQ(wrapper.rawValueByKey("Nope"), 0.0);
}

TEST(SMCWrapper, ReportsNothingWhenTheDelegateIsGone) {
  installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  EXPECT_EQ(wrapper.delegate(), messages);
  messages.reset();
  EXPECT_EQ(wrapper.delegate(), nullptr);
  EXPECT_EQ(wrapper.rawValueByKey("TX0x"), std::nullopt);
  wrapper.handleFailedWithErrMsg("not received");
}

TEST(SMCWrapper, ForgetsADelegateWithItsToken) {
  installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  Messages messages;
  auto token = std::make_shared<int>();
  wrapper.setDelegate(std::shared_ptr<SMCWrapperDelegate>(token, &messages));
  wrapper.handleFailedWithErrMsg("one");
  token.reset();
  wrapper.handleFailedWithErrMsg("two");
  EXPECT_THAT(messages.all, ElementsAre("one"));
}

TEST(SMCWrapper, AcceptsADelegateThatListensToNothing) {
  installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  const auto silent = std::make_shared<SMCWrapperDelegate>();
  wrapper.setDelegate(silent);
  EXPECT_EQ(wrapper.rawValueByKey("TX0x"), std::nullopt);
}

}  // namespace
}  // namespace kelvora::testing
