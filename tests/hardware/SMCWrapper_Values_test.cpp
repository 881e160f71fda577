#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/SMCWrapper.h"

#include "tests/hardware/Messages.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(SMCWrapper, ReadsKeysUnderTheirFirstFourCharacters) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.rawValueByKey("TC0P and more"), 40.5);
  EXPECT_EQ(wrapper.rawStringValueByKey("F0IDx"), "Leftside");
  wrapper.rawValueByKey("TC");
  EXPECT_EQ(smc.calls().back().key, SMCPackedKey("TC\0\0"));
}

TEST(SMCWrapper, ReadsAFanForTypeOneAndAKeyForAnyOther) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.getSensorValueByKey("1", 1), 2016.0);
  EXPECT_EQ(smc.calls().back().key, SMCPackedKey("F1Ac"));
  EXPECT_EQ(wrapper.getSensorValueByKey("TC0P", 0), 40.5);
  EXPECT_EQ(wrapper.getSensorValueByKey("VC0C", 99), 1.0);
  EXPECT_EQ(wrapper.getSensorValueByKey("TX0x", 0), std::nullopt);
}

TEST(SMCWrapper, ReadsAFansValueAsZeroWhenItsKeyCannotBeConverted) {
  installSMC({smcKey("F1Ac", "hex_", {1})});
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  EXPECT_EQ(wrapper.getSensorValueByKey("1", 1), 0.0);
  EXPECT_THAT(messages->all, ElementsAre("SMC convert (F1Ac) failed: val:hex_ size-1"));
}

TEST(SMCWrapper, NamesFanTwelveByTheCharacterC) {
  ForwardingSMC& smc = installSMC({smcKey("FCAc", "fpe2", {0x1f, 0x40}),
                                   smcKey("FCMn", "fpe2", {0, 4}), smcKey("FCMx", "fpe2", {0, 8})});
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.speedOfFan(12), 2000.0);
  EXPECT_EQ(smc.calls().back().key, SMCPackedKey("FCAc"));
  EXPECT_EQ(wrapper.safeMinimumSpeedOfFan(12), 1.0);
  EXPECT_EQ(wrapper.safeMaximumSpeedOfFan(12), 2.0);
  wrapper.speedOfFan(19);
  EXPECT_EQ(smc.calls().back().key, SMCPackedKey("FJAc"));
}

TEST(SMCWrapper, ReadsNothingForAFanThatTheAlphabetDoesNotName) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  for (const std::int64_t fan :
       {std::int64_t{-1}, std::int64_t{20}, std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(wrapper.speedOfFan(fan), 0.0);
    EXPECT_EQ(wrapper.safeMaximumSpeedOfFan(fan), 0.0);
  }
  EXPECT_EQ(wrapper.descriptionOfFan(20), "Fan 21");
  EXPECT_EQ(wrapper.getSensorValueByKey("9223372036854775807", 1), 0.0);
  EXPECT_FALSE(wrapper.descriptionOfFan(std::numeric_limits<std::int64_t>::max()).empty());
  EXPECT_EQ(smc.count(), 0);
}

TEST(SMCWrapper, NumbersFansWithoutANameFromOne) {
  installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.descriptionOfFan(0), "Leftside");
  EXPECT_EQ(wrapper.descriptionOfFan(1), "Fan 2") << "only blanks";
  EXPECT_EQ(wrapper.descriptionOfFan(2), "Fan 3") << "no key";
}

TEST(SMCWrapper, ListsTwentyFansWhenTheSMCClaims255) {
  installSMC({smcKey("FNum", "ui8 ", {255})});
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.numberOfFans(), 255);
  const SensorList sensors = wrapper.getAllSensors();
  ASSERT_EQ(sensors.size(), 20U);
  EXPECT_EQ(sensors[19]->key, "19");
  EXPECT_EQ(sensors[19]->name, "Fan 20");
}

TEST(SMCWrapper, CountsNoFansWhenTheCountIsNegativeOrNoNumber) {
  installSMC({smcKey("FNum", "si8 ", {0xfd})});
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.numberOfFans(), -3);
  EXPECT_THAT(wrapper.getAllSensors(), IsEmpty());
}

TEST(SMCWrapper, PassesValuesThatAreNotFiniteOn) {
  installSMC({smcKey("#KEY", "ui8 ", {3}), smcKey("TNaN", "flt ", {0, 0, 0xc0, 0x7f}),
              smcKey("TInf", "flt ", {0, 0, 0x80, 0xff})});
  SMCWrapper wrapper;
  const SensorList sensors = wrapper.getAllSensors();
  ASSERT_EQ(sensors.size(), 2U);
  EXPECT_TRUE(std::isnan(sensors[0]->value));
  EXPECT_EQ(sensors[1]->value, -std::numeric_limits<double>::infinity());
}

TEST(SMCWrapper, ReadsTextsWithoutBlanksAndWithEveryHighByteAsItsCharacter) {
  installSMC(
      {smcKey("F0ID", "{fds", {'G', 'e', 'h', 0xe4, 'u', 's', 'e', ' ', 31, 33, 127, 128, 255}),
       smcKey("TKey", "ch8*", {0, 9, 32})});
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.rawStringValueByKey("F0ID"), "Geh\u00e4use!\x7f\u0080\u00ff");
  EXPECT_EQ(wrapper.descriptionOfFan(0), "Geh\u00e4use!\x7f\u0080\u00ff");
  EXPECT_EQ(wrapper.rawStringValueByKey("TKey"), "");
}

TEST(SMCWrapper, ReadsNoMoreThan32BytesOfATextThatClaimsMore) {
  ForwardingSMC& smc = installSMC({});
  smc.setOverride([](const SMCCallRecord&, ForwardingSMC::Output output) {
    SMCParamRecord reply;
    reply.keyInfo = {200, SMCPackedKey("ch8*"), 0, {}};
    std::fill(std::begin(reply.bytes), std::end(reply.bytes), std::uint8_t{'x'});
    std::memcpy(output.data(), &reply, sizeof reply);
    return std::optional<platform::KernelStatus>(0);
  });
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.rawStringValueByKey("HUGE"), std::string(32, 'x'));
}

TEST(SMCWrapper, ListsAndReadsKeysWithHighBytes) {
  installSMC({smcKey("#KEY", "ui8 ", {2}), smcKey("T\xb0\xff"
                                                  "a",
                                                  "sp78", {0x28, 0x80})});
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("T\u00b0\u00ffa"));
  const SensorList sensors = wrapper.getAllSensors();
  ASSERT_EQ(sensors.size(), 1U);
  EXPECT_EQ(sensors[0]->key, "T\u00b0\u00ffa");
  EXPECT_EQ(wrapper.rawValueByKey(sensors[0]->key), 40.5);
}

TEST(SMCWrapper, NamesKeysThatAreNotUTF8InItsMessagesByTheReplacementCharacter) {
  ForwardingSMC& smc = installSMC({});
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  smc.failNth(1);
  wrapper.rawValueByKey("T\xff");
  EXPECT_THAT(messages->all, ElementsAre("SMC read (T\ufffd) failed"));
}

}  // namespace
}  // namespace kelvora::testing
