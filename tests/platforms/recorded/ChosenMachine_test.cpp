#include "platforms/recorded/ChosenMachine.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "platforms/posix/FileLock.h"
#include "ports/Ports.h"
#include "tests/support/AnsweredCalls.h"
#include "tests/support/ChildWork.h"
#include "tests/support/FileCalls.h"
#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/MountedDriver.h"
#include "tests/support/SMCConnection.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::ChosenMachine;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr std::uint32_t kMode = SMCPackedKey("F0Md");
constexpr std::uint32_t kTarget = SMCPackedKey("F0Tg");
constexpr std::uint32_t kActual = SMCPackedKey("F0Ac");
const std::vector<std::byte> kManual = {std::byte{1}};
// 3000 and 4000 revolutions per minute.
const std::vector<std::byte> k3000 = {std::byte{0}, std::byte{0x80}, std::byte{0x3b},
                                      std::byte{0x45}};
const std::vector<std::byte> k4000 = {std::byte{0}, std::byte{0}, std::byte{0x7a}, std::byte{0x45}};

std::string machineFile(const std::string& name) {
  return std::string(KELVORA_MACHINES) + "/" + name + ".json";
}

// An account of a test's own.
class ChosenMachineTest : public ::testing::Test {
 protected:
  ChosenMachineTest() {
    setenv("XDG_DATA_HOME", home_.path().c_str(), 1);
    unsetenv("KELVORA_MACHINE");
  }

  static void choose(const std::string& name) { Platform::choose(machineFile(name)); }
  std::string file() const { return home_.path("Kelvora/Machine.json"); }
  std::string content() const { return home_.read("Kelvora/Machine.json"); }
  void replace(const std::string& text) const {
    home_.write("Kelvora/Other.json", text);
    chmod(home_.path("Kelvora/Other.json").c_str(), 0600);
    std::filesystem::rename(home_.path("Kelvora/Other.json"), file());
  }

  TemporaryFolder home_;
};

std::vector<std::byte> read(SMCConnection& connection, std::uint32_t key) {
  const auto reply = connection.call(5, key, 4);
  EXPECT_EQ(reply.status, 0U);
  return {reply.payload.begin(), reply.payload.begin() + 4};
}

platform::KernelStatus write(SMCConnection& connection, std::uint32_t key,
                             const std::vector<std::byte>& bytes) {
  const auto reply = connection.call(6, key, static_cast<std::uint32_t>(bytes.size()), 0, bytes);
  EXPECT_EQ(reply.result, 0);
  return reply.status;
}

// What the file cannot be used for; empty if it can.
std::string faultOf(const std::function<void()>& use) {
  try {
    use();
    return "";
  } catch (const MachineFileError& error) {
    return error.fault();
  }
}

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
  SMCConnection reading(reader);
  EXPECT_NE(read(reading, kActual), k3000);
  ChildWork writer([&] {
    ChosenMachine smc(file());
    SMCConnection connection(smc);
    return write(connection, kMode, kManual) + write(connection, kTarget, k3000) == 0 ? 0 : 1;
  });
  ASSERT_EQ(writer.wait(), 0);
  EXPECT_EQ(read(reading, kTarget), k3000);
  EXPECT_EQ(read(reading, kActual), k3000);
  EXPECT_EQ(write(reading, kTarget, k4000), 0U);
  EXPECT_EQ(read(reading, kActual), k4000);
  ChosenMachine later(file());
  SMCConnection laterConnection(later);
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
      SMCConnection connection(smc);
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
  std::unique_ptr<SMCConnection> connection;
  const auto open = [&] {
    smc = std::make_unique<ChosenMachine>(file());
    connection = std::make_unique<SMCConnection>(*smc);
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

platform::KernelStatus statusOfRead(SMCConnection& connection) {
  return connection.call(5, kActual, 4).status;
}

// What is logged goes to standard error.
std::string logOf(const std::function<void()>& work) {
  ::testing::internal::CaptureStderr();
  work();
  return ::testing::internal::GetCapturedStderr();
}

TEST_F(ChosenMachineTest, ADamagedFileFailsCallsOnceLoggedUntilItIsWhole) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  SMCConnection connection(smc);
  write(connection, kMode, kManual);
  write(connection, kTarget, k3000);
  const std::string whole = content();
  for (const std::string& damaged :
       {std::string("{"), std::string(), whole.substr(0, whole.size() / 2)}) {
    replace(damaged);
    const std::string log = logOf([&] {
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(statusOfRead(connection), platform::kKernelNoDevice);
        EXPECT_EQ(connection.call(6, kTarget, 4, 0, k4000).status, platform::kKernelNoDevice);
      }
    });
    EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
    EXPECT_THAT(log, HasSubstr(file() + ": "));
    EXPECT_EQ(content(), damaged) << "left as it is";
    EXPECT_THROW(ChosenMachine{file()}, MachineFileError);
    EXPECT_THROW(Platform::chosen(), MachineFileError);
  }
  replace(whole);
  EXPECT_EQ(read(connection, kActual), k3000);
}

