#include "KelvoraCore/KVProcessLock.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "ports/Ports.h"
#include "tests/support/ChildWork.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

using State = KVProcessLock::State;

class ProcessLock : public ::testing::Test {
 protected:
  ProcessLock() {
    ::setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
    platform = Platform::live();
  }
  State stateOf(const std::string& name) const { return KVProcessLock(name, *platform).state(); }
  std::string file() const { return folder.path("group.com.kelvora/Work.lock"); }

  const testing::TemporaryFolder folder;
  std::unique_ptr<Platform> platform;
};

TEST_F(ProcessLock, IsHeldUntilTheEndOfTheObject) {
  {
    const KVProcessLock lock("Work", *platform);
    EXPECT_EQ(lock.state(), State::kHeld);
    EXPECT_EQ(lock.fault(), "");
    EXPECT_EQ(stateOf("Work"), State::kHeldElsewhere);
    EXPECT_EQ(lock.state(), State::kHeld);
  }
  EXPECT_EQ(stateOf("Work"), State::kHeld);
}

TEST_F(ProcessLock, NamesDoNotKeepEachOtherOut) {
  const KVProcessLock lock("Work", *platform);
  EXPECT_EQ(stateOf("Other"), State::kHeld);
}

TEST_F(ProcessLock, KeepsOutOtherProcesses) {
  const KVProcessLock lock("Work", *platform);
  testing::ChildWork other([&] { return static_cast<int>(stateOf("Work")); });
  EXPECT_EQ(other.wait(), static_cast<int>(State::kHeldElsewhere));
}

TEST_F(ProcessLock, EndsWithItsProcessEvenWhenThatIsKilled) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  testing::ChildWork holder([&] {
    const KVProcessLock lock("Work", *platform);
    const char state = lock.state() == State::kHeld ? 'h' : 'n';
    if (write(ready[1], &state, 1) == 1) {
      pause();
    }
    return 0;
  });
  char state = 0;
  ASSERT_EQ(read(ready[0], &state, 1), 1);
  EXPECT_EQ(state, 'h');
  EXPECT_EQ(stateOf("Work"), State::kHeldElsewhere);
  holder.kill();
  holder.wait();
  EXPECT_EQ(stateOf("Work"), State::kHeld);
}

TEST_F(ProcessLock, AProgramThatIsGivenItsDescriptorHoldsItToo) {
  auto lock = std::make_unique<KVProcessLock>("Work", *platform);
  const KVProcessLock other("Work", *platform);
  EXPECT_GE(lock->descriptor(), 0);
  EXPECT_EQ(other.descriptor(), -1);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  platform::ChildRequest request;
  request.path = "/bin/cat";
  request.standardInput = ends[0];
  request.standardOutput = lock->descriptor();
  ASSERT_EQ(fcntl(ends[1], F_SETFD, FD_CLOEXEC), 0);
  const auto program = platform->childProcesses().launch(request).child;
  lock.reset();
  EXPECT_EQ(stateOf("Work"), State::kHeldElsewhere);
  close(ends[1]);
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_EQ(stateOf("Work"), State::kHeld);
}

TEST_F(ProcessLock, ItsFileIsTheOwnersAlone) {
  const KVProcessLock lock("Work", *platform);
  EXPECT_EQ(std::filesystem::status(file()).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(ProcessLock, ReportsWhyItCannotBeTaken) {
  std::filesystem::create_directories(file());
  const KVProcessLock lock("Work", *platform);
  EXPECT_EQ(lock.state(), State::kFailed);
  EXPECT_EQ(lock.fault(), "Is a directory");
}

TEST_F(ProcessLock, ReportsThatThereIsNoFolder) {
  auto& files = testing::wrapPort<testing::ForwardingFiles>(platform->ports().files);
  files.onGroupContainer = [](const std::string&) { return std::nullopt; };
  const KVProcessLock lock("Work", *platform);
  EXPECT_EQ(lock.state(), State::kFailed);
  EXPECT_EQ(lock.fault(), "the programs have no folder in common");
}

}  // namespace
}  // namespace kelvora
