#include "KelvoraCore/SMCWrapper.h"

#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/SMC.h"

#include "tests/hardware/SMCKeys.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/ScriptedChildProcesses.h"

namespace kelvora::testing {
namespace {

using platform::RecordedSMCKey;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Messages : public SMCWrapperDelegate {
 public:
  void smcReadValueFailedWithError(const std::string& message) override { all.push_back(message); }
  std::vector<std::string> all;
};

// A Mac with two fans, of which the second has a blank name, and some sensors.
std::vector<RecordedSMCKey> smallMac() {
  return {
      smcKey("#KEY", "ui32", {0, 0, 0, 16}),
      smcKey("B0AV", "ui16", {0x2e, 0xe0}),
      smcKey("F0Ac", "fpe2", {0x1f, 0x40}),  // 2000
      smcKey("F0ID", "{fds", {0, 0, 0, 0, 'L', 'e', 'f', 't', ' ', ' ', 's', 'i', 'd', 'e', 0, 0}),
      smcKey("F0Mn", "fpe2", {0x12, 0xc0}),  // 1200
      smcKey("F0Mx", "fpe2", {0x5d, 0xc0}),  // 6000
      smcKey("F1Ac", "fpe2", {0x1f, 0x80}),  // 2016
      smcKey("F1ID", "{fds", {0, 0, ' ', ' '}),
      smcKey("F1Mn", "fpe2", {0x12, 0xc0}),
      smcKey("F1Mx", "fpe2", {0x5d, 0xc0}),
      smcKey("FNum", "ui8 ", {2}),
      smcKey("IC0C", "sp78", {0x01, 0x80}),
      smcKey("PC0C", "flt ", {0, 0, 0x20, 0x41}),
      smcKey("TC0P", "sp78", {0x28, 0x80}),
      smcKey("TX0x", "hex_", {1, 2}),
      smcKey("VC0C", "fp1f", {0x80, 0x00}),
  };
}

std::string described(const Sensor& sensor) {
  const auto number = [](double value) { return std::to_string(std::lround(value * 100)); };
  return sensor.key + "|" + sensor.name + "|" + sensor.fullName + "|" + number(sensor.value) + "|" +
         number(sensor.minLimitValue) + "|" + number(sensor.maxLimitValue) + "|" +
         std::to_string(sensor.type) + "|" + std::to_string(sensor.group) + "|" +
         std::to_string(sensor.platform) + "|" + std::to_string(sensor.sourceType) + "|" +
         (sensor.average ? "average" : "plain");
}

std::vector<std::string> described(const SensorList& sensors) {
  std::vector<std::string> texts;
  for (const SensorPtr& sensor : sensors) texts.push_back(described(*sensor));
  return texts;
}

// "9 TC0P", "8 #3", … for each call.
std::vector<std::string> calls(const ForwardingSMC& smc) {
  std::vector<std::string> texts;
  for (const SMCCallRecord& call : smc.calls()) {
    char key[5];
    SMCConvertNumberToString(key, call.key);
    texts.push_back(std::to_string(call.command) + " " +
                    (call.command == 8 ? "#" + std::to_string(call.data32) : key));
  }
  return texts;
}

TEST(SMCWrapper, OpensTheConnectionAndClosesItWithItsEnd) {
  ForwardingSMC& smc = installSMC({});
  {
    const SMCWrapper wrapper;
    EXPECT_EQ(smc.openConnections(), 1);
  }
  EXPECT_EQ(smc.openConnections(), 0);
}

TEST(SMCWrapper, StandsAlsoWithoutAnSMCAndAnswersNothing) {
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
  installSMC(smallMac());
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
  ForwardingSMC& smc = installSMC(smallMac());
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
  for (const RecordedSMCKey& key : smallMac()) {
    char text[5];
    SMCConvertNumberToString(text, key.key);
    expected.push_back("8 #" + std::to_string(index++));
    if (known.insert(text).second) expected.push_back(std::string("9 ") + text);
    expected.push_back(std::string("5 ") + text);
  }
  expected.insert(expected.end(), {"5 IC0C", "5 PC0C", "5 TC0P", "5 VC0C"});
  EXPECT_EQ(calls(smc), expected);
}

TEST(SMCWrapper, ReadsEachCachedKeyWithOneCallLater) {
  ForwardingSMC& smc = installSMC(smallMac());
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
  ForwardingSMC& smc = installSMC(smallMac());
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
  ForwardingSMC& smc = installSMC(smallMac());
  SMCWrapper wrapper;
  smc.failNth(1);
  EXPECT_THAT(wrapper.getAllSensorKeys(), IsEmpty());
  EXPECT_EQ(smc.count(8), 0);
  EXPECT_EQ(wrapper.getAllSensorKeys().size(), 4U);
}

TEST(SMCWrapper, SkipsPositionsThatCannotBeReadWithoutAMessage) {
  ForwardingSMC& smc = installSMC(smallMac());
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output) {
    const bool fails = call.command == 8 && call.data32 == 13;  // TC0P
    return fails ? std::optional(platform::kIOReturnError) : std::nullopt;
  });
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C", "VC0C"));
  EXPECT_THAT(messages->all, IsEmpty());
}

