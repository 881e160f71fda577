#include "platforms/recorded/FanFirmware.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platforms/recorded/RecordedSMC.h"
#include "tests/support/RawSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::actualFanSpeed;
using platform::fanSpeedIn;
using platform::RecordedSMC;
using platform::RecordedSMCKey;

RecordedSMCKey speedKey(const std::string& key, const char* type, float speed) {
  RecordedSMCKey result = smcKey(key, type, {});
  result.bytes.resize(std::string(type) == "fpe2" ? 2 : 4);
  platform::setFanSpeed(result, speed);
  return result;
}

TEST(FanFirmware, InManualModeTheTargetCountsWithinTheLimits) {
  EXPECT_EQ(actualFanSpeed(2100, {true, 3000.0F, 2000.0F, 5000.0F}), 3000);
  EXPECT_EQ(actualFanSpeed(2100, {true, 1000.0F, 2000.0F, 5000.0F}), 2000);
  EXPECT_EQ(actualFanSpeed(2100, {true, 9000.0F, 2000.0F, 5000.0F}), 5000);
  EXPECT_EQ(actualFanSpeed(2100, {true, 9000.0F, std::nullopt, std::nullopt}), 9000);
  EXPECT_EQ(actualFanSpeed(2100, {true, std::nullopt, 2000.0F, 5000.0F}), 2100);
}

TEST(FanFirmware, OtherwiseTheSpeedIsTheRecordedOneButNotBelowTheMinimum) {
  EXPECT_EQ(actualFanSpeed(2100, {false, 3000.0F, 2000.0F, 5000.0F}), 2100);
  EXPECT_EQ(actualFanSpeed(2100, {false, 3000.0F, 2500.0F, 5000.0F}), 2500);
  EXPECT_EQ(actualFanSpeed(2100, {false, std::nullopt, 6000.0F, 5000.0F}), 5000);
  EXPECT_EQ(actualFanSpeed(5010, {false, std::nullopt, 2000.0F, 5000.0F}), 5010);
  EXPECT_EQ(actualFanSpeed(2100, {}), 2100);
}

TEST(FanFirmware, ASpeedIsAFloatOrHasTwoFractionalBits) {
  EXPECT_EQ(fanSpeedIn(smcKey("F0Tg", "flt ", {0, 0, 0xfa, 0x44})), 2000);
  EXPECT_EQ(fanSpeedIn(smcKey("F0Tg", "fpe2", {0x1f, 0x41})), 2000.25F);
  EXPECT_EQ(speedKey("F0Ac", "fpe2", 2000.3F).bytes, speedKey("F0Ac", "fpe2", 2000.25F).bytes);
  EXPECT_EQ(fanSpeedIn(speedKey("F0Ac", "fpe2", 20000)), 16383.75F);
  EXPECT_EQ(fanSpeedIn(speedKey("F0Ac", "flt ", 20000)), 20000);
  EXPECT_EQ(fanSpeedIn(smcKey("F0Tg", "flt ", {0, 0})), std::nullopt);
  EXPECT_EQ(fanSpeedIn(smcKey("F0Tg", "fpe2", {0, 0, 0, 0})), std::nullopt);
  EXPECT_EQ(fanSpeedIn(smcKey("F0Tg", "ui16", {1, 2})), std::nullopt);
  for (const float speed : {std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::infinity(), -HUGE_VALF}) {
    EXPECT_EQ(fanSpeedIn(speedKey("F0Tg", "flt ", speed)), std::nullopt) << speed;
  }
}

// A recorded SMC and what tests do to its fans.
class Fans {
 public:
  explicit Fans(std::vector<RecordedSMCKey> keys) : smc_(std::move(keys)), connection_(smc_) {}
  explicit Fans(const char* machine) : Fans(*recordedMachine(machine).smcKeys) {}

  std::vector<std::byte> bytes(const char* key) {
    const auto size = connection_.call(9, SMCPackedKey(key)).dataSize;
    const auto payload = connection_.call(5, SMCPackedKey(key), size).payload;
    return {payload.begin(), payload.begin() + size};
  }
  float speed(const char* key) {
    const auto info = connection_.call(9, SMCPackedKey(key));
    RecordedSMCKey read;
    read.type = info.dataType;
    read.bytes = bytes(key);
    return fanSpeedIn(read).value_or(-1);
  }
  void write(const char* key, const std::vector<std::byte>& payload) {
    const auto size = static_cast<std::uint32_t>(payload.size());
    EXPECT_EQ(connection_.call(6, SMCPackedKey(key), size, 0, payload).result, 0) << key;
  }
  void writeSpeed(const char* key, const char* type, float speed) {
    write(key, speedKey(key, type, speed).bytes);
  }
  void writeMode(const char* key, int mode) { write(key, {static_cast<std::byte>(mode)}); }

