// Fans that are held at the speeds of a fan set.
#include <cmath>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVFanSet.h"
#include "KelvoraCore/Platform.h"

#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;

TEST_F(KelvoraFans, OfAFanSetAreHeldTogether) {
  ASSERT_EQ(run({"fansets", "add", "Fast", "F0=5000", "F1=5200.4"}).status, 0);
  const json applied = jsonOf({"fans", "apply", "Fast"});
  EXPECT_EQ(applied.at("fans").size(), 2U);
  expectSet(0, 5000);
  expectSet(1, 5200);
  EXPECT_EQ(holderOf(0), holderOf(1));
  ASSERT_EQ(run({"fansets", "add", "Quiet", "F1=2500"}).status, 0);
  const std::string identifier = jsonOf({"fansets"}).at("fanSets").at(1).at("identifier");
  ASSERT_EQ(run({"fans", "apply", identifier}).status, 0);
  expectSet(0, 5000);
  expectSet(1, 2500);
}

TEST_F(KelvoraFans, OfAFanSetThatDoesNotFitAreRefused) {
  expectRefused({"fans", "apply", "Quiet"}, 2,
                "Quiet: The data entered is not valid. ('kelvora fansets' lists the fan sets)");
  ASSERT_EQ(run({"fansets", "add", "Quiet", "F0=2500", "F5=2000"}).status, 0);
  expectRefused({"fans", "apply", "Quiet"}, 2,
                "fan 5: the machine has no such fan ('kelvora fans' lists them)");
  expectRefused({"fans", "apply", "Quite"}, 2,
                "Quite: The data entered is not valid. (did you mean Quiet?)");
  expectAutomatic(0);
}

// A set that another program has stored.
void store(const char* name, const PropertyListValue::Dictionary& speeds) {
  const auto platform = Platform::live();
  KVCoreDataStore store(-1, *platform);
  store.createFanSetWithName(name, speeds)->setIdentifier(name);
  store.saveViewContext();
}

TEST_F(KelvoraFans, OfAFanSetOfAnotherProgramMayBeWholeNumbers) {
  store("Whole", {{"F0", std::int64_t{3000}}});
  EXPECT_EQ(run({"fans", "apply", "Whole"}).standardError, "");
  expectSet(0, 3000);
}

TEST_F(KelvoraFans, OfAFanSetThatAreNotSpeedsAreRefused) {
  const PropertyListValue values[] = {"3000", true, 0.0, -3000.0, 100'000.5, HUGE_VAL};
  for (const PropertyListValue& value : values) {
    store("Bad", {{"F0", 3000.0}, {"F1", value}});
    expectRefused({"fans", "apply", "Bad"}, 2,
                  "Bad: The data entered is not valid. (not all of its speeds are those of fans)");
    ASSERT_EQ(run({"fansets", "remove", "Bad"}).status, 0);
  }
  store("Left", {{"left", 3000.0}});
  EXPECT_EQ(run({"fans", "apply", "Left"}).status, 2);
  store("Empty", {});
  expectRefused({"fans", "apply", "Empty"}, 2,
                "Empty: The data entered is not valid. (it has no speeds)");
  store("Slow", {{"F0", 1.0}});
  expectRefused({"fans", "apply", "Slow"}, 2, "fan 0: 1 is not within its limits, 2160 to 5927");
  store("Quick", {{"F0", 100'000.0}});
  expectRefused({"fans", "apply", "Quick"}, 2,
                "fan 0: 100000 is not within its limits, 2160 to 5927");
}

}  // namespace
}  // namespace kelvora::testing
