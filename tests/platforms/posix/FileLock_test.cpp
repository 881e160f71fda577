#include "platforms/posix/FileLock.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"
#include "tests/support/FileCalls.h"
#include "tests/support/LockHolder.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::platform {
namespace {

using testing::ChildWork;
using testing::LockHolder;

constexpr std::chrono::seconds kLong{60};

class FileLock : public ::testing::Test {
 protected:
  // A lock that is never passed on ends the test.
  FileLock() { alarm(120); }
  ~FileLock() override { alarm(0); }

  FileDescriptor openFile() const {
    return FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT, 0600));
  }

  void waitUntilAtLock(int count) const {
    const FileDescriptor file = openFile();
    while (testing::othersAtLock(file) != count) {
      sched_yield();
    }
  }

  // A lock by a program that knows no queue, or has come to a place of it without looking.
  FileDescriptor lockBytes(off_t start, off_t length) const {
    FileDescriptor file = openFile();
    struct flock bytes = {};
    bytes.l_type = F_WRLCK;
    bytes.l_start = start;
    bytes.l_len = length;
    EXPECT_EQ(fcntl(file.get(), F_OFD_SETLK, &bytes), 0);
    return file;
  }

  // What a program does that takes the lock once: 0 when it got it.
  int takeOnce() const { return lockFile(path, kLong).isOpen() ? 0 : 1; }

  const testing::TemporaryFolder folder;
  const std::string path = folder.path("lock");
};

TEST_F(FileLock, IsHeldUntilItsDescriptorIsClosed) {
  FileDescriptor first = lockFile(path, {});
  ASSERT_TRUE(first.isOpen());
  EXPECT_FALSE(lockFile(path, std::chrono::milliseconds(1)).isOpen());
  EXPECT_EQ(errno, ETIMEDOUT);
  first.close();
  EXPECT_TRUE(lockFile(path, {}).isOpen());
}

// A program that wants the lock again at once comes after all that wait, not only after the next.
TEST_F(FileLock, PassesInTheOrderOfArrival) {
  std::string order;
  std::mutex mutex;
  const auto take = [&](char name) {
    const FileDescriptor lock = lockFile(path, kLong);
    const std::lock_guard guard(mutex);
    order += lock.isOpen() ? name : '-';
  };
  FileDescriptor first = lockFile(path, {});
  std::vector<std::thread> waiters;
  for (int waiter = 0; waiter < 5; ++waiter) {
    waiters.emplace_back(take, static_cast<char>('a' + waiter));
    waitUntilAtLock(2 + waiter);
  }
  first.close();
  take('z');
  for (std::thread& waiter : waiters) {
    waiter.join();
  }
  EXPECT_EQ(order, "abcdez");
}

TEST_F(FileLock, AWaiterThatIsKilledLeavesNoPlaceInTheQueue) {
  auto holder = std::make_unique<LockHolder>(path, LockHolder::Until::kItsEnd);
  ChildWork first([this] { return takeOnce(); });
  waitUntilAtLock(2);
  ChildWork second([this] { return takeOnce(); });
  waitUntilAtLock(3);
  first.kill();
  first.wait();
  waitUntilAtLock(2);
  holder.reset();
  EXPECT_EQ(second.wait(), 0);
  EXPECT_TRUE(lockFile(path, {}).isOpen());
}

TEST_F(FileLock, AWaiterWhoseTimeIsOverLeavesNoPlaceInTheQueue) {
  const FileDescriptor held = lockFile(path, {});
  EXPECT_FALSE(lockFile(path, std::chrono::milliseconds(1)).isOpen());
  EXPECT_EQ(testing::othersAtLock(held), 0);
}

// The child looks at the queue, and is stopped before it takes its place behind the one that it has
// seen. Meanwhile that one ends, and another that came later has the lock.
TEST_F(FileLock, AProgramThatComesToItsPlaceTooLateDoesNotOvertake) {
  enum : int { kSeesFirst = 1, kTakesPlace = 3, kLooksAgain = 6 };
  FileDescriptor first;
  FileDescriptor later;
  bool wasHeldLater = false;
  testing::interruptAtFcntl(
      [&](int call) {
        if (call == kSeesFirst) {
          first = lockFile(path, {});
        } else if (call == kTakesPlace) {
          later = lockBytes(3, 1);
          first.close();
        } else if (call == kLooksAgain) {
          wasHeldLater = later.isOpen();
          later.close();
        }
      },
      [this] {
        if (lockFile(path, kLong).isOpen()) {
          folder.write("was held", "");
        }
      });
  EXPECT_TRUE(wasHeldLater);
  EXPECT_TRUE(std::filesystem::exists(folder.path("was held")));
}

TEST_F(FileLock, AProgramThatLosesItsPlaceToAnotherTakesTheNext) {
  enum : int { kTakesPlace = 2, kLooksAgain = 3 };
  FileDescriptor faster;
  int others = -1;
  testing::interruptAtFcntl(
      [&](int call) {
        if (call == kTakesPlace) {
          faster = lockFile(path, {});
        } else if (call == kLooksAgain) {
          others = testing::othersAtLock(faster);
          faster.close();
        }
      },
      [this] {
        if (lockFile(path, kLong).isOpen()) {
          folder.write("was held", "");
        }
      });
  EXPECT_EQ(others, 0);
  EXPECT_TRUE(std::filesystem::exists(folder.path("was held")));
}

TEST_F(FileLock, WaitsForAProgramThatLocksTheWholeFile) {
  FileDescriptor other = lockBytes(0, 0);
  EXPECT_FALSE(lockFile(path, {}).isOpen());
  EXPECT_EQ(errno, ETIMEDOUT);
  other.close();
  EXPECT_TRUE(lockFile(path, {}).isOpen());
}

TEST_F(FileLock, OfAFileThatExistsCreatesAndChangesNothing) {
  EXPECT_FALSE(lockExistingFile(path, {}).isOpen());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  folder.write("lock", "content");
  const auto written = std::filesystem::last_write_time(path);
  const FileDescriptor held = lockExistingFile(path, {});
  EXPECT_TRUE(held.isOpen());
  EXPECT_FALSE(lockExistingFile(path, {}).isOpen());
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(folder.read("lock"), "content");
  EXPECT_EQ(std::filesystem::last_write_time(path), written);
}

TEST_F(FileLock, NeverFollowsALink) {
  std::filesystem::create_symlink(folder.write("elsewhere", ""), path);
  EXPECT_FALSE(lockFile(path, {}).isOpen());
  EXPECT_EQ(errno, ELOOP);
  EXPECT_FALSE(lockExistingFile(path, {}).isOpen());
  EXPECT_EQ(errno, ELOOP);
}

}  // namespace
}  // namespace kelvora::platform
