#include "KelvoraCore/SMCWrapper.h"

#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/hardware/Messages.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/SensorLists.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::RecordedSMCKey;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(SMCWrapper, OpensTheConnectionAndClosesItWithItsEnd) {
  ForwardingSMC& smc = installSMC({});
  {
    const SMCWrapper wrapper;
    EXPECT_EQ(smc.openConnections(), 1);
  }
  EXPECT_EQ(smc.openConnections(), 0);
}

TEST(SMCWrapper, WithoutAnSMCReadsNothing) {
  installRecordedPlatform(platform::RecordedMachine{});
  ::testing::internal::CaptureStdout();
  SMCWrapper wrapper;
  std::fflush(stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Error: no SMC found\n");
  EXPECT_THAT(wrapper.getAllSensorKeys(), IsEmpty());
  EXPECT_THAT(wrapper.getAllSensors(), IsEmpty());
  EXPECT_EQ(wrapper.numberOfFans(), 0);
  EXPECT_EQ(wrapper.speedOfFan(0), 0.0);
  EXPECT_EQ(wrapper.descriptionOfFan(0), "Fan 1");
  EXPECT_EQ(wrapper.rawValueByKey("TC0P"), std::nullopt);
  EXPECT_EQ(wrapper.rawStringValueByKey("F0ID"), std::nullopt);
}

TEST(SMCWrapper, ListsFansAndThenSensorKeysWithTheLimitsOfTheirKind) {
  installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  EXPECT_THAT(described(wrapper.getAllSensors()),
              ElementsAre("0|Leftside|Leftside|200000|120000|600000|1|11|511|0|plain",
                          "1|Fan 2|Fan 2|201600|120000|600000|1|11|511|0|plain",
                          "IC0C|IC0C|IC0C|150|0|0|3|0|511|0|plain",
                          "PC0C|PC0C|PC0C|1000|0|0|4|0|511|0|plain",
                          "TC0P|TC0P|TC0P|4050|0|11000|0|0|511|0|plain",
                          "VC0C|VC0C|VC0C|100|0|0|2|0|511|0|plain"));
}

TEST(SMCWrapper, MakesExactlyTheCallsOfAFirstReading) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  wrapper.getAllSensors();
  std::vector<std::string> expected{"9 FNum", "5 FNum"};
  for (const char* fan : {"0", "1"}) {
    for (const char* call : {"9 F%ID", "5 F%ID", "5 F%ID", "9 F%Ac", "5 F%Ac", "9 F%Mn", "5 F%Mn",
                             "9 F%Mx", "5 F%Mx"}) {
      expected.push_back(std::string(call).replace(3, 1, fan));
    }
  }
  expected.insert(expected.end(), {"9 #KEY", "5 #KEY"});
  std::set<std::string> known{"FNum", "#KEY", "F0ID", "F0Ac", "F0Mn",
                              "F0Mx", "F1ID", "F1Ac", "F1Mn", "F1Mx"};
  int index = 0;
  for (const RecordedSMCKey& key : twoFansAndSensors()) {
    char text[5];
    SMCConvertNumberToString(text, key.key);
    expected.push_back("8 #" + std::to_string(index++));
    if (known.insert(text).second) {
      expected.push_back(std::string("9 ") + text);
    }
    expected.push_back(std::string("5 ") + text);
  }
  expected.insert(expected.end(), {"5 IC0C", "5 PC0C", "5 TC0P", "5 VC0C"});
  EXPECT_EQ(calls(smc), expected);
}

TEST(SMCWrapper, ReadsEachCachedKeyWithOneCallLater) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  wrapper.getAllSensors();
  smc.forgetCalls();
  wrapper.getAllSensors();
  EXPECT_THAT(calls(smc), ElementsAre("5 FNum", "5 F0ID", "5 F0ID", "5 F0Ac", "5 F0Mn", "5 F0Mx",
                                      "5 F1ID", "5 F1ID", "5 F1Ac", "5 F1Mn", "5 F1Mx", "5 IC0C",
                                      "5 PC0C", "5 TC0P", "5 VC0C"));
}

TEST(SMCWrapper, ReadsEachUncachedKeyWithTwoCallsLater) {
  std::vector<RecordedSMCKey> keys{smcKey("#KEY", "ui16", {0, 151}), smcKey("FNum", "ui8 ", {0})};
  for (int i = 0; i < 149; ++i) {
    keys.push_back(smcKey("T00x", "sp78", {0x28, 0}));
    keys.back().key += static_cast<std::uint32_t>(i) << 8;
  }
  ForwardingSMC& smc = installSMC(keys);
  SMCWrapper wrapper;
  ASSERT_EQ(wrapper.getAllSensors().size(), 149U);
  smc.forgetCalls();
  wrapper.getAllSensors();
  EXPECT_EQ(smc.count(5), 1 + 149);
  EXPECT_EQ(smc.count(9), 149 - 98) << "98 keys besides FNum and #KEY are cached";
  EXPECT_EQ(smc.count(), 1 + 149 + 51);
}

