// Choices that cannot be read or written, and whose they may be.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "platforms/posix/FileLock.h"
#include "platforms/recorded/ChosenMachine.h"
#include "tests/platforms/recorded/ChosenMachineTest.h"
#include "tests/support/AnsweredCalls.h"
#include "tests/support/ChildWork.h"
#include "tests/support/RawSMC.h"

namespace kelvora::testing {
namespace {

using platform::ChosenMachine;
using ::testing::HasSubstr;

TEST_F(ChosenMachineTest, ADamagedFileFailsCallsOnceLoggedUntilItIsWhole) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  RawSMC connection(smc);
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

TEST_F(ChosenMachineTest, AWriteThatCannotBeStoredFailsAndIsNotTaken) {
  choose("MacBookPro15,1");
  ChosenMachine smc(file());
  RawSMC connection(smc);
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
  RawSMC connection(smc);
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

}  // namespace
}  // namespace kelvora::testing