TEST(SMCWrapper, ReadsNoFurtherThanTheKeyCount) {
  std::vector<RecordedSMCKey> keys = smallMac();
  keys[0] = smcKey("#KEY", "ui32", {0, 0, 0, 13});
  ForwardingSMC& smc = installSMC(keys);
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C"));
  EXPECT_EQ(smc.count(8), 13);
}

TEST(SMCWrapper, GivesUpAfter65536PositionsWithoutAKey) {
  std::vector<RecordedSMCKey> keys = smallMac();
  keys[0] = smcKey("#KEY", "ui32", {0xff, 0xff, 0xff, 0xff});
  ForwardingSMC& smc = installSMC(keys);
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), ElementsAre("IC0C", "PC0C", "TC0P", "VC0C"));
  EXPECT_EQ(smc.count(8), 16 + 65536);
}

TEST(SMCWrapper, GoesOnWhileAKeyStandsAmongTheNext65536Positions) {
  ForwardingSMC& smc = installSMC(
      {smcKey("#KEY", "ui32", {0, 2, 0xbf, 0x21}), smcKey("TC0P", "sp78", {0x28, 0x80})});
  smc.setOverride([](const SMCCallRecord& call,
                     ForwardingSMC::Output output) -> std::optional<platform::KernelStatus> {
    if (call.command != 8) return std::nullopt;
    if (call.data32 % 60000 != 0) return platform::kIOReturnError;
    SMCParamRecord reply;
    reply.key = packedKey("TC0P");
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
    reply.key = packedKey("B0AV");
    reply.keyInfo = {4, packedKey("flt "), 0, {}};
    const float claimed = std::numeric_limits<float>::infinity();
    std::memcpy(reply.bytes, &claimed, sizeof claimed);
    std::memcpy(output.data(), &reply, sizeof reply);
    if (call.command == 8) asked = call.data32 + 1;
    return std::optional<platform::KernelStatus>(0);
  });
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), IsEmpty());
  EXPECT_EQ(asked, 1U << 20);
}

TEST(SMCWrapper, TakesAKeyCountThatIsNoNumberOrNegativeForNone) {
  ForwardingSMC& smc = installSMC({smcKey("#KEY", "flt ", {0, 0, 0xc0, 0x7f})});
  SMCWrapper wrapper;
  EXPECT_THAT(wrapper.getAllSensorKeys(), IsEmpty());
  EXPECT_EQ(smc.count(8), 0);
}

TEST(SMCWrapper, LeavesOutAndReportsASensorThatCannotBeReadAnyMore) {
  ForwardingSMC& smc = installSMC(smallMac());
  SMCWrapper wrapper;
  const auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  wrapper.getAllSensors();
  EXPECT_THAT(messages->all, IsEmpty());
  smc.setOverride([](const SMCCallRecord& call, ForwardingSMC::Output) {
    return call.key == packedKey("PC0C") ? std::optional(platform::kIOReturnError) : std::nullopt;
  });
  const SensorList sensors = wrapper.getAllSensors();
  ASSERT_EQ(sensors.size(), 5U);
  EXPECT_EQ(sensors[3]->key, "TC0P");
  EXPECT_THAT(messages->all, ElementsAre("SMC read (PC0C) failed"));
}

TEST(SMCWrapper, MakesNewRecordsForEveryReading) {
  installSMC(smallMac());
  SMCWrapper wrapper;
  const SensorList first = wrapper.getAllSensors();
  const SensorList second = wrapper.getAllSensors();
  first.back()->name = "renamed";
  EXPECT_EQ(second.back()->name, "VC0C");
  EXPECT_EQ(wrapper.getAllSensors().back()->name, "VC0C");
}

