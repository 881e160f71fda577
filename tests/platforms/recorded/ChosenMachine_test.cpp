#include "platforms/recorded/ChosenMachine.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "tests/platforms/recorded/ChosenMachineTest.h"
#include "tests/support/ChildWork.h"
#include "tests/support/FileCalls.h"
#include "tests/support/MountedDriver.h"
#include "tests/support/RawSMC.h"

namespace kelvora::testing {
namespace {

using platform::ChosenMachine;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

platform::IOObject serviceOf(const std::string& file) {
  ChosenMachine smc(file);
  platform::IOObject iterator = 0;
  smc.matchingServices("AppleSMC", iterator);
  return smc.nextService(iterator);
}

TEST_F(ChosenMachineTest, WithoutAChoiceThereIsNoService) { EXPECT_EQ(serviceOf(file()), 0U); }

TEST_F(ChosenMachineTest, AMacWithoutAnSMCHasNoService) {
  choose("Macmini9,1");
  EXPECT_EQ(serviceOf(file()), 0U);
}

TEST_F(ChosenMachineTest, AWriteOfOneProgramIsReadByTheOthersAtOnce) {
  choose("MacBookPro15,1");
  ChosenMachine reader(file());
  RawSMC reading(reader);
  EXPECT_NE(read(reading, kActual), k3000);
  ChildWork writer([&] {
    ChosenMachine smc(file());
    RawSMC connection(smc);
    return write(connection, kMode, kManual) + write(connection, kTarget, k3000) == 0 ? 0 : 1;
  });
  ASSERT_EQ(writer.wait(), 0);
  EXPECT_EQ(read(reading, kTarget), k3000);
  EXPECT_EQ(read(reading, kActual), k3000);
  EXPECT_EQ(write(reading, kTarget, k4000), 0U);
  EXPECT_EQ(read(reading, kActual), k4000);
  ChosenMachine later(file());
  RawSMC laterConnection(later);
  EXPECT_EQ(read(laterConnection, kActual), k4000);
  EXPECT_THAT(Platform::choice()->writes,
              ElementsAre(RecordedWrite{"F0Md", "01"}, RecordedWrite{"F0Tg", "00803b45"},
                          RecordedWrite{"F0Tg", "00007a45"}));
}

// Of a Mac with two keys: each write stores the whole Mac, and no program waits long for another.
TEST_F(ChosenMachineTest, WritesOfManyProgramsAreAllTaken) {
  Platform::choose(home_.write("mac.json", R"({"format": "kelvora-machine", "version": 1,
    "architecture": "x86_64", "sysctl": {"hw.model": "MacBookPro15,1"}, "smc": {"keys": [
      {"key": "F0Md", "type": "ui8 ", "bytes": "00"},
      {"key": "F0Tg", "type": "flt ", "bytes": "0000fa44"}]}})"));
  std::vector<ChildWork> writers;
  writers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([this] {
      ChosenMachine smc(file());
      RawSMC connection(smc);
      int failures = 0;
      for (int k = 0; k < 25; ++k) {
        failures += write(connection, kTarget, k3000) == 0 ? 0 : 1;
      }
      return failures;
    });
  }
  for (ChildWork& writer : writers) {
    EXPECT_EQ(writer.wait(), 0);
  }
  EXPECT_THAT(Platform::choice()->writes, SizeIs(100));
}

TEST_F(ChosenMachineTest, AReadThatFindsNoChangeMakesOneFileCall) {
  choose("MacBookPro15,1");
  std::unique_ptr<ChosenMachine> smc;
  std::unique_ptr<RawSMC> connection;
  const auto open = [&] {
    smc = std::make_unique<ChosenMachine>(file());
    connection = std::make_unique<RawSMC>(*smc);
    read(*connection, kActual);
  };
  EXPECT_EQ(fileCallsOf(open, [&] { read(*connection, kActual); }), 1);
  EXPECT_EQ(fileCallsOf(open,
                        [&] {
                          for (int i = 0; i < 100; ++i) {
                            connection->call(9, kActual);
                          }
                        }),
            100);
}

TEST_F(ChosenMachineTest, AProgramNeverReadsAnotherMachineThanItStartedWith) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  RawSMC connection(smc);
  choose("Macmini8,1");
  EXPECT_THAT(logOf([&] { EXPECT_EQ(statusOfRead(connection), platform::kKernelNoDevice); }),
              HasSubstr("another machine was chosen"));
  Platform::chooseNone();
  EXPECT_THAT(logOf([&] { EXPECT_EQ(statusOfRead(connection), platform::kKernelNoDevice); }),
              HasSubstr("no longer exists"));
  EXPECT_EQ(connection.call(6, kMode, 1, 0, kManual).status, platform::kKernelNoDevice);
  EXPECT_FALSE(std::filesystem::exists(file())) << "a write does not bring it back";
  choose("MacBookPro15,1");
  EXPECT_EQ(statusOfRead(connection), 0U);
}

TEST_F(ChosenMachineTest, ChoosingAgainStartsWithWhatWasRecorded) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  RawSMC connection(smc);
  const auto recorded = read(connection, kActual);
  write(connection, kMode, kManual);
  write(connection, kTarget, k3000);
  choose("MacBookPro15,1");
  EXPECT_EQ(read(connection, kActual), recorded);
  EXPECT_TRUE(Platform::choice()->writes.empty());
}

TEST_F(ChosenMachineTest, AWriteThatTheSMCDoesNotTakeLeavesTheFile) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  RawSMC connection(smc);
  const std::string before = content();
  EXPECT_EQ(connection.call(6, SMCPackedKey("Nope"), 1, 0, kManual).result, SMCResultKeyNotFound);
  EXPECT_EQ(connection.call(6, kMode, 2, 0, k3000).result, SMCResultWrongSize);
  EXPECT_EQ(content(), before);
}

