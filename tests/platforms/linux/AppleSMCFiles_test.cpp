#include "platforms/linux/smc/AppleSMCFiles.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/support/AnsweredCalls.h"
#include "tests/support/ChildWork.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::AppleSMCFiles;
using platform::kKernelNotPermitted;

TEST(AppleSMCFiles, AChosenIndexIsWrittenAndAFileThatIsGoneIsNotRead) {
  const TemporaryFolder folder;
  folder.write("key_at_index", "0\n");
  AppleSMCFiles files(folder.path());
  EXPECT_TRUE(files.mayChooseKeys());
  EXPECT_FALSE(files.exist());
  EXPECT_TRUE(files.chooseKey(17));
  EXPECT_EQ(files.read("key_at_index"), "17\n");
  EXPECT_EQ(files.read("temp1_input"), std::nullopt);
  folder.write("temp1_input", "1000\n");
  EXPECT_EQ(files.read("temp1_input"), "1000\n");
}

TEST(AppleSMCFiles, AFileIsWrittenInOneCallAndStaysOpen) {
  const TemporaryFolder folder;
  folder.write("fan1_min", "");
  AppleSMCFiles files(folder.path());
  EXPECT_EQ(files.openForWriting("fan1_min"), 0U);
  std::filesystem::rename(folder.path("fan1_min"), folder.path("moved"));
  EXPECT_EQ(files.write("fan1_min", "2000\n"), 0U);
  EXPECT_EQ(folder.read("moved"), "2000\n");
}

TEST(AppleSMCFiles, ARefusedWriteHasItsReasonAsStatus) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("/dev/full", folder.path("full"));
  std::filesystem::create_directory(folder.path("folder"));
  AppleSMCFiles files(folder.path());
  EXPECT_EQ(files.openForWriting("fan1_min"), platform::kKernelNoDevice);
  EXPECT_EQ(files.write("fan1_min", "1\n"), platform::kKernelNoDevice);
  EXPECT_EQ(files.write("full", "1\n"), platform::kKernelError);
  EXPECT_EQ(files.write("folder", "1\n"), platform::kKernelError);
}

TEST(AppleSMCFiles, ANumberThatIsNotTakenAsAWholeIsNotWritten) {
  const TemporaryFolder folder;
  folder.write("fan1_min", "");
  AppleSMCFiles files(folder.path());
  const ResourceLimit twoBytes(RLIMIT_FSIZE, 2);
  EXPECT_EQ(files.write("fan1_min", "2000\n"), platform::kKernelIOError);
}

TEST(AppleSMCFiles, AFileThatCannotBeReadAnyMoreIsOpenedAgain) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path("fan1_input"));
  AppleSMCFiles files(folder.path());
  EXPECT_EQ(files.read("fan1_input"), std::nullopt);
  std::filesystem::remove(folder.path("fan1_input"));
  folder.write("fan1_input", "2000\n");
  EXPECT_EQ(files.read("fan1_input"), "2000\n");
}

// After the driver is unloaded, its files that are still open answer ENODEV.
TEST(AppleSMCFiles, AFileOfADriverThatIsGoneIsOpenedAgainForTheNextWrite) {
  const TemporaryFolder folder;
  folder.write("fan1_min", "");
  ChildWork program([&] {
    AppleSMCFiles files(folder.path());
    files.openForWriting("fan1_min");
    std::filesystem::remove(folder.path("fan1_min"));
    folder.write("fan1_min", "");
    platform::KernelStatus status = 0;
    // Calls are answered for one thread.
    std::thread([&] {
      answerCalls(SYS_pwrite64, ENODEV);
      status = files.write("fan1_min", "1\n");
    }).join();
    return status == platform::kKernelNoDevice && files.write("fan1_min", "2000\n") == 0 ? 0 : 1;
  });
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(folder.read("fan1_min"), "2000\n");
}

TEST(AppleSMCFiles, AFileThatOnlyRootMayWriteIsNotPermittedToOthers) {
  const TemporaryFolder folder;
  folder.write("fan1_min", "");
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  std::filesystem::permissions(folder.path("fan1_min"), std::filesystem::perms(0444));
  ChildWork nobody([&] {
    if (geteuid() == 0 && setuid(65534) != 0) {
      return 2;
    }
    AppleSMCFiles files(folder.path());
    return files.openForWriting("fan1_min") == kKernelNotPermitted &&
                   files.write("fan1_min", "1\n") == kKernelNotPermitted
               ? 0
               : 1;
  });
  EXPECT_EQ(nobody.wait(), 0);
}

TEST(AppleSMCFiles, OneProgramAtATimeHoldsTheLock) {
  const TemporaryFolder folder;
  folder.write("key_at_index", "0\n");
  AppleSMCFiles files(folder.path());
  const std::lock_guard lock(files);
  const int other = open(folder.path("key_at_index").c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  files.unlock();
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  close(other);
}

TEST(AppleSMCFiles, AProgramThatKeepsTheLockIsNotWaitedForForEver) {
  const TemporaryFolder folder;
  folder.write("key_at_index", "0\n");
  const int other = open(folder.path("key_at_index").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(other, LOCK_EX), 0);
  AppleSMCFiles files(folder.path());
  const auto start = std::chrono::steady_clock::now();
  files.lock();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  close(other);
  AppleSMCFiles none(folder.path("none"));
  const std::lock_guard lock(none);  // no file, so no lock
}

}  // namespace
}  // namespace kelvora::testing