TEST(SMCWrapper, KeepsARecordForWhoeverHoldsIt) {
  installSMC(smallMac());
  SensorPtr held;
  {
    SMCWrapper wrapper;
    held = wrapper.getAllSensors().back();
  }
  EXPECT_EQ(held->key, "VC0C");
}

TEST(SMCWrapper, NothingOfAReadingThatWasLetGoIsLeftInTheNext) {
  installSMC(smallMac());
  SMCWrapper wrapper;
  SensorList reading = wrapper.getAllSensors();
  const std::vector<std::string> expected = described(reading);
  const Sensor* const place = reading.back().get();
  for (const SensorPtr& sensor : reading) {
    *sensor = Sensor{"other", "other", "other", -5, -6, -7, 99, 98, 97, 96, true};
  }
  reading.clear();
  reading = wrapper.getAllSensors();
  EXPECT_EQ(described(reading), expected);
  EXPECT_EQ(reading.back().get(), place);
}

TEST(SMCWrapper, ReadsTheKeysThatItsListWasReplacedWithAndSkipsThoseThatAreNoSensors) {
  ForwardingSMC& smc = installSMC(smallMac());
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

// Replaces the list of keys when it hears of a failure.
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

TEST(SMCWrapper, SurvivesADelegateThatReplacesTheListDuringAReading) {
  installSMC(smallMac());
  SMCWrapper wrapper;
  const auto delegate = std::make_shared<Replacing>(wrapper, std::vector<std::string>(100, "TC0P"));
  wrapper.setDelegate(delegate);
  wrapper.setCachedAllSensorKeys({"TX0x", "TC0P", "TC0P"});
  for (const SensorPtr& sensor : wrapper.getAllSensors()) {
    EXPECT_TRUE(sensor->type == SensorTypeFan || sensor->key == "TC0P");
  }
}

TEST(SMCWrapper, EndsAReadingWithTheListThatADelegateShortens) {
  ForwardingSMC& smc = installSMC(smallMac());
  SMCWrapper wrapper;
  const auto delegate = std::make_shared<Replacing>(wrapper, std::vector<std::string>{});
  wrapper.setDelegate(delegate);
  wrapper.setCachedAllSensorKeys({"TX0x", "TC0P", "TC0P"});
  EXPECT_EQ(wrapper.getAllSensors().size(), 2U) << "the fans";
  EXPECT_EQ(smc.calls().back().key, packedKey("TX0x"));
}

TEST(SMCWrapper, ReportsAReadThatFailed) {
  ForwardingSMC& smc = installSMC(smallMac());
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

TEST(SMCWrapper, ReportsASizeThatNoRealKeyHasAsASignedNumber) {
  ForwardingSMC& smc = installSMC({});
  smc.setOverride([](const SMCCallRecord&, ForwardingSMC::Output output) {
    SMCParamRecord reply;
    reply.keyInfo = {0xffffffff, packedKey("hex_"), 0, {}};
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

TEST(SMCWrapper, TellsNobodyWhenTheDelegateIsGone) {
  installSMC(smallMac());
  SMCWrapper wrapper;
  auto messages = std::make_shared<Messages>();
  wrapper.setDelegate(messages);
  EXPECT_EQ(wrapper.delegate(), messages);
  messages.reset();
  EXPECT_EQ(wrapper.delegate(), nullptr);
  EXPECT_EQ(wrapper.rawValueByKey("TX0x"), std::nullopt);
  wrapper.handleFailedWithErrMsg("nobody hears");
}

TEST(SMCWrapper, ForgetsADelegateWithItsToken) {
  installSMC(smallMac());
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
  installSMC(smallMac());
  SMCWrapper wrapper;
  const auto silent = std::make_shared<SMCWrapperDelegate>();
  wrapper.setDelegate(silent);
  EXPECT_EQ(wrapper.rawValueByKey("TX0x"), std::nullopt);
}

TEST(SMCWrapper, ReadsKeysUnderTheirFirstFourCharacters) {
  ForwardingSMC& smc = installSMC(smallMac());
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.rawValueByKey("TC0P and more"), 40.5);
  EXPECT_EQ(wrapper.rawStringValueByKey("F0IDx"), "Leftside");
  wrapper.rawValueByKey("TC");
  EXPECT_EQ(smc.calls().back().key, packedKey("TC\0\0"));
}

TEST(SMCWrapper, ReadsAFanForTypeOneAndAKeyForAnyOther) {
  ForwardingSMC& smc = installSMC(smallMac());
  SMCWrapper wrapper;
  EXPECT_EQ(wrapper.getSensorValueByKey("1", 1), 2016.0);
  EXPECT_EQ(smc.calls().back().key, packedKey("F1Ac"));
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
  EXPECT_EQ(smc.calls().back().key, packedKey("FCAc"));
  EXPECT_EQ(wrapper.safeMinimumSpeedOfFan(12), 1.0);
  EXPECT_EQ(wrapper.safeMaximumSpeedOfFan(12), 2.0);
  wrapper.speedOfFan(19);
  EXPECT_EQ(smc.calls().back().key, packedKey("FJAc"));
}

TEST(SMCWrapper, ReadsNothingForAFanThatTheAlphabetDoesNotName) {
  ForwardingSMC& smc = installSMC(smallMac());
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
  installSMC(smallMac());
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
    reply.keyInfo = {200, packedKey("ch8*"), 0, {}};
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

// A platform with an installed tool that ends as it is told.
class SMCWrapperWrites : public ::testing::Test {
 protected:
  SMCWrapperWrites() : platform_(installRecordedPlatform(platform::RecordedMachine{})) {
    auto& files = wrapPort<ForwardingFiles>(platform_.ports().files);
    files.onApplicationSupportFolder = [] { return "/Users/anna/Library/Application Support"; };
    files.onExists = [this](const std::string& path) {
      return path != "/Users/anna/Library/Application Support/Kelvora/Kelvora SMC" || isInstalled_;
    };
    auto children = std::make_unique<ScriptedChildProcesses>(
        [this](const platform::ChildRequest&) { return outcome_; });
    children_ = children.get();
    platform_.ports().childProcesses = std::move(children);
    ::testing::internal::CaptureStdout();  // there is no SMC
    wrapper_ = std::make_unique<SMCWrapper>(platform_);
    std::fflush(stdout);
    ::testing::internal::GetCapturedStdout();
  }

  platform::Platform& platform_;
  bool isInstalled_ = true;
  std::optional<ScriptedOutcome> outcome_ = ScriptedOutcome{};
  ScriptedChildProcesses* children_ = nullptr;
  std::unique_ptr<SMCWrapper> wrapper_;
};

TEST_F(SMCWrapperWrites, RunTheToolWithFourArgumentsAndWaitForIt) {
  EXPECT_TRUE(wrapper_->setExternalValue("0fa0", "F0Tg"));
  ASSERT_EQ(children_->requests.size(), 1U);
  const platform::ChildRequest& request = children_->requests[0];
  EXPECT_EQ(request.path, "/Users/anna/Library/Application Support/Kelvora/Kelvora SMC");
  EXPECT_THAT(request.arguments, ElementsAre("-k", "F0Tg", "-w", "0fa0"));
  EXPECT_EQ(request.qualityOfService, 33);
  EXPECT_FALSE(request.captureStandardOutput);
  EXPECT_FALSE(request.discardStandardError);
  EXPECT_EQ(children_->waits, 1);
}

TEST_F(SMCWrapperWrites, SucceedOnlyWithExitStatusZero) {
  for (const int status : {1, 2, 128 + 9, 255}) {
    outcome_->exitStatus = status;
    EXPECT_FALSE(wrapper_->setExternalValue("0fa0", "F0Tg")) << status;
  }
}

TEST_F(SMCWrapperWrites, FailWithoutALaunchWhenTheToolIsMissing) {
  isInstalled_ = false;
  EXPECT_FALSE(wrapper_->setExternalValue("0fa0", "F0Tg"));
  EXPECT_THAT(children_->requests, IsEmpty());
}

TEST_F(SMCWrapperWrites, FailWhenTheToolCannotBeLaunched) {
  outcome_.reset();
  const auto messages = std::make_shared<Messages>();
  wrapper_->setDelegate(messages);
  EXPECT_FALSE(wrapper_->setExternalValue("0fa0", "F0Tg"));
  EXPECT_THAT(messages->all, IsEmpty());
}

}  // namespace
}  // namespace kelvora::testing
