// Fans that are held in the foreground and in the background.
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVProcessLock.h"

#include "tests/support/ChildProgram.h"
#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST_F(KelvoraFans, AreHeldUntilASignalAndHandedBack) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
    EXPECT_THAT(holder.nextLine(), StartsWith("0  Fan 1  set to 3000 rpm  now 3000 rpm, fixed"));
    EXPECT_EQ(holder.nextErrorLine(),
              "kelvora: holding; an interrupt (Ctrl-C) hands the fans back");
    EXPECT_EQ(holderOf(0), holder.pid());
    holder.signal(signal);
    EXPECT_THAT(holder.restOfOutput(), StartsWith("0  Fan 1  handed back  now "));
    EXPECT_EQ(holder.wait(), 0);
    expectAutomatic(0);
  }
}

TEST_F(KelvoraFans, AreHeldForATime) {
  const ProgramResult result = run({"fans", "hold", "0=3000", "1=2500", "--for", "0.2", "--json"});
  EXPECT_EQ(result.status, 0);
  std::istringstream lines(result.standardOutput);
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  const json held = json::parse(line);
  EXPECT_EQ(held.at("event"), "held");
  EXPECT_EQ(held.at("fans").size(), 2U);
  ASSERT_TRUE(std::getline(lines, line));
  const json back = json::parse(line);
  EXPECT_EQ(back.at("event"), "handedBack");
  EXPECT_EQ(back.at("fans").at(1).at("read").at("mode"), "automatic");
  EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(KelvoraFans, InTheBackgroundAreHeldForATimeToo) {
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "--for", "0.2"}).status, 0);
  EXPECT_TRUE(soon([this] { return !isOnDisk(0); }));
  expectAutomatic(0);
}

// Longer than the time-out of a lease: without renewals the guardian would hand the fan back.
TEST_F(KelvoraFans, AreHeldForLongerThanALeaseWithoutRenewals) {
  const ProgramResult result = run({"fans", "hold", "0=3000", "--for", "11"});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_THAT(result.standardOutput, HasSubstr("handed back"));
}

TEST_F(KelvoraFans, ALostLeaseIsReported) {
  ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
  holder.nextLine();
  ASSERT_EQ(guardians().size(), 1U);
  ::kill(guardians().front(), SIGKILL);
  holder.nextErrorLine();
  EXPECT_EQ(holder.restOfError(),
            "kelvora: the fans are no longer held: the guardian has ended; they are handed back\n");
  EXPECT_EQ(holder.wait(), 1);
  expectAutomatic(0);
}

TEST_F(KelvoraFans, ThatCannotBeHandedBackAreSaidOnceAndTriedUntilTheyAre) {
  ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
  holder.nextLine();
  holder.nextErrorLine();
  const std::string tool = home_.read(kTool);
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  holder.signal(SIGTERM);
  EXPECT_EQ(holder.nextErrorLine(),
            "kelvora: fan 0: not handed back: F0Md: the privileged tool ended with status 1; "
            "trying again");
  EXPECT_THAT(run({"fans"}).standardOutput, HasSubstr("fixed, target 3000 rpm"));
  home_.write(kTool, tool);
  EXPECT_EQ(holder.restOfError(), "");
  EXPECT_EQ(holder.wait(), 0);
  expectAutomatic(0);
}

TEST_F(KelvoraFans, OfALostLeaseAreTriedUntilTheyAreHandedBack) {
  ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
  holder.nextLine();
  holder.nextErrorLine();
  const std::string tool = home_.read(kTool);
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  ::kill(guardians().at(0), SIGKILL);
  EXPECT_EQ(holder.nextErrorLine(),
            "kelvora: fan 0: not handed back: F0Md: the privileged tool ended with status 1; "
            "trying again");
  // A file cannot be written at the moment when the system starts it.
  std::filesystem::permissions(home_.write("tool", tool), std::filesystem::perms(0755));
  std::filesystem::rename(home_.path("tool"), home_.path(kTool));
  EXPECT_THAT(holder.nextErrorLine(), StartsWith("kelvora: the fans are no longer held: "));
  EXPECT_EQ(holder.wait(), 1);
  expectAutomatic(0);
}

// Another program has locked the fan after the look at the leases, or has no lease on the disk yet.
TEST_F(KelvoraFans, TakenByAnotherProgramAtTheSameMomentAreHeldElsewhere) {
  const KVProcessLock another("Fan0.holder");
  expectRefused({"fans", "hold", "0=3000"}, 3, "fan 0: held by another program");
  expectRefused({"fans", "hold", "--background", "0=3000"}, 3, "fan 0: held by another program");
  expectRefused({"fans", "set", "0", "3000"}, 3, "fan 0: held by another program");
}

TEST_F(KelvoraFans, HeldByAnotherHoldAreRefused) {
  ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
  holder.nextLine();
  const std::string line =
      "fan 0: held by kelvora fans hold (process " + std::to_string(holder.pid()) + ")";
  expectRefused({"fans", "hold", "0=3100"}, 3, line);
  expectRefused({"fans", "hold", "--background", "1=2500", "0=3100"}, 3, line);
  EXPECT_EQ(fan(0).at("target"), 3000.0);
  expectAutomatic(1);
  holder.signal(SIGTERM);
  EXPECT_EQ(holder.wait(), 0);
}

// No other process keeps what was to end with a time or a terminal.
TEST_F(KelvoraFans, OfAHoldThatEndsByItselfAreHandedBackWithTheOneThatIsSet) {
  ASSERT_EQ(run({"fans", "hold", "--background", "--for", "1h", "0=3000", "1=2500"}).status, 0);
  ProgramResult changed = run({"fans", "set", "0", "3500"});
  EXPECT_EQ(changed.status, 0);
  EXPECT_EQ(changed.standardError, "kelvora: fan 1: handed back, as its holder has ended\n");
  expectSet(0, 3500);
  expectAutomatic(1);
  ASSERT_EQ(run({"fans", "auto", "0"}).status, 0);

  ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000", "1=2500"});
  holder.nextLine();
  changed = run({"fans", "auto", "0"});
  EXPECT_EQ(changed.status, 0);
  EXPECT_EQ(changed.standardError, "kelvora: fan 1: handed back, as its holder has ended\n");
  EXPECT_EQ(holder.wait(), 0);
  expectAutomatic(0);
  expectAutomatic(1);
}

}  // namespace
}  // namespace kelvora::testing
