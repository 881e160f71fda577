// Applications and privileges.
#include <optional>

#include <sys/wait.h>
#include <unistd.h>

#include "platforms/macos/processes/MacAuthorization.h"
#include "platforms/macos/processes/MacWorkspace.h"
#include "tests/macos/frameworks/SystemTest.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacAuthorization;
using platform::MacWorkspace;
using platform::RunningApplication;

using MacWorkspaceTest = SystemTest;
using MacAuthorizationTest = SystemTest;

std::int64_t endedProcess() {
  const pid_t pid = fork();
  if (pid == 0) {
    _exit(0);
  }
  waitpid(pid, nullptr, 0);
  return pid;
}

TEST_F(MacWorkspaceTest, AnApplicationIsLaunchedByItsIdentifierIfItExists) {
  Cocoa::shared().installed["com.kelvora"] = "/Applications/Kelvora.app";
  MacWorkspace workspace;
  EXPECT_TRUE(workspace.launchApplication("com.kelvora"));
  EXPECT_FALSE(workspace.launchApplication("com.other"));
  EXPECT_EQ(takeCalls(), (Calls{"launchApplication(com.kelvora)", "launchApplication(com.other)"}));
}

TEST_F(MacWorkspaceTest, AnOpenReturnsAtOnceAndItsOutcomeComesLater) {
  MacWorkspace workspace;
  std::vector<std::optional<std::string>> outcomes;
  const auto note = [&](std::optional<std::string> failure) { outcomes.push_back(failure); };
  workspace.openApplication("/Applications/Kelvora.app", note);
  workspace.openApplication("/Applications/None.app", note);
  EXPECT_TRUE(outcomes.empty());
  Cocoa::shared().opening[0](std::nullopt);
  Cocoa::shared().opening[1]("It is missing.");
  EXPECT_EQ(outcomes, (std::vector<std::optional<std::string>>{std::nullopt, "It is missing."}));
}

TEST_F(MacWorkspaceTest, AnApplicationWhoseProcessHasEndedIsNotListedEvenWhereAppKitStillDoes) {
  Cocoa::shared().running = {{getpid(), "com.kelvora", "Kelvora"},
                             {endedProcess(), "com.kelvora.menu", "Kelvora Menu"},
                             {1, "com.apple.launchd", "launchd"}};
  const auto running = MacWorkspace().runningApplications();
  ASSERT_EQ(running.size(), 2U);
  EXPECT_EQ(running[0].bundleIdentifier, "com.kelvora");
  EXPECT_EQ(running[0].localizedName, "Kelvora");
  EXPECT_EQ(running[1].pid, 1);
}

TEST_F(MacWorkspaceTest, AnApplicationIsFoundByItsProcessWithoutTheWholeList) {
  const std::int64_t ended = endedProcess();
  Cocoa::shared().running = {{getpid(), "com.kelvora", "Kelvora"}, {ended, "com.other", "Other"}};
  MacWorkspace workspace;
  ASSERT_TRUE(workspace.runningApplication(getpid()));
  EXPECT_EQ(workspace.runningApplication(getpid())->localizedName, "Kelvora");
  EXPECT_FALSE(workspace.runningApplication(ended));
  EXPECT_FALSE(workspace.runningApplication(1));
  EXPECT_EQ(ledger.callCount("runningApplications"), 0);
}

TEST_F(MacWorkspaceTest, AnEndIsAskedOrForcedOfOneThatStillRuns) {
  MacWorkspace workspace;
  const RunningApplication application{getpid(), "com.kelvora", ""};
  EXPECT_TRUE(workspace.terminate(application, false));
  EXPECT_TRUE(workspace.terminate(application, true));
  EXPECT_FALSE(workspace.terminate({endedProcess(), "com.kelvora", ""}, true));
  const std::string pid = std::to_string(getpid());
  EXPECT_EQ(takeCalls(), (Calls{"terminate(com.kelvora, " + pid + ", 0)",
                                "terminate(com.kelvora, " + pid + ", 1)"}));
  ledger.failCall("terminate");
  EXPECT_FALSE(workspace.terminate(application, true));
}

TEST_F(MacAuthorizationTest, OneRightIsAskedForWithInteractionAndExtensionAndReleased) {
  {
    const auto grant = MacAuthorization().request("system.privilege.admin");
    ASSERT_NE(grant, nullptr);
    EXPECT_TRUE(grant->executeWithPrivileges("/usr/sbin/chown", {"root:admin", "/a b"}));
    EXPECT_TRUE(grant->executeWithPrivileges("/bin/chmod", {"6555", "/a b"}));
  }
  EXPECT_EQ(takeCalls(),
            (Calls{"AuthorizationCreate(system.privilege.admin, 3)",
                   "AuthorizationExecuteWithPrivileges(/usr/sbin/chown root:admin /a b, 0)",
                   "AuthorizationExecuteWithPrivileges(/bin/chmod 6555 /a b, 0)",
                   "AuthorizationFree(8)"}));
}

TEST_F(MacAuthorizationTest, ARefusedRightReturnsNoneAndLeavesNothingToRelease) {
  ledger.failCall("AuthorizationCreate");
  EXPECT_EQ(MacAuthorization().request("system.privilege.admin"), nullptr);
  EXPECT_EQ(ledger.callCount("AuthorizationFree"), 0);
  EXPECT_NE(MacAuthorization().request("system.privilege.admin"), nullptr);
}

TEST_F(MacAuthorizationTest, AToolThatCannotBeStartedIsReportedAndTheGrantLivesOn) {
  const auto grant = MacAuthorization().request("system.privilege.admin");
  ledger.failCall("AuthorizationExecuteWithPrivileges");
  EXPECT_FALSE(grant->executeWithPrivileges("/usr/sbin/chown", {}));
  EXPECT_TRUE(grant->executeWithPrivileges("/usr/sbin/chown", {}));
}

}  // namespace
}  // namespace kelvora::testing::mac
