// Fans that are held, and the choice of the recorded Mac that they are of.
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVProcessLock.h"
#include "KelvoraCore/Platform.h"

#include "tests/support/ChildProgram.h"
#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;

// The speeds of its fans are part of the choice.
TEST_F(KelvoraFans, OfAChosenMacThatAreHeldKeepTheChoice) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  const std::string line = "fan 0: held by kelvora (process " + std::to_string(holderOf(0)) +
                           "); 'kelvora fans auto all' hands it back";
  expectRefused({"machine", "use", kWithMinimum}, 3, line);
  expectRefused({"machine", "none"}, 3, line);
  expectSet(0, 3000);
  ASSERT_EQ(run({"fans", "auto", "all"}).status, 0);
  choose(kWithMinimum);
}

// Its writes would go to the Mac that is chosen next.
TEST_F(KelvoraFans, WhoseHolderIsStoppedWithoutAGuardianKeepTheChoice) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  const pid_t holder = holderOf(0);
  ::kill(holder, SIGSTOP);
  for (const pid_t guardian : guardians()) {
    ::kill(guardian, SIGKILL);
  }
  ASSERT_TRUE(soon([this] { return guardians().empty(); }));
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"machine", "use", kWithMinimum}, {"machine", "none"}}) {
    expectRefused(command, 3,
                  "fan 0: held by kelvora (process " + std::to_string(holder) +
                      "), which, or whose privileged tool, still runs without a guardian");
  }
  killEverything();
  choose(kWithMinimum);
}

// One that sets them would go on after the choice.
TEST_F(KelvoraFans, ThatAnotherCommandIsChangingKeepTheChoice) {
  const auto live = Platform::live();
  const KVProcessLock other("FanChange", *live);
  ASSERT_EQ(other.state(), KVProcessLock::State::kHeld);
  expectRefused({"machine", "use", kWithMinimum}, 3, "another command is changing the fans");
  expectRefused({"machine", "none"}, 3, "another command is changing the fans");
  EXPECT_EQ(jsonOf({"machine"}).at("choice").at("name"), kWithModes);
}

TEST_F(KelvoraFans, OfAChoiceThatIsDamagedDoNotKeepIt) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  home_.write("data/Kelvora/Machine.json", "{");
  choose(kWithModes);
}

// Their lease is of the other Mac.
TEST_F(KelvoraFans, LeftBehindOnAMacThatIsNoLongerChosenAreForgotten) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  killEverything();
  choose(kWithMinimum);
  EXPECT_TRUE(isOnDisk(0));
  const ProgramResult result = run({"fans"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardError, "");
  EXPECT_FALSE(isOnDisk(0));
  EXPECT_EQ(jsonOf({"machine"}).at("choice").at("writes"), json::array());
}

// Nothing is handed back there.
TEST_F(KelvoraFans, OfAChosenMacWithoutSMCAreNeitherSetNorHandedBack) {
  choose("Macmini9,1");
  const std::vector<std::string> commands[] = {
      {"auto", "all"}, {"auto", "0"}, {"set", "0", "3000"}, {"hold", "0=3000"}};
  for (std::vector<std::string> command : commands) {
    command.insert(command.begin(), "fans");
    expectRefused(command, 1, "Mac mini M1 2020: there is no SMC with fans");
  }
}

// A program is started with what its parent ignores.
TEST_F(KelvoraFans, AreSetAlsoWhereSIGCHLDIsIgnored) {
  const ProgramResult set =
      runProgram("/bin/sh", {"-c", "trap '' CHLD; exec " KELVORA_PROGRAM " fans set 0 3000"});
  EXPECT_EQ(set.status, 0);
  EXPECT_EQ(set.standardError, "");
  expectSet(0, 3000);
}

}  // namespace
}  // namespace kelvora::testing
