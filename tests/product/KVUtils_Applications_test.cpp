#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KelvoraCore/KVBundleIdentifiers.h"
#include "KelvoraCore/KVUtils.h"

#include "platforms/linux/processes/LinuxWorkspace.h"
#include "platforms/linux/system/LinuxMainBundle.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;

// Applications are everybody's: each test has one of its own.
const std::string kMenu = std::string(kMenuAppBundleIdentifier) + "." + std::to_string(getpid());

std::string informationOf(const std::string& identifier, const std::string& version,
                          const std::string& executable) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
         "<key>CFBundleIdentifier</key><string>" +
         identifier +
         "</string>"
         "<key>CFBundleVersion</key><string>" +
         version +
         "</string>"
         "<key>CFBundleExecutable</key><string>" +
         executable + "</string></dict></plist>";
}

class Applications : public ::testing::Test {
 protected:
  Applications() {
    mac_.platform->ports().workspace =
        std::make_unique<platform::LinuxWorkspace>(std::vector{folder_.path("apps")});
    mac_.bundle.behind = std::make_unique<platform::LinuxMainBundle>();
  }
  ~Applications() override {
    KVUtils::terminateApp(kMenu, true, nullptr,
                          mac_.platform ? *mac_.platform : Platform::current());
  }

  // An application of the companion program.
  std::string install(const std::string& name, const std::string& identifier) {
    const std::string app = "apps/" + name + ".app";
    folder_.write(app + "/Info.plist", informationOf(identifier, "412", "program"));
    fs::copy_file(KELVORA_TEST_COMPANION, folder_.path(app + "/program"));
    return folder_.path(app);
  }

  // Opens and waits for the answer, which must come on the main thread.
  bool open(const std::string& path, bool forceRelaunch = false) {
    int answers = 0;
    bool opened = false;
    KVUtils::openApp(
        kMenu, path, forceRelaunch,
        [&](bool success, const std::optional<std::string>& error) {
          ++answers;
          opened = success;
          error_ = error;
          EXPECT_TRUE(mac_.platform->mainQueue().isMainThread());
        },
        *mac_.platform);
    EXPECT_TRUE(testing::runUntil(mac_.platform->mainQueue(), [&] { return answers > 0; }));
    EXPECT_EQ(answers, 1);
    return opened;
  }

  bool isRunning(const std::string& identifier = kMenu) {
    return KVUtils::isAppRunning(identifier, *mac_.platform);
  }

  std::vector<platform::RunningApplication> running() {
    auto applications = mac_.platform->workspace().runningApplications();
    std::erase_if(applications, [](const auto& each) { return each.bundleIdentifier != kMenu; });
    return applications;
  }