TEST_F(ChosenMachineTest, KeysOfAnyBytesAreWritten) {
  home_.write("mac.json", R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64",
                              "smc": {"keys": [{"key": "T\u00ff\u0080x", "type": "ui8 ",
                                                "bytes": "00"}]}})");
  Platform::choose(home_.path("mac.json"));
  const std::uint32_t key = SMCPackedKey("T\xff\x80x");
  ChosenMachine smc(file());
  RawSMC connection(smc);
  EXPECT_EQ(write(connection, key, kManual), 0U);
  ChosenMachine other(file());
  RawSMC reading(other);
  EXPECT_EQ(reading.call(5, key, 1).payload[0], std::byte{1});
  EXPECT_THAT(Platform::choice()->writes, ElementsAre(RecordedWrite{"T\u00ff\u0080x", "01"}));
}

TEST_F(ChosenMachineTest, OfOldWritesTheLastOfEachKeyIsKept) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  RawSMC connection(smc);
  write(connection, SMCPackedKey("F1Md"), kManual);
  // As many as are listed, without a thousand writes to the disk.
  nlohmann::json choice = nlohmann::json::parse(content());
  for (std::size_t i = 1; i < ChosenMachine::kMostWrites; ++i) {
    choice["writes"].push_back({{"key", "F0Tg"}, {"bytes", "00803b45"}});
  }
  replace(choice.dump());
  EXPECT_EQ(write(connection, kTarget, k4000), 0U);
  const auto writes = Platform::choice()->writes;
  ASSERT_THAT(writes, SizeIs(ChosenMachine::kMostWrites));
  EXPECT_EQ(writes.front().key, "F1Md");
  EXPECT_EQ(writes.back().bytes, "00007a45");
}

TEST_F(ChosenMachineTest, ItsPlatformIsRecordedAndStartsTheProductsOwnProgramsOnly) {
  choose("Macmini8,1");
  home_.write("Kelvora/Kelvora SMC", "#!/bin/sh\nexit 7\n");
  chmod(home_.path("Kelvora/Kelvora SMC").c_str(), 0700);
  const auto platform = Platform::chosen();
  EXPECT_FALSE(platform->isLive());
  EXPECT_EQ(platform->title(), "Mac mini 2018");
  EXPECT_TRUE(platform->hasSensorHardware());
  EXPECT_EQ(platform->authorization().request("system.privilege.admin"), nullptr);
  platform::ChildProcesses& children = platform->childProcesses();
  platform::ChildRequest request;
  request.path = home_.path("Kelvora/Kelvora SMC");
  EXPECT_EQ(children.launch(request).child, nullptr) << "was not recorded";
  request.isOwnProgram = true;
  const auto tool = children.launch(request).child;
  ASSERT_NE(tool, nullptr);
  EXPECT_EQ(tool->waitUntilExit(), 7);
  const auto named = Platform::recordedFromFile(machineFile("Macmini8,1"));
  EXPECT_EQ(named->childProcesses().launch(request).child, nullptr)
      << "its writes stay in this process";
}

TEST_F(ChosenMachineTest, AProgramReadsThisComputerWithoutAChoice) {
  EXPECT_TRUE(Platform::current().isLive());
}

TEST_F(ChosenMachineTest, AProgramReadsTheChosenMac) {
  choose("Macmini8,1");
  EXPECT_FALSE(Platform::current().isLive());
  EXPECT_EQ(Platform::current().title(), "Mac mini 2018");
}

TEST_F(ChosenMachineTest, AProgramReadsNothingWhenTheChoiceIsDamaged) {
  choose("Macmini8,1");
  replace("{");
  EXPECT_THAT(logOf([] { Platform::current(); }), HasSubstr(file() + ": "));
  EXPECT_THAT(Platform::current().title(), HasSubstr(file() + ": "));
  EXPECT_FALSE(Platform::current().isLive());
  EXPECT_FALSE(Platform::current().hasSensorHardware());
}

TEST_F(ChosenMachineTest, AMacReadsItsOwnSensorsWhateverIsChosen) {
  if (geteuid() != 0 || !haveOwnMounts()) {
    GTEST_SKIP() << "mounts of its own need root";
  }
  constexpr char kParent[] = "/sys/devices/platform";
  const std::string driverFolder = std::string(kParent) + "/applesmc.768";
  ASSERT_EQ(mount("none", kParent, "tmpfs", 0, nullptr), 0);
  std::filesystem::create_directory(driverFolder);
  MountedDriver driver("MacBookPro15,1", driverFolder);
  if (!driver.isMounted()) {
    GTEST_SKIP() << "no file system of a program can be mounted here: " << driver.failure();
  }
  choose("Macmini8,1");
  EXPECT_TRUE(Platform::current().isLive());
  platform::ChildRequest tool;
  tool.path = "/bin/true";
  tool.isOwnProgram = true;
  EXPECT_EQ(Platform::chosen()->childProcesses().launch(tool).child, nullptr)
      << "it would write the fans of this computer";
}

TEST_F(ChosenMachineTest, WhereNoFolderCanBeMadeNothingIsChosen) {
  setenv("XDG_DATA_HOME", "", 1);
  setenv("HOME", home_.path("file/home").c_str(), 1);
  home_.write("file", "in place of a folder");
  EXPECT_EQ(Platform::chosen(), nullptr);
  EXPECT_EQ(Platform::choice(), std::nullopt);
  EXPECT_THROW(choose("iMac19,1"), MachineFileError);
  EXPECT_NO_THROW(Platform::chooseNone());
}

}  // namespace
}  // namespace kelvora::testing
