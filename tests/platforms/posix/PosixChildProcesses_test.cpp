#include "platforms/posix/PosixChildProcesses.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"
#include "tests/support/ChildWork.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::ChildLaunch;
using platform::ChildProcess;
using platform::ChildRequest;
using platform::PosixChildProcesses;

constexpr std::chrono::seconds kLong{60};

ChildRequest shell(const std::string& script) {
  return {"/bin/sh", {"-c", script}, true, false, 0};
}

std::string outputOf(ChildProcess& child) {
  std::string output;
  std::array<std::byte, 1000> buffer;
  while (const std::size_t count = child.readStandardOutput(buffer)) {
    output.append(reinterpret_cast<const char*>(buffer.data()), count);
  }
  return output;
}

bool hasNoChildren() { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

// Looks on, reaping nothing itself, until the last child is reaped.
bool soonHasNoChildren() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  siginfo_t information;
  while (waitid(P_ALL, 0, &information, WEXITED | WNOHANG | WNOWAIT) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return errno == ECHILD;
}

TEST(PosixChildProcesses, CapturesStandardOutputAndTheExitStatus) {
  const ChildLaunch launch = PosixChildProcesses().launch(shell("echo \"$0 $1\"; exit 7"));
  ASSERT_NE(launch.child, nullptr) << launch.failure;
  EXPECT_EQ(launch.failure, "");
  EXPECT_EQ(outputOf(*launch.child), "/bin/sh \n");
  EXPECT_EQ(launch.child->waitUntilExit(), 7);
  EXPECT_EQ(launch.child->waitUntilExit(), 7);
}

TEST(PosixChildProcesses, ArgumentsArriveAsTheyAre) {
  ChildRequest request{"/bin/echo", {"a b", "", "$HOME", "\"q\""}, true, false, 0};
  const ChildLaunch launch = PosixChildProcesses().launch(request);
  EXPECT_EQ(outputOf(*launch.child), "a b  $HOME \"q\"\n");
}

TEST(PosixChildProcesses, ReadsMoreThanAPipeHolds) {
  const ChildLaunch launch =
      PosixChildProcesses().launch(shell("head -c 10485760 /dev/zero | tr '\\0' x"));
  EXPECT_EQ(outputOf(*launch.child).size(), 10485760U);
  EXPECT_EQ(launch.child->waitUntilExit(), 0);
}

TEST(PosixChildProcesses, ASignalThatEndedTheChildIs128AndItsNumber) {
  const ChildLaunch launch = PosixChildProcesses().launch(shell("kill -9 $$"));
  EXPECT_EQ(launch.child->waitUntilExit(), 128 + SIGKILL);
}

TEST(PosixChildProcesses, AChildThatClosesItsOutputEarlyIsStillWaitedFor) {
  const ChildLaunch launch = PosixChildProcesses().launch(shell("echo early; exec 1>&-; exit 3"));
  EXPECT_EQ(outputOf(*launch.child), "early\n");
  EXPECT_EQ(launch.child->waitUntilExit(), 3);
}

TEST(PosixChildProcesses, AChildWhoseReaderIsGoneEndsByASignal) {
  signal(SIGPIPE, SIG_IGN);  // as a host may do; the child has the system's disposition
  const ChildLaunch launch = PosixChildProcesses().launch({"/usr/bin/yes", {}, true, false, 0});
  launch.child->closeStandardOutput();
  EXPECT_EQ(launch.child->waitUntilExit(), 128 + SIGPIPE);
}

TEST(PosixChildProcesses, WhatCannotBeStartedSaysWhy) {
  PosixChildProcesses children;
  const ChildLaunch missing = children.launch({"/no/such/program", {}, true, false, 0});
  EXPECT_EQ(missing.child, nullptr);
  EXPECT_EQ(missing.failure, "No such file or directory");
  const ChildLaunch folder = children.launch({"/tmp", {}, true, false, 0});
  EXPECT_EQ(folder.child, nullptr);
  EXPECT_EQ(folder.failure, "Permission denied");
  EXPECT_TRUE(hasNoChildren());
}

TEST(PosixChildProcesses, NoDescriptorButTheStandardOnesReachesTheChild) {
  const int inherited = open("/dev/null", O_RDONLY);
  ASSERT_GE(dup2(inherited, 77), 0);
  ChildRequest request{"/bin/ls", {"/proc/self/fd"}, true, false, 0};
  const ChildLaunch launch = PosixChildProcesses().launch(request);
  // 3 is the descriptor by which ls reads the folder.
  EXPECT_EQ(outputOf(*launch.child), "0\n1\n2\n3\n");
  close(inherited);
  close(77);
}

TEST(PosixChildProcesses, LaunchesLeaveNoDescriptorsAndNoZombies) {
  const auto nextDescriptor = [] {
    const int descriptor = open("/dev/null", O_RDONLY);
    close(descriptor);
    return descriptor;
  };
  const int before = nextDescriptor();
  PosixChildProcesses children;
  for (int i = 0; i < 20; ++i) {
    // Unread and not waited for.
    const ChildLaunch launch = children.launch(shell("echo unread"));
    ASSERT_NE(launch.child, nullptr);
    children.launch({"/no/such/program", {}, true, false, 0});
  }
  EXPECT_EQ(nextDescriptor(), before);
  EXPECT_TRUE(soonHasNoChildren());
}

TEST(PosixChildProcesses, AnUnawaitedChildIsNeitherWaitedForNorEnded) {
  // Runs until its standard input ends, with its output closed.
  int input[2];
  ASSERT_EQ(pipe2(input, O_CLOEXEC), 0);
  const int standardInput = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
  ASSERT_GE(dup2(input[0], STDIN_FILENO), 0);
  pid_t pid = 0;
  {
    const ChildLaunch launch = PosixChildProcesses().launch(shell("echo $$; exec 1>&-; read line"));
    ASSERT_NE(launch.child, nullptr) << launch.failure;
    pid = std::stoi(outputOf(*launch.child));
  }
  EXPECT_EQ(kill(pid, 0), 0) << "it runs until it is asked to end";
  dup2(standardInput, STDIN_FILENO);
  close(standardInput);
  close(input[0]);
  close(input[1]);
  EXPECT_TRUE(soonHasNoChildren());
}

TEST(PosixChildProcesses, StandardErrorCanBeDiscarded) {
  ::testing::internal::CaptureStderr();
  ChildRequest request = shell("echo noise >&2");
  PosixChildProcesses().launch(request).child->waitUntilExit();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "noise\n");
  ::testing::internal::CaptureStderr();
  request.discardStandardError = true;
  PosixChildProcesses().launch(request).child->waitUntilExit();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(PosixChildProcesses, OutputThatIsNotCapturedGoesWhereThisProcessWrites) {
  ChildRequest request = shell("echo through");
  request.captureStandardOutput = false;
  ::testing::internal::CaptureStdout();
  const ChildLaunch launch = PosixChildProcesses().launch(request);
  std::array<std::byte, 10> buffer;
  EXPECT_EQ(launch.child->readStandardOutput(buffer), 0U);
  EXPECT_EQ(launch.child->waitUntilExit(), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "through\n");
}

TEST(PosixChildProcesses, AnInterruptedReadOrWaitContinues) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);  // without SA_RESTART
  const ChildLaunch launch = PosixChildProcesses().launch(
      shell("for i in 1 2 3; do kill -USR1 $PPID; sleep 0.05; done; echo done"));
  EXPECT_EQ(outputOf(*launch.child), "done\n");
  EXPECT_EQ(launch.child->waitUntilExit(), 0);
}