TEST_F(ChosenMachineTest, WritesThatTheMachineCannotHaveTakenAreDamage) {
  choose("MacBookPro15,1");
  const std::string whole = content();
  const std::string none = R"("writes":[])";
  const auto place = whole.find(none);
  ASSERT_NE(place, std::string::npos);
  for (const auto& [writes, fault] :
       {std::pair<std::string, std::string>{R"([{"key":"Nope","bytes":"01"}])",
                                            "/writes/0: is not for a key of this machine"},
        {R"([{"key":"F0Md","bytes":"01"},{"key":"F0Md","bytes":"0001"}])",
         "/writes/1: is not for a key of this machine"},
        {R"([{"key":"F0Md","bytes":"x"}])", "/writes/0/bytes: 'x' is not hexadecimal"},
        {"7", "/writes: must be an array"}}) {
    std::string damaged = whole;
    damaged.replace(place, none.size(), R"("writes":)" + writes);
    replace(damaged);
    try {
      Platform::chosen();
      ADD_FAILURE() << writes;
    } catch (const MachineFileError& error) {
      EXPECT_EQ(error.what(), file() + ": " + fault);
    }
  }
}

TEST_F(ChosenMachineTest, AProgramNeverReadsAnotherMachineThanItStartedWith) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  SMCConnection connection(smc);
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
  SMCConnection connection(smc);
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
  SMCConnection connection(smc);
  const std::string before = content();
  EXPECT_EQ(connection.call(6, SMCPackedKey("Nope"), 1, 0, kManual).result, SMCResultKeyNotFound);
  EXPECT_EQ(connection.call(6, kMode, 2, 0, k3000).result, SMCResultWrongSize);
  EXPECT_EQ(content(), before);
}

TEST_F(ChosenMachineTest, AWriteThatCannotBeStoredFailsAndIsNotTaken) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  SMCConnection connection(smc);
  write(connection, kMode, kManual);
  write(connection, kTarget, k3000);
  const std::string before = content();
  std::filesystem::create_directories(home_.path("Kelvora/Machine.json.new/x"));
  EXPECT_THAT(logOf([&] {
                EXPECT_EQ(connection.call(6, kTarget, 4, 0, k4000).status, platform::kKernelError);
              }),
              HasSubstr(file() + ": cannot be written: "));
  EXPECT_EQ(read(connection, kActual), k3000);
  EXPECT_EQ(content(), before);
  std::filesystem::remove_all(home_.path("Kelvora/Machine.json.new"));
  EXPECT_EQ(write(connection, kTarget, k4000), 0U);
  EXPECT_EQ(read(connection, kActual), k4000);
}

TEST_F(ChosenMachineTest, AWriteFailsWhileAnotherProgramKeepsTheLockAndNoneStillWorks) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  SMCConnection connection(smc);
  const auto held =
      platform::lockFile(file() + platform::kLockEnding, std::chrono::milliseconds(0));
  ASSERT_TRUE(held.isOpen());
  EXPECT_THAT(logOf([&] {
                EXPECT_EQ(connection.call(6, kMode, 1, 0, kManual).status, platform::kKernelError);
              }),
              HasSubstr("another program keeps it locked"));
  EXPECT_EQ(statusOfRead(connection), 0U) << "reading needs no lock";
  Platform::chooseNone();
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(ChosenMachineTest, OnlyAFileOfTheAccountItselfIsUsed) {
  choose("MacBookPro15,1");
  const std::string whole = content();
  const auto fault = [] { return faultOf([] { Platform::chosen(); }); };
  EXPECT_EQ(fault(), "");
  struct stat facts = {};
  stat(file().c_str(), &facts);
  EXPECT_EQ(facts.st_mode & 07777, 0600U);
  for (const mode_t mode : {0620, 0602}) {
    chmod(file().c_str(), mode);
    EXPECT_EQ(fault(), "can be written by other accounts");
  }
  chmod(file().c_str(), 0644);
  EXPECT_EQ(fault(), "") << "others may read it";
  std::filesystem::remove(file());
  home_.write("elsewhere", whole);
  for (const char* target : {"../elsewhere", "missing"}) {
    std::filesystem::create_symlink(target, file());
    EXPECT_EQ(fault(), "is a symbolic link");
    Platform::chooseNone();
  }
  EXPECT_EQ(home_.read("elsewhere"), whole);
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(fault(), "is not a file");
  Platform::chooseNone();
  std::filesystem::create_directory(file());
  EXPECT_EQ(fault(), "is not a file");
  Platform::chooseNone();
  EXPECT_EQ(Platform::chosen(), nullptr);
}