TEST(SMCWrapper, EnumeratesOnceAndKeepsKeysWhoseTypeIsKnown) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.cachedAllSensorKeys(), IsEmpty());
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C", "TC0P", "VC0C"));
  const int callsOnce = smc.count();
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C", "TC0P", "VC0C"));
  EXPECT_EQ(smc.count(), callsOnce);
  EXPECT_THAT(wrapper.cachedAllSensorKeys(), ElementsAre("IC0C", "PC0C", "TC0P", "VC0C"));
}

TEST(SMCWrapper, ListsNoKeyWhoseValueIsMinusOneDuringEnumeration) {
  installSMC({smcKey("#KEY", "ui8 ", {4}), smcKey("TaKy", "sp78", {0xff, 0x00}),
              smcKey("TbKy", "sp78", {0xfe, 0xff}), smcKey("TcKy", "ch8*", {'x'})});
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("TbKy"));
}

TEST(SMCWrapper, ComparesAKeysFirstCharacterByCase) {
  installSMC({smcKey("#KEY", "ui8 ", {4}), smcKey("tC0P", "ui8 ", {1}), smcKey("iC0P", "ui8 ", {1}),
              smcKey("TC0P", "ui8 ", {1})});
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("TC0P"));
}

TEST(SMCWrapper, EnumeratesAgainWhileNothingWasFound) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  smc.failNth(1);
  EXPECT_THAT(wrapper.getAllSensorKeys(), IsEmpty());
  EXPECT_EQ(smc.count(8), 0);
  EXPECT_EQ(wrapper.getAllSensorKeys().size(), 4U);
}

TEST(SMCWrapper, SkipsPositionsThatCannotBeReadWithoutAMessage) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output) {
    const bool fails = call.command == 8 && call.data32 == 13;  // TC0P
    return fails ? std::optional(platform::kKernelError) : std::nullopt;
  });
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C", "VC0C"));
  EXPECT_THAT(messages->all, IsEmpty());
}

TEST(SMCWrapper, SkipsAKeyWhosePayloadCannotBeReadWithoutAMessage) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output) {
    const bool fails = call.command == SMCCommandReadBytes && call.key == SMCPackedKey("TC0P");
    return fails ? std::optional(platform::kKernelError) : std::nullopt;
  });
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C", "VC0C"));
  EXPECT_THAT(messages->all, IsEmpty());
}

TEST(SMCWrapper, ReadsNoFurtherThanTheKeyCount) {
  std::vector<RecordedSMCKey> keys = twoFansAndSensors();
  keys[0] = smcKey("#KEY", "ui32", {0, 0, 0, 13});
  ForwardingSMC& smc = installSMC(keys);
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C"));
  EXPECT_EQ(smc.count(8), 13);
}

TEST(SMCWrapper, GivesUpAfter65536PositionsWithoutAKey) {
  std::vector<RecordedSMCKey> keys = twoFansAndSensors();
  keys[0] = smcKey("#KEY", "ui32", {0xff, 0xff, 0xff, 0xff});
  ForwardingSMC& smc = installSMC(keys);
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C", "TC0P", "VC0C"));
  EXPECT_EQ(smc.count(8), 16 + 65536);
}

TEST(SMCWrapper, ContinuesWhileOneOfTheNext65536PositionsHasAKey) {
  ForwardingSMC& smc = installSMC(
      {smcKey("#KEY", "ui32", {0, 2, 0xbf, 0x21}), smcKey("TC0P", "sp78", {0x28, 0x80})});
  smc.setOverride([](const SMCCallRecord& call,
                     ForwardingSMC::Output output) -> std::optional<platform::KernelStatus> {
    if (call.command != 8) {
      return std::nullopt;
    }
    if (call.data32 % 60000 != 0) {
      return platform::kKernelError;
    }
    SMCParamRecord reply;
    reply.key = SMCPackedKey("TC0P");
    std::memcpy(output.data(), &reply, sizeof reply);
    return 0;
  });
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.getAllSensorKeys().size(), 4U) << "positions 0, 60000, 120000 and 180000";
  EXPECT_EQ(smc.count(8), 180001);
}

TEST(SMCWrapper, GivesUpAfterAMillionPositionsWhenEveryOneAnswers) {
  ForwardingSMC& smc = installSMC({});
  std::uint32_t asked = 0;
  smc.setOverride([&](const SMCCallRecord& call, ForwardingSMC::Output output) {
    SMCParamRecord reply;
    reply.key = SMCPackedKey("B0AV");
    reply.keyInfo = {4, SMCPackedKey("flt "), 0, {}};
    const float claimed = std::numeric_limits<float>::infinity();
    std::memcpy(reply.bytes, &claimed, sizeof claimed);
    std::memcpy(output.data(), &reply, sizeof reply);
    if (call.command == 8) {
      asked = call.data32 + 1;
    }
    return std::optional<platform::KernelStatus>(0);
  });
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), IsEmpty());
  EXPECT_EQ(asked, 1U << 20);
}