  std::string reportOf(const std::string& app) {
    const std::string path = app + "/report";
    EXPECT_TRUE(testing::runUntil(mac_.platform->mainQueue(), [&] { return fs::exists(path); }));
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  testing::TemporaryFolder folder_;
  testing::TestMac mac_;
  std::optional<std::string> error_;
};

TEST_F(Applications, OpeningStartsItAndTerminatingEndsIt) {
  const std::string app = install("Kelvora Menu", kMenu);
  EXPECT_FALSE(isRunning());
  EXPECT_TRUE(open(app));
  EXPECT_FALSE(error_);
  EXPECT_TRUE(isRunning());
  bool ended = false;
  KVUtils::terminateApp(
      kMenu, false, [&] { ended = true; }, *mac_.platform);
  EXPECT_TRUE(ended);
  EXPECT_FALSE(isRunning());
}

TEST_F(Applications, ACompanionLivesOnItsOwn) {
  const int leak = ::open("/dev/null", O_RDONLY);  // not closed on exec
  const std::string app = install("Kelvora Menu", kMenu);
  EXPECT_TRUE(open(app));
  const std::string report = reportOf(app);
  EXPECT_NE(report.find("folder /\n"), std::string::npos) << report;
  for (const char* line :
       {"descriptor 0 /dev/null\n", "descriptor 1 /dev/null\n", "descriptor 2 /dev/null\n"}) {
    EXPECT_NE(report.find(line), std::string::npos) << report;
  }
  EXPECT_EQ(report.find("descriptor 3"), std::string::npos) << report;
  EXPECT_EQ(report.find("descriptor " + std::to_string(leak)), std::string::npos) << report;
  EXPECT_EQ(report.find("session " + std::to_string(getsid(0)) + "\n"), std::string::npos);
  // No child is left to wait for, running or dead.
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  close(leak);
}

TEST_F(Applications, NoDescriptorIsLostByOpening) {
  const auto descriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const std::string app = install("Kelvora Menu", kMenu);
  EXPECT_TRUE(open(app));
  const auto before = descriptors();
  for (int round = 0; round < 5; ++round) {
    EXPECT_TRUE(open(app, true));
  }
  EXPECT_EQ(descriptors(), before);
}

TEST_F(Applications, OneThatRunsAlreadyIsNotOpenedAndKeepsRunning) {
  const std::string app = install("Kelvora Menu", kMenu);
  ASSERT_TRUE(open(app));
  const auto before = running();
  int answers = 0;
  KVUtils::openApp(
      kMenu, app,
      [&](bool opened, const std::optional<std::string>& error) {
        ++answers;
        EXPECT_FALSE(opened);
        EXPECT_FALSE(error);
      },
      *mac_.platform);
  EXPECT_EQ(answers, 1);  // at once, on this thread
  const auto after = running();
  ASSERT_EQ(before.size(), 1U);
  ASSERT_EQ(after.size(), 1U);
  EXPECT_EQ(after[0].pid, before[0].pid);
}

TEST_F(Applications, AMissingOneIsNotOpenedAndCompletesAtOnce) {
  int answers = 0;
  KVUtils::openApp(
      kMenu, folder_.path("none.app"),
      [&](bool opened, const std::optional<std::string>& error) {
        ++answers;
        EXPECT_FALSE(opened);
        EXPECT_FALSE(error);
      },
      *mac_.platform);
  EXPECT_EQ(answers, 1);
  KVUtils::openApp(kMenu, folder_.path("none.app"), nullptr, *mac_.platform);
}

TEST_F(Applications, OneThatCannotBeStartedFailsWithTheSystemsWords) {
  folder_.write("apps/broken.app/Info.plist", informationOf(kMenu, "1", "absent"));
  EXPECT_FALSE(open(folder_.path("apps/broken.app")));
  EXPECT_EQ(error_, "No such file or directory");
  folder_.write("apps/plain.app/readme", "no application");
  EXPECT_FALSE(open(folder_.path("apps/plain.app")));
  EXPECT_EQ(error_, "no application at " + folder_.path("apps/plain.app"));
  folder_.write("apps/escape.app/Info.plist", informationOf(kMenu, "1", "../../bin/true"));
  EXPECT_FALSE(open(folder_.path("apps/escape.app")));
}

TEST_F(Applications, AForcedRelaunchEndsEveryInstanceFirst) {
  const std::string app = install("Kelvora Menu", kMenu);
  const std::string copy = install("Kelvora Menu Copy", kMenu);
  std::ofstream(app + "/stubborn");
  ASSERT_TRUE(open(app));
  reportOf(app);
  mac_.platform->workspace().openApplication(copy, nullptr);
  ASSERT_TRUE(testing::runUntil(mac_.platform->mainQueue(), [&] { return running().size() == 2; }));
  const auto before = running();
  ASSERT_TRUE(open(app, true));
  const auto after = running();
  ASSERT_EQ(after.size(), 1U);
  EXPECT_NE(after[0].pid, before[0].pid);
  EXPECT_NE(after[0].pid, before[1].pid);
  EXPECT_EQ(after[0].bundleIdentifier, kMenu);
  EXPECT_EQ(after[0].localizedName, "Kelvora Menu");
}

TEST_F(Applications, APoliteRequestLeavesTheChoiceAndForceDoesNot) {
  const std::string app = install("Kelvora Menu", kMenu);
  std::ofstream(app + "/stubborn");
  ASSERT_TRUE(open(app));
  reportOf(app);
  KVUtils::terminateApp(kMenu, false, *mac_.platform);
  EXPECT_TRUE(isRunning());
  KVUtils::terminateApp(kMenu, true, nullptr, *mac_.platform);
  EXPECT_FALSE(isRunning());
}

TEST_F(Applications, OneThatIsReplacedOnDiskStillRuns) {
  const std::string app = install("Kelvora Menu", kMenu);
  ASSERT_TRUE(open(app));
  fs::remove(app + "/program");
  EXPECT_TRUE(isRunning());
  fs::copy_file(KELVORA_TEST_COMPANION, app + "/program");
  EXPECT_TRUE(isRunning());
}

TEST_F(Applications, APidThatIsAnothersByNowIsNotSignalled) {
  EXPECT_FALSE(mac_.platform->workspace().terminate({getpid(), kMenu, ""}, true));
}

TEST_F(Applications, OnlyTheNamedApplicationIsMeant) {
  const std::string app = install("Kelvora Menu", kMenu);
  ASSERT_TRUE(open(app));
  EXPECT_FALSE(isRunning("com.kelvora.KelvoraHelper"));
  KVUtils::terminateApp("com.kelvora.KelvoraHelper", true, nullptr, *mac_.platform);
  EXPECT_TRUE(isRunning());
}

TEST_F(Applications, WithoutAnIdentifierTheyAreNotInstancesOfOneAnother) {
  ASSERT_TRUE(open(install("Plain", "")));
  const auto plain = [this] {
    auto applications = mac_.platform->workspace().runningApplications();
    std::erase_if(applications, [this](const auto& each) { return each.localizedName != "Plain"; });
    return applications;
  };
  ASSERT_EQ(plain().size(), 1U);
  EXPECT_FALSE(isRunning(""));
  KVUtils::terminateApp("", true, nullptr, *mac_.platform);
  KVUtils::terminateApp("", true, *mac_.platform);
  ASSERT_EQ(plain().size(), 1U);
  EXPECT_TRUE(mac_.platform->workspace().terminate(plain()[0], true));
}

TEST_F(Applications, TheMainApplicationIsLaunchedByItsIdentifier) {
  install("Kelvora", kMainAppBundleIdentifier);
  KVUtils::loadMainApp(*mac_.platform);
  EXPECT_TRUE(testing::runUntil(mac_.platform->mainQueue(),
                                [&] { return isRunning(kMainAppBundleIdentifier); }));
  KVUtils::terminateApp(kMainAppBundleIdentifier, true, nullptr, *mac_.platform);
  EXPECT_FALSE(mac_.platform->workspace().launchApplication("com.kelvora.unknown"));
}

TEST_F(Applications, AnApplicationOfTheMacsLayoutRunsToo) {
  folder_.write("apps/Kelvora Menu.app/Contents/Info.plist", informationOf(kMenu, "7", "Menu"));
  fs::create_directories(folder_.path("apps/Kelvora Menu.app/Contents/MacOS"));
  fs::copy_file(KELVORA_TEST_COMPANION, folder_.path("apps/Kelvora Menu.app/Contents/MacOS/Menu"));
  EXPECT_TRUE(open(folder_.path("apps/Kelvora Menu.app")));
  EXPECT_TRUE(isRunning());
  EXPECT_EQ(KVUtils::appBuildNumberAtPath(folder_.path("apps/Kelvora Menu.app"), *mac_.platform),
            7);
}

TEST_F(Applications, BuildNumbersComeFromTheInformationDictionary) {
  const auto numberAt = [&](const std::string& entry) {
    return KVUtils::appBuildNumberAtPath(folder_.path(entry), *mac_.platform);
  };
  install("Kelvora Menu", kMenu);
  EXPECT_EQ(numberAt("apps/Kelvora Menu.app"), 412);
  EXPECT_EQ(numberAt("apps/Kelvora Menu.app/"), 412);
  EXPECT_EQ(numberAt("apps/none.app"), 0);
  folder_.write("apps/bare.app/Info.plist", "<plist><dict/></plist>");
  EXPECT_EQ(numberAt("apps/bare.app"), 0);
  folder_.write("apps/text.app/Info.plist", informationOf(kMenu, "5 beta", "x"));
  EXPECT_EQ(numberAt("apps/text.app"), 5);
  folder_.write("apps/number.app/Info.plist",
                "<plist><dict><key>CFBundleVersion</key><integer>7</integer></dict></plist>");
  EXPECT_EQ(numberAt("apps/number.app"), 7);
  folder_.write("apps/bad.app/Info.plist", "not a property list");
  EXPECT_EQ(numberAt("apps/bad.app"), 0);
  EXPECT_EQ(KVUtils::appBuildNumberAtPath("", *mac_.platform), 0);
}

TEST_F(Applications, TheRunningProgramsOwnBuildNumberIsItsBundles) {
  EXPECT_EQ(KVUtils::appBuildNumber(*mac_.platform), 0);  // a test program is no application
  const std::string app = install("Kelvora Menu", kMenu);
  mac_.bundle.behind = std::make_unique<platform::LinuxMainBundle>(app + "/program");
  EXPECT_EQ(KVUtils::appBuildNumber(*mac_.platform), 412);
  EXPECT_EQ(KVUtils::appBuildNumberAtPath("", *mac_.platform), 0);
  Platform::install(std::move(mac_.platform));
  EXPECT_EQ(KVUtils::appBuildNumber(), 412);
  EXPECT_EQ(KVUtils::appBuildNumberAtPath(app), 412);
  mac_.platform = nullptr;
}

}  // namespace
}  // namespace kelvora
