// Fans that are held at the speeds of a fan set.
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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

}  // namespace
}  // namespace kelvora::testing