TEST(PosixChildProcesses, AChildThatWasReapedElsewhereAnswersWithoutHanging) {
  const ChildLaunch launch = PosixChildProcesses().launch(shell("exit 5"));
  ASSERT_GT(waitpid(-1, nullptr, 0), 0);
  EXPECT_EQ(launch.child->waitUntilExit(), platform::kUnknownExitStatus);
  EXPECT_EQ(launch.child->waitUntilExit(std::chrono::milliseconds(0)),
            platform::kUnknownExitStatus);
}

// The system then keeps no exit status.
TEST(PosixChildProcesses, WhereSIGCHLDIsIgnoredOnlyTheEndOfAChildIsKnown) {
  std::signal(SIGCHLD, SIG_IGN);
  for (const char* script : {"exit 0", "exit 5"}) {
    EXPECT_EQ(PosixChildProcesses().launch(shell(script)).child->waitUntilExit(),
              platform::kUnknownExitStatus);
    EXPECT_EQ(PosixChildProcesses().launch(shell(script)).child->waitUntilExit(kLong),
              platform::kUnknownExitStatus);
  }
}

TEST(PosixChildProcesses, AChildHasTheDescriptorsThatItIsGiven) {
  const TemporaryFolder folder;
  const platform::FileDescriptor input(open(folder.write("in", "text").c_str(), O_RDONLY));
  const platform::FileDescriptor output(open(folder.write("out", "").c_str(), O_WRONLY));
  ChildRequest request = shell("cat");
  request.captureStandardOutput = false;
  request.standardInput = input.get();
  request.standardOutput = output.get();
  EXPECT_EQ(PosixChildProcesses().launch(request).child->waitUntilExit(), 0);
  EXPECT_EQ(folder.read("out"), "text");
}