TEST_F(ChosenMachineTest, AFileOfMoreThan128MBIsNotRead) {
  choose("MacBookPro15,1");
  const auto fault = [] { return faultOf([] { Platform::chosen(); }); };
  constexpr std::uintmax_t kMost = std::uintmax_t{128} << 20;
  std::filesystem::resize_file(file(), kMost + 1);
  EXPECT_EQ(fault(), "is larger than 128 MB");
  std::filesystem::resize_file(file(), kMost);
  chmod(file().c_str(), 0666);
  EXPECT_EQ(fault(), "can be written by other accounts") << "not for its size";
}

TEST_F(ChosenMachineTest, AFileThatTheSystemCannotReadIsNamed) {
  choose("MacBookPro15,1");
  // fstat() is one call or the other.
  for (const auto& calls :
       std::vector<std::vector<unsigned>>{{SYS_read}, {SYS_fstat, SYS_newfstatat}}) {
    ChildWork reader([&] {
      platform::ChoiceFile choice(file());
      for (const unsigned call : calls) {
        answerCalls(call, EIO);
      }
      return faultOf([&] { choice.read(); }) == "cannot be read: Input/output error" ? 0 : 1;
    });
    EXPECT_EQ(reader.wait(), 0) << calls.front();
  }
}

TEST_F(ChosenMachineTest, AFileOfAnotherFormatIsNotUsed) {
  choose("MacBookPro15,1");
  std::string other = content();
  const std::string format = "kelvora-choice";
  other.replace(other.find(format), format.size(), "kelvora-chosen");
  replace(other);
  EXPECT_THROW(Platform::chosen(), MachineFileError);
}

TEST_F(ChosenMachineTest, AChoiceThatCannotBeLockedOrRemovedIsNamed) {
  choose("MacBookPro15,1");
  const std::string lock = file() + platform::kLockEnding;
  std::filesystem::remove(lock);
  std::filesystem::create_directories(lock);
  EXPECT_EQ(faultOf([] { choose("iMac19,1"); }), "cannot be locked: Is a directory");
  EXPECT_EQ(Platform::choice()->title, "MacBook Pro 15-inch 2018");
  EXPECT_EQ(Platform::choice()->name, machineFile("MacBookPro15,1"));
  std::filesystem::remove(file());
  EXPECT_EQ(faultOf([this] { platform::ChoiceFile(file()).remove(); }), "") << "none again";
  std::filesystem::create_directories(file() + "/x");
  EXPECT_EQ(faultOf([] { Platform::chooseNone(); }), "cannot be removed: Directory not empty");
}

TEST_F(ChosenMachineTest, AFileOfAnotherAccountIsNotUsed) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a file to another account";
  }
  choose("MacBookPro15,1");
  ASSERT_EQ(chown(file().c_str(), 65534, 65534), 0);
  EXPECT_THROW(Platform::chosen(), MachineFileError);
  // Root works in the folder of a user, as with sudo: then the file is that user's.
  ASSERT_EQ(chown(home_.path("Kelvora").c_str(), 65534, 65534), 0);
  EXPECT_NE(Platform::chosen(), nullptr);
  choose("iMac19,1");
  struct stat facts = {};
  stat(file().c_str(), &facts);
  EXPECT_EQ(facts.st_uid, 65534U);
}

TEST_F(ChosenMachineTest, AChoiceReplacesOneThatCannotBeUsed) {
  std::filesystem::create_directories(home_.path("Kelvora"));
  home_.write("elsewhere", "untouched");
  std::filesystem::create_symlink("../elsewhere", file());
  choose("iMac19,1");
  EXPECT_EQ(Platform::choice()->title, "iMac 27-inch 2019");
  EXPECT_EQ(home_.read("elsewhere"), "untouched");
  replace("oops");
  choose("iMac19,1");
  EXPECT_EQ(Platform::choice()->title, "iMac 27-inch 2019");
}

TEST_F(ChosenMachineTest, KeysOfAnyBytesAreWritten) {
  home_.write("mac.json", R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64",
                              "smc": {"keys": [{"key": "T\u00ff\u0080x", "type": "ui8 ",
                                                "bytes": "00"}]}})");
  Platform::choose(home_.path("mac.json"));
  const std::uint32_t key = SMCPackedKey("T\xff\x80x");
  ChosenMachine smc(file());
  SMCConnection connection(smc);
  EXPECT_EQ(write(connection, key, kManual), 0U);
  ChosenMachine other(file());
  SMCConnection reading(other);
  EXPECT_EQ(reading.call(5, key, 1).payload[0], std::byte{1});
  EXPECT_THAT(Platform::choice()->writes, ElementsAre(RecordedWrite{"T\u00ff\u0080x", "01"}));
}

TEST_F(ChosenMachineTest, OfOldWritesTheLastOfEachKeyIsKept) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  SMCConnection connection(smc);
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
