// What other programs do while a command changes the fan conditions.

#include <algorithm>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/StandardOutput.h"

#include "tests/engine/StatementHook.h"
#include "tests/support/StoreFixture.h"
#include "tools/kelvora/Command.h"

namespace kelvora::testing {
namespace {

class ConditionsCommand : public StoreFixture {
 protected:
  ConditionsCommand() {
    setenv("XDG_CONFIG_HOME", temporary.path("config").c_str(), 1);
    platform = Platform::live();
    const auto store = makeStore();
    addSensor(*store, "TC0P", addCategory(*store, "Temperature", 0));
    store->createFanSetWithName("Fast", {{"F0", 5000.0}});
    store->saveViewContext();
  }
  static int add(const tool::Options& options) {
    const auto commands = tool::conditionsCommands();
    StandardOutput output;
    return std::ranges::find(commands, "add", &tool::Command::name)->run(options, output);
  }
};

TEST_F(ConditionsCommand, AConditionWhoseFanSetIsRemovedMeanwhileIsAFailure) {
  tool::Options options;
  options.give("FANSET", {"Fast"});
  options.give("SENSOR", {"TC0P"});
  options.give("--threshold", {"80"});
  StatementHook hook;
  hook.once("BEGIN IMMEDIATE", [this] {
    const auto other = makeStore();
    other->viewContext()->deleteObject(other->allFanSets()->front());
    other->saveViewContext();
  });
  try {
    add(options);
    ADD_FAILURE() << "it counts as added";
  } catch (const tool::CommandError& error) {
    EXPECT_EQ(error.status, 1);
    EXPECT_STREQ(error.what(), "Fast: another program removed it meanwhile");
  }
  EXPECT_FALSE(hook.isWaiting());
  EXPECT_TRUE(makeStore()->allFanConditions()->empty());
}

}  // namespace
}  // namespace kelvora::testing