TEST(PosixChildProcesses, AChildWithTheNullDeviceReadsNothingAndWritesNowhere) {
  ChildRequest request =
      shell("test -z \"$(cat)\" && test /dev/null -ef /proc/self/fd/1 && echo discarded");
  request.captureStandardOutput = false;
  request.standardInput = platform::kNullDevice;
  request.standardOutput = platform::kNullDevice;
  EXPECT_EQ(PosixChildProcesses().launch(request).child->waitUntilExit(), 0);
}

// As in a host that has closed its standard descriptors: the next two files get their numbers.
TEST(PosixChildProcesses, GivenDescriptorsMayHaveStandardNumbers) {
  const TemporaryFolder folder;
  const std::string in = folder.write("in", "text");
  const std::string out = folder.write("out", "");
  ChildWork host([&] {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    ChildRequest request = shell("cat");
    request.captureStandardOutput = false;
    request.standardOutput = open(out.c_str(), O_WRONLY | O_CLOEXEC);
    request.standardInput = open(in.c_str(), O_RDONLY | O_CLOEXEC);
    return request.standardOutput == STDIN_FILENO && request.standardInput == STDOUT_FILENO
               ? PosixChildProcesses().launch(request).child->waitUntilExit()
               : 99;
  });
  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(folder.read("out"), "text");
}

TEST(PosixChildProcesses, AWaitWithALimitEndsBeforeTheChild) {
  std::array<int, 2> ends = {-1, -1};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  ChildRequest request = shell("read line; exit 6");
  request.standardInput = ends[0];
  const ChildLaunch launch = PosixChildProcesses().launch(request);
  ASSERT_NE(launch.child, nullptr);
  EXPECT_EQ(launch.child->waitUntilExit(std::chrono::milliseconds(0)), std::nullopt);
  close(ends[1]);
  EXPECT_EQ(launch.child->waitUntilExit(), 6);
  close(ends[0]);
}

TEST(PosixChildProcesses, AWaitWithALimitReturnsTheStatusOfAChildThatEnds) {
  const ChildLaunch launch = PosixChildProcesses().launch(shell("exit 6"));
  ASSERT_NE(launch.child, nullptr);
  EXPECT_EQ(launch.child->waitUntilExit(std::chrono::seconds(30)), 6);
  EXPECT_EQ(launch.child->waitUntilExit(std::chrono::milliseconds(0)), 6);
  EXPECT_EQ(launch.child->waitUntilExit(), 6);
}

TEST(PosixChildProcesses, AnEndEndsAChildThatAnotherThreadReadsAndWaitsFor) {
  const ChildLaunch launch =
      PosixChildProcesses().launch(shell("trap '' TERM; echo begun; kill -STOP $$"));
  ASSERT_NE(launch.child, nullptr);
  std::array<std::byte, 10> begun;
  ASSERT_EQ(launch.child->readStandardOutput(begun), 6U);
  std::thread end([&] { launch.child->end(); });
  EXPECT_EQ(outputOf(*launch.child), "");
  EXPECT_EQ(launch.child->waitUntilExit(), 128 + SIGKILL);
  end.join();
  EXPECT_TRUE(hasNoChildren());
}

TEST(PosixChildProcesses, AnEndAfterTheEndChangesNothing) {
  const ChildLaunch launch = PosixChildProcesses().launch(shell("exit 6"));
  ASSERT_NE(launch.child, nullptr);
  EXPECT_EQ(launch.child->waitUntilExit(), 6);
  launch.child->end();
  EXPECT_EQ(launch.child->waitUntilExit(), 6);
}

TEST(PosixChildProcesses, AChildReadsTheDescriptorThatIsItsStandardInput) {
  std::array<int, 2> ends = {-1, -1};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  ASSERT_EQ(write(ends[1], "given\n", 6), 6);
  ChildRequest request = shell("read line; echo \"$line\"; ls /proc/self/fd | wc -l");
  request.standardInput = ends[0];
  const ChildLaunch launch = PosixChildProcesses().launch(request);
  close(ends[0]);
  close(ends[1]);
  ASSERT_NE(launch.child, nullptr);
  EXPECT_EQ(outputOf(*launch.child), "given\n4\n");  // and that by which ls lists the folder
}

}  // namespace
}  // namespace kelvora::testing
