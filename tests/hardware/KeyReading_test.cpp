#include "hardware/KeyReading.h"

#include <gtest/gtest.h>

#include "KelvoraCore/Platform.h"

#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

ForwardingSMC& installFan() {
  return installSMC({smcKey("#KEY", "ui32", {0, 0, 0, 3}), smcKey("F0Md", "ui8 ", {1}),
                     smcKey("F0Tg", "flt ", {0, 0, 0xfa, 0x44}), smcKey("F0Mn", "fpe2", {0, 0})});
}

TEST(KeyReading, AKeyThatTheSMCKnowsIsReadable) {
  const ForwardingSMC& smc = installFan();
  EXPECT_TRUE(isReadable(Platform::current(), "F0Md"));
  EXPECT_FALSE(isReadable(Platform::current(), "F1Md"));
  EXPECT_FALSE(isReadable(Platform::current(), ""));
  EXPECT_EQ(smc.openConnections(), 0);
}

TEST(KeyReading, AKeyWhoseReadFailsIsNotReadable) {
  ForwardingSMC& smc = installFan();
  smc.failNth(2);
  EXPECT_FALSE(isReadable(Platform::current(), "F0Md"));
  EXPECT_EQ(smc.openConnections(), 0);
}

TEST(KeyReading, AKeyIsUnknownOnlyIfTheSMCSaysSo) {
  ForwardingSMC& smc = installFan();
  EXPECT_FALSE(isUnknown(Platform::current(), "F0Md"));
  EXPECT_TRUE(isUnknown(Platform::current(), "F1Md"));
  EXPECT_EQ(smc.openConnections(), 0);
  smc.failNth(1);
  EXPECT_FALSE(isUnknown(Platform::current(), "F1Md"));
}

TEST(KeyReading, WithoutAnSMCNothingIsReadableOrListed) {
  installFan().openStatus = platform::kKernelNotPermitted;
  EXPECT_FALSE(isReadable(Platform::current(), "F0Md"));
  EXPECT_FALSE(isUnknown(Platform::current(), "F0Md"));
  EXPECT_FALSE(isListed(Platform::current(), "F0Md"));
  EXPECT_FALSE(readsAs(Platform::current(), "F0Md", "01"));
}

TEST(KeyReading, AKeyReadsAsItsBytesInDigitsOfEitherCase) {
  installFan();
  for (const char* value : {"0000fa44", "0000FA44"}) {
    EXPECT_TRUE(readsAs(Platform::current(), "F0Tg", value));
  }
  for (const char* value : {"", "0000fa", "0000fa45", "0000fa4400"}) {
    EXPECT_FALSE(readsAs(Platform::current(), "F0Tg", value)) << value;
  }
  EXPECT_FALSE(readsAs(Platform::current(), "F1Tg", "0000fa44"));
}

TEST(KeyReading, NonzeroKeysHaveAnotherValueThanZero) {
  ForwardingSMC& smc = installFan();
  const auto nonzero = [] {
    return nonzeroKeys(Platform::current(), {"F1Md", "F0Mn", "F0Md", "F0Tg"});
  };
  EXPECT_EQ(nonzero(), (std::vector<std::string>{"F0Md", "F0Tg"}));
  EXPECT_EQ(smc.openConnections(), 0);
  smc.setOverride([](const SMCCallRecord& call, auto) {
    return call.key == SMCPackedKey("F0Md") ? std::optional(platform::kKernelError) : std::nullopt;
  });
  EXPECT_EQ(nonzero(), std::vector<std::string>{"F0Tg"});
}

// "#KEY" counts three of the four.
TEST(KeyReading, AKeyIsListedIfAnIndexHasIt) {
  ForwardingSMC& smc = installFan();
  EXPECT_TRUE(isListed(Platform::current(), "F0Tg"));
  EXPECT_EQ(calls(smc), (std::vector<std::string>{"9 #KEY", "5 #KEY", "8 #0", "8 #1", "8 #2"}));
  EXPECT_FALSE(isListed(Platform::current(), "F0Mn"));
  EXPECT_FALSE(isListed(Platform::current(), "F1Tg"));
  EXPECT_EQ(smc.openConnections(), 0);
}

TEST(KeyReading, AnIndexThatCannotBeReadIsPassedOver) {
  ForwardingSMC& smc = installFan();
  smc.failNth(4);
  EXPECT_TRUE(isListed(Platform::current(), "F0Tg"));
}

TEST(KeyReading, AFaultySMCThatClaimsAnyNumberOfKeysIsNotSearchedWithoutEnd) {
  ForwardingSMC& smc = installSMC({smcKey("#KEY", "ui32", {0xff, 0xff, 0xff, 0xff})});
  EXPECT_FALSE(isListed(Platform::current(), "F0Tg"));
  EXPECT_EQ(smc.count(8), 65'536);
}

}  // namespace
}  // namespace kelvora::testing