TEST(SMCWrapper, TakesAKeyCountThatIsNotANumberOrNegativeForNone) {
  ForwardingSMC& smc = installSMC({smcKey("#KEY", "flt ", {0, 0, 0xc0, 0x7f})});
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), IsEmpty());
  EXPECT_EQ(smc.count(8), 0);
}

TEST(SMCWrapper, LeavesOutAndReportsASensorThatCannotBeReadAnyMore) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  wrapper.getAllSensors();
  EXPECT_THAT(messages->all, IsEmpty());
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output) {
    return call.key == SMCPackedKey("PC0C") ? std::optional(platform::kKernelError) : std::nullopt;
  });
  const SensorList sensors = wrapper.getAllSensors();
  ASSERT_EQ(sensors.size(), 5U);
  EXPECT_EQ(sensors[3]->key, "TC0P");
  EXPECT_THAT(messages->all, ElementsAre("SMC read (PC0C) failed"));
}

TEST(SMCWrapper, MakesNewRecordsForEveryReading) {
  installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  const SensorList first = wrapper.getAllSensors();
  const SensorList second = wrapper.getAllSensors();
  first.back()->name = "renamed";
  EXPECT_EQ(second.back()->name, "VC0C");
  EXPECT_EQ(wrapper.getAllSensors().back()->name, "VC0C");
}

TEST(SMCWrapper, KeepsARecordForWhoeverHoldsIt) {
  installSMC(twoFansAndSensors());
  SensorPtr held;
  {
    SMCWrapper wrapper;
    held = wrapper.getAllSensors().back();
  }
  EXPECT_EQ(held->key, "VC0C");
}

TEST(SMCWrapper, GivesAKeyNoValueOfTheKeyBeforeIt) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  wrapper.setCachedAllSensorKeys({"TC0P", "VC0C"});
  wrapper.getAllSensors();
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output) {
    // Succeeds without filling in the reply.
    return call.key == SMCPackedKey("VC0C") ? std::optional<platform::KernelStatus>(0)
                                            : std::nullopt;
  });
  const SensorList sensors = wrapper.getAllSensors();
  ASSERT_EQ(sensors.size(), 4U);
  EXPECT_EQ(sensors[2]->value, 40.5);
  EXPECT_EQ(sensors[3]->value, 0.0);
}

TEST(SMCWrapper, ReadsTheKeysThatItsListWasReplacedWithAndSkipsThoseThatAreNotSensors) {
  ForwardingSMC& smc = installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  wrapper.setCachedAllSensorKeys({"TC0P", "B0AV", "VC0C"});
  const SensorList sensors = wrapper.getAllSensors();
  ASSERT_EQ(sensors.size(), 4U);
  EXPECT_EQ(sensors[2]->key, "TC0P");
  EXPECT_EQ(sensors[3]->key, "VC0C");
  EXPECT_EQ(smc.count(8), 0);
  wrapper.setCachedAllSensorKeys({});
  EXPECT_EQ(wrapper.getAllSensorKeys().size(), 4U);
}

// Replaces the list of keys when it receives a failure.
class Replacing : public SMCWrapperDelegate {
 public:
  Replacing(SMCWrapper& wrapper, std::vector<std::string> keys)
      : wrapper_(wrapper), keys_(std::move(keys)) {}
  void smcReadValueFailedWithError(const std::string&) override {
    wrapper_.setCachedAllSensorKeys(keys_);
  }

 private:
  SMCWrapper& wrapper_;
  std::vector<std::string> keys_;
};

TEST(SMCWrapper, AListThatADelegateReplacesIsUsedFromTheNextReadingOn) {
  installSMC(twoFansAndSensors());
  SMCWrapper wrapper;
  for (const std::vector<std::string>& replacement :
       {std::vector<std::string>(100, "VC0C"), std::vector<std::string>{}}) {
    wrapper.setCachedAllSensorKeys({"TC0P", "TX0x", "TC0P"});
    const auto delegate = std::make_shared<Replacing>(wrapper, replacement);
    wrapper.setDelegate(delegate);
    const SensorList sensors = wrapper.getAllSensors();
    ASSERT_EQ(sensors.size(), 4U) << "two fans and";
    EXPECT_EQ(sensors[2]->key, "TC0P");
    EXPECT_EQ(sensors[3]->key, "TC0P");
    EXPECT_EQ(wrapper.cachedAllSensorKeys(), replacement);
  }
}

}  // namespace
}  // namespace kelvora::testing
