// The environment variable KELVORA_MACHINE in a program that knows nothing of it.
#include <algorithm>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "tests/support/ChildProgram.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kFile[] = KELVORA_MACHINES "/iMac19,1.json";

ProgramResult probe(const char* machine) {
  return runProgram(KELVORA_PLATFORM_PROBE, {}, {{"KELVORA_MACHINE", machine}});
}

void expectMachine(const ProgramResult& result, const std::string& line) {
  EXPECT_EQ(result.standardOutput, line + "\n");
  EXPECT_EQ(result.standardError, "");
}

TEST(EnvironmentMachine, AFileOrANameInAnyCaseMakesThePlatformARecordedMac) {
  for (const char* machine : {kFile, "iMac19,1", "imac19,1", "IMAC19,1"}) {
    expectMachine(probe(machine), "iMac 27-inch 2019 (recorded)");
  }
}

TEST(EnvironmentMachine, UnsetOrEmptyThePlatformIsThisComputer) {
  unsetenv("KELVORA_MACHINE");
  expectMachine(runProgram(KELVORA_PLATFORM_PROBE, {}), "This computer (live)");
  expectMachine(probe(""), "This computer (live)");
}

// One line on standard error, and a machine that says the same.
void expectRefused(const char* machine, const std::string& fault) {
  const ProgramResult result = probe(machine);
  EXPECT_THAT(result.standardError, StartsWith("KELVORA_MACHINE: " + std::string(machine) + ": "));
  EXPECT_THAT(result.standardError, HasSubstr(fault));
  EXPECT_EQ(std::ranges::count(result.standardError, '\n'), 1);
  const std::string line = result.standardError.substr(0, result.standardError.find('\n'));
  EXPECT_EQ(result.standardOutput, line + " (recorded)\n");
}

TEST(EnvironmentMachine, ABadValueIsOneErrorLineAndNeverThisComputer) {
  expectRefused("iMac99,9", "neither a file nor a recorded Mac");
  expectRefused("/", "cannot be read: Is a directory");
  const TemporaryFolder folder;
  const std::string notJSON = folder.write("mac.json", "{\n oops");
  expectRefused(notJSON.c_str(), "line 2, column 2: is not JSON");
  const std::string wrong = folder.write(
      "other.json", R"({"format": "kelvora-machine", "version": 1, "architecture": "mips"})");
  expectRefused(wrong.c_str(), "/architecture: 'mips' is neither");
}

TEST(EnvironmentMachine, AProgramWithoutMachinesSaysWhereItLookedForThem) {
  const TemporaryFolder folder;
  const std::string copy = folder.path("bin/host");
  std::filesystem::create_directories(folder.path("bin"));
  std::filesystem::copy_file(KELVORA_PLATFORM_PROBE, copy);
  const ProgramResult result = runProgram(copy, {}, {{"KELVORA_MACHINE", "iMac19,1"}});
  EXPECT_EQ(
      result.standardError,
      "KELVORA_MACHINE: iMac19,1: neither a file nor a recorded Mac (no folder 'machines' in " +
          folder.path("bin/Resources") + ", " + folder.path("share/host") + ", " +
          folder.path("share/KelvoraCore") + ")\n");
  folder.write("share/KelvoraCore/machines/Mine.json",
               R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64",
                   "title": "A Mac of mine"})");
  expectMachine(runProgram(copy, {}, {{"KELVORA_MACHINE", "mine"}}), "A Mac of mine (recorded)");
}

TEST(EnvironmentMachine, APlatformThatWasInstalledGoesBeforeTheVariable) {
  setenv("KELVORA_MACHINE", "iMac19,1", 1);
  EXPECT_EQ(installRecordedPlatform("Macmini8,1").title(), recordedMachine("Macmini8,1").title);
}

// A copy of the probe that another user starts, with root's rights or without.
ProgramResult probeOfAnotherUser(const TemporaryFolder& folder, mode_t mode,
                                 const std::string& machine = "mac.json") {
  const std::string copy = folder.path("probe");
  std::filesystem::copy_file(KELVORA_PLATFORM_PROBE, copy,
                             std::filesystem::copy_options::overwrite_existing);
  chmod(folder.path().c_str(), 0755);
  chmod(copy.c_str(), mode);
  std::filesystem::copy_file(kFile, folder.path("mac.json"),
                             std::filesystem::copy_options::overwrite_existing);
  chmod(folder.path("mac.json").c_str(), 0644);
  return runProgram("/usr/bin/setpriv", {"--reuid=65534", "--regid=65534", "--clear-groups", copy},
                    {{"KELVORA_MACHINE", machine.empty() ? "" : folder.path(machine)}});
}

TEST(EnvironmentMachine, AProgramWithRaisedRightsIgnoresTheVariable) {
  const TemporaryFolder folder;
  struct statvfs fileSystem = {};
  statvfs(folder.path().c_str(), &fileSystem);
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can make a program that raises its user's rights";
  }
  if ((fileSystem.f_flag & ST_NOSUID) != 0) {
    GTEST_SKIP() << folder.path() << " is on a file system that raises no rights";
  }
  expectMachine(probeOfAnotherUser(folder, 0755), "iMac 27-inch 2019 (recorded)");
  expectMachine(probeOfAnotherUser(folder, 04755), "This computer (live)");
}

TEST(ChosenMachine, AProgramWithRaisedRightsIgnoresTheChoice) {
  const TemporaryFolder folder;
  struct statvfs fileSystem = {};
  statvfs(folder.path().c_str(), &fileSystem);
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can make a program that raises its user's rights";
  }
  if ((fileSystem.f_flag & ST_NOSUID) != 0) {
    GTEST_SKIP() << folder.path() << " is on a file system that raises no rights";
  }
  unsetenv("KELVORA_MACHINE");
  setenv("XDG_DATA_HOME", folder.path("data").c_str(), 1);
  Platform::choose(kFile);
  for (const char* path : {"data", "data/Kelvora", "data/Kelvora/Machine.json"}) {
    ASSERT_EQ(chown(folder.path(path).c_str(), 65534, 65534), 0);
  }
  expectMachine(probeOfAnotherUser(folder, 0755, ""), "iMac 27-inch 2019 (recorded)");
  expectMachine(probeOfAnotherUser(folder, 04755, ""), "This computer (live)");
}

TEST(ChosenMachine, IsTheProcesssPlatformAfterTheVariable) {
  const TemporaryFolder folder;
  unsetenv("KELVORA_MACHINE");
  setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
  expectMachine(runProgram(KELVORA_PLATFORM_PROBE, {}), "This computer (live)");
  Platform::choose("Macmini8,1");
  expectMachine(runProgram(KELVORA_PLATFORM_PROBE, {}), "Mac mini 2018 (recorded)");
  expectMachine(probe("iMac19,1"), "iMac 27-inch 2019 (recorded)");
  folder.write("Kelvora/Machine.json", "oops");
  const ProgramResult result = runProgram(KELVORA_PLATFORM_PROBE, {});
  const std::string fault = folder.path("Kelvora/Machine.json") + ": line 1, column 1: is not JSON";
  EXPECT_EQ(result.standardError, fault + "\n");
  EXPECT_EQ(result.standardOutput, fault + " (recorded)\n") << "never this computer";
  Platform::chooseNone();
  expectMachine(runProgram(KELVORA_PLATFORM_PROBE, {}), "This computer (live)");
}

}  // namespace
}  // namespace kelvora::testing