 private:
  RecordedSMC smc_;
  RawSMC connection_;
};

TEST(FanFirmware, ANewerMacFollowsTheTargetInManualModeAndIsHandedBack) {
  for (const char* machine : {"MacBookPro15,1", "Macmini8,1"}) {
    Fans fans(machine);
    const float before = fans.speed("F0Ac");
    fans.writeSpeed("F0Tg", "flt ", 3000);
    EXPECT_EQ(fans.speed("F0Ac"), std::max(before, fans.speed("F0Mn"))) << machine;
    fans.writeMode("F0Md", 1);
    EXPECT_EQ(fans.speed("F0Ac"), 3000) << machine;
    fans.writeSpeed("F0Tg", "flt ", 100000);
    EXPECT_EQ(fans.speed("F0Ac"), fans.speed("F0Mx")) << machine;
    fans.writeSpeed("F0Tg", "flt ", 0);
    EXPECT_EQ(fans.speed("F0Ac"), fans.speed("F0Mn")) << machine;
    fans.writeMode("F0Md", 0);
    EXPECT_EQ(fans.speed("F0Ac"), std::max(before, fans.speed("F0Mn"))) << machine;
  }
}

TEST(FanFirmware, AnOlderMacFollowsItsMinimum) {
  for (const char* machine : {"MacBookPro10,1", "iMac19,1"}) {
    Fans fans(machine);
    const auto before = fans.bytes("F0Ac");
    const auto minimum = fans.bytes("F0Mn");
    fans.writeSpeed("F0Mn", "fpe2", 4000);
    EXPECT_EQ(fans.speed("F0Ac"), std::min(4000.0F, fans.speed("F0Mx"))) << machine;
    fans.write("F0Mn", minimum);
    EXPECT_EQ(fans.bytes("F0Ac"), before) << machine;
    fans.writeSpeed("F0Tg", "fpe2", 5000);
    EXPECT_EQ(fans.bytes("F0Ac"), before) << machine << ": it has no manual mode";
  }
}

TEST(FanFirmware, OnlyTheWrittenFanMoves) {
  Fans fans("MacBookPro15,1");
  const auto other = fans.bytes("F1Ac");
  fans.writeMode("F0Md", 1);
  fans.writeSpeed("F0Tg", "flt ", 4000);
  EXPECT_EQ(fans.bytes("F1Ac"), other);
  fans.writeMode("F1Md", 1);
  fans.writeSpeed("F1Tg", "flt ", 3500);
  EXPECT_EQ(fans.speed("F0Ac"), 4000);
  EXPECT_EQ(fans.speed("F1Ac"), 3500);
}

TEST(FanFirmware, AWriteOfAnotherKeyMovesNoFan) {
  Fans fans("MacBookPro15,1");
  const auto before = fans.bytes("F0Ac");
  fans.write("F0St", {std::byte{1}});
  fans.write("FOff", {std::byte{1}});
  EXPECT_EQ(fans.bytes("F0Ac"), before);
}

TEST(FanFirmware, AMacWithoutAnActualSpeedTakesTheWritesAllTheSame) {
  Fans fans({smcKey("F0Md", "ui8 ", {0}), speedKey("F0Tg", "flt ", 2000),
             smcKey("F1Md", "ui8 ", {0}), smcKey("F1Ac", "ui16", {1, 2})});
  fans.writeMode("F0Md", 1);
  fans.writeSpeed("F0Tg", "flt ", 3000);
  fans.writeMode("F1Md", 1);
  EXPECT_EQ(fans.speed("F0Tg"), 3000);
  EXPECT_EQ(fans.bytes("F1Ac"), smcKey("F1Ac", "ui16", {1, 2}).bytes);
}

TEST(FanFirmware, AModeThatIsNotOneLeavesTheFanAlone) {
  Fans fans({smcKey("F0Md", "ui8 ", {0}), speedKey("F0Tg", "flt ", 4000),
             speedKey("F0Ac", "flt ", 2000)});
  fans.writeMode("F0Md", 2);
  EXPECT_EQ(fans.speed("F0Ac"), 2000);
  fans.writeMode("F0Md", 1);
  EXPECT_EQ(fans.speed("F0Ac"), 4000);
}

}  // namespace
}  // namespace kelvora::testing
