// Fans whose limits are read from their SMC, and speeds at and beside them.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

// Fan 0 from 1200.25 to 6000.75, fan 1 without a maximum, fan 2 without a minimum, fan 3 with a
// maximum of 0, fan 4 with a minimum above its maximum, fan 5 from 2000 to 2000.
constexpr char kMac[] = R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64",
  "title": "T", "sysctl": {"hw.model": "MacBookPro10,1"}, "smc": {"keys": [
    {"key": "FNum", "type": "ui8 ", "bytes": "06"},
    {"key": "F0Ac", "type": "fpe2", "bytes": "1f40"},
    {"key": "F0Mn", "type": "fpe2", "bytes": "12c1"},
    {"key": "F0Mx", "type": "fpe2", "bytes": "5dc3"},
    {"key": "F1Mn", "type": "fpe2", "bytes": "12c0"},
    {"key": "F2Mx", "type": "fpe2", "bytes": "5dc0"},
    {"key": "F3Mn", "type": "fpe2", "bytes": "0000"},
    {"key": "F3Mx", "type": "fpe2", "bytes": "0000"},
    {"key": "F4Mn", "type": "fpe2", "bytes": "5dc0"},
    {"key": "F4Mx", "type": "fpe2", "bytes": "12c0"},
    {"key": "F5Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F5Mx", "type": "fpe2", "bytes": "1f40"}]}})";

class KelvoraFansLimits : public KelvoraFans {
 protected:
  KelvoraFansLimits() { choose(home_.write("mac.json", kMac).c_str()); }
};

TEST_F(KelvoraFansLimits, OfAFractionAreRoundedInwards) {
  const std::string limits = " is not within its limits, 1201 to 6000";
  expectRefused({"fans", "set", "0", "1200"}, 2, "fan 0: 1200" + limits);
  expectRefused({"fans", "set", "0", "6001"}, 2, "fan 0: 6001" + limits);
  EXPECT_EQ(run({"fans", "set", "0", "6000"}).status, 0);
  EXPECT_EQ(run({"fans", "set", "0", "1201"}).status, 0);
  EXPECT_EQ(fan(0).at("raisedTo"), 1201.0);
  EXPECT_EQ(run({"fans", "auto", "0"}).status, 0);
  EXPECT_EQ(fan(0).at("minimum"), 1200.25) << "to the quarter of a revolution";
}

TEST_F(KelvoraFansLimits, ThatAreNotLimitsAreReported) {
  for (const char* index : {"1", "2", "3", "4"}) {
    expectRefused({"fans", "set", index, "2000"}, 1,
                  "fan " + std::string(index) + ": its limits cannot be read");
  }
  EXPECT_EQ(run({"fans", "set", "3", "0"}).status, 1) << "a maximum of 0 is not a limit";
}

TEST_F(KelvoraFansLimits, AreSpeedsThatCanBeSet) {
  EXPECT_EQ(run({"fans", "set", "5", "2000"}).status, 0);
  EXPECT_EQ(fan(5).at("raisedTo"), 2000.0);
}

TEST_F(KelvoraFans, AreSetToTheirLimits) {
  EXPECT_EQ(run({"fans", "hold", "--background", "0=2160", "1=5489"}).status, 0);
  expectSet(0, 2160);
  expectSet(1, 5489);
}

TEST_F(KelvoraFansLimits, ThatAreMissingAreUnknownInTheList) {
  const std::string text = run({"fans"}).standardOutput;
  EXPECT_THAT(text, HasSubstr("0  Fan 1  2000 rpm       1200 to 6001 rpm\n"));
  EXPECT_THAT(text, HasSubstr("1  Fan 2  unknown speed  1200 to unknown rpm\n"));
  EXPECT_THAT(text, HasSubstr("2  Fan 3  unknown speed  unknown to 6000 rpm\n"));
}

}  // namespace
}  // namespace kelvora::testing
