#include "KelvoraCore/TerminalSession.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KelvoraCore/KVMainQueue.h"

#include "tests/support/ChildWork.h"

namespace kelvora {
namespace {

using Clock = std::chrono::steady_clock;
using Event = TerminalSession::Event;
using testing::ChildWork;

constexpr auto kForever = Clock::time_point::max();

/// Runs programs on a terminal of their own, 70 by 20, and keeps what it shows.
class TerminalSessionTest : public ::testing::Test {
 protected:
  TerminalSessionTest() {
    winsize size{};
    size.ws_col = 70;
    size.ws_row = 20;
    EXPECT_EQ(openpty(&outer_, &inner_, nullptr, nullptr, &size), 0);
  }
  ~TerminalSessionTest() override {
    close(outer_);
    close(inner_);
  }

  // Of a process whose standard descriptors are the terminal.
  ChildWork start(const std::function<int(TerminalSession&)>& work) const {
    std::fflush(stdout);
    return ChildWork([this, work] {
      setpgid(0, 0);
      for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(inner_, descriptor);
      }
      StandardOutput output;
      TerminalSession session(output);
      return work(session);
    });
  }
  int run(const std::function<int(TerminalSession&)>& work) const { return start(work).wait(); }
  void type(const std::string& text) const {
    EXPECT_EQ(write(outer_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  /// What has come, once it is as long as what is expected: a terminal passes it on in pieces.
  std::string shown(const std::string& expected) const {
    std::string text;
    std::array<char, 4096> bytes{};
    pollfd waiting{outer_, POLLIN, 0};
    while (text.size() < expected.size() && poll(&waiting, 1, 60'000) > 0) {
      const ssize_t count = read(outer_, bytes.data(), bytes.size());
      text.append(bytes.data(), static_cast<std::size_t>(count > 0 ? count : 0));
    }
    return text;
  }
  void expectShown(const std::string& expected) const { EXPECT_EQ(shown(expected), expected); }

 private:
  int outer_ = -1;
  int inner_ = -1;
};

int allHold(std::initializer_list<bool> conditions) {
  int place = 1;
  for (const bool holds : conditions) {
    if (!holds) {
      return place;
    }
    ++place;
  }
  return 0;
}

TEST_F(TerminalSessionTest, EachSignalIsOneEventAndTheMostUrgentComesFirst) {
  EXPECT_EQ(run([](TerminalSession& session) {
              raise(SIGWINCH);
              raise(SIGCONT);
              raise(SIGWINCH);
              raise(SIGTSTP);
              return allHold({session.waitUntil(kForever) == Event::kSuspend,
                              session.waitUntil(kForever) == Event::kResume,
                              session.waitUntil(kForever) == Event::kResize,
                              session.waitUntil(Clock::now()) == Event::kDeadline});
            }),
            0);
}

TEST_F(TerminalSessionTest, AStopGoesBeforeAllElseAndLasts) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EQ(run([signal](TerminalSession& session) {
                raise(SIGTSTP);
                raise(signal);
                return allHold({session.waitUntil(kForever) == Event::kStop,
                                session.waitUntil(Clock::now()) == Event::kStop});
              }),
              0)
        << signal;
  }
}

TEST_F(TerminalSessionTest, InputLastsUntilItIsRead) {
  type("x\n");
  EXPECT_EQ(run([](TerminalSession& session) {
              const bool first = session.waitUntil(kForever) == Event::kInput;
              const bool second = session.waitUntil(kForever) == Event::kInput;
              const bool isRead = std::getchar() == 'x' && std::getchar() == '\n';
              return allHold(
                  {first, second, isRead, session.waitUntil(Clock::now()) == Event::kDeadline});
            }),
            0);
}

TEST_F(TerminalSessionTest, WorkOfTheMainQueueRunsWhileItWaits) {
  EXPECT_EQ(run([](TerminalSession& session) {
              int ran = 0;
              KVMainQueue::async([&] { ++ran; });
              return allHold({session.waitUntil(kForever) == Event::kWork, ran == 1});
            }),
            0);
}

TEST_F(TerminalSessionTest, KnowsTheTerminalAndWritesToIt) {
  EXPECT_EQ(run([](TerminalSession& session) {
              std::fputs("drawn", session.stream());
              return allHold({session.size().columns == 70, session.size().rows == 20});
            }),
            0);
  expectShown("drawn");
}

TEST_F(TerminalSessionTest, WithoutATerminalThereIsNoSize) {
  StandardOutput output;
  const TerminalSession session(output);
  EXPECT_EQ(session.size().columns, 0);
  EXPECT_EQ(session.size().rows, 0);
}

TEST_F(TerminalSessionTest, MessagesWaitForTheEnd) {
  EXPECT_EQ(run([](TerminalSession& session) {
              std::fputs("first message. ", stderr);
              std::printf("second message. ");
              std::fflush(stdout);
              std::fputs("screen. ", session.stream());
              std::fflush(session.stream());
              return 0;
            }),
            0);
  expectShown("screen. first message. second message. ");
}

std::FILE* screen = nullptr;

// As a library that draws leaves the screen.
void leaveScreen() {
  std::fputs("screen left. ", screen);
  std::fflush(screen);
}

TEST_F(TerminalSessionTest, MessagesAreNotLostIfTheProcessExitsOnAnyThread) {
  const auto fail = [] {
    std::fputs("why it ended", stderr);
    std::exit(3);
  };
  EXPECT_EQ(run([&](TerminalSession& session) {
              screen = session.stream();
              std::atexit(leaveScreen);
              fail();
              return 0;
            }),
            3);
  expectShown("screen left. why it ended");
  EXPECT_EQ(run([&](TerminalSession&) {
              std::thread(fail).join();
              return 0;
            }),
            3);
  expectShown("why it ended");
}

TEST_F(TerminalSessionTest, MessagesAreNotLostIfTheProcessTerminates) {
  EXPECT_EQ(run([&](TerminalSession&) -> int {
              std::fputs("why it ended. ", stderr);
              std::terminate();
            }),
            128 + SIGABRT);
  EXPECT_TRUE(shown("why it ended. ").starts_with("why it ended. "));
}

TEST_F(TerminalSessionTest, MoreMessagesThanAreKeptNeverBlock) {
  EXPECT_EQ(run([](TerminalSession&) -> int {
              const std::string line(1000, 'm');
              for (int i = 0; i < 100; ++i) {
                std::fputs(line.c_str(), stderr);
              }
              std::_Exit(0);  // prints none of it: the terminal is not read
            }),
            0);
}

TEST_F(TerminalSessionTest, ASuspendedProcessContinuesWhereItWasStopped) {
  ChildWork program = start([](TerminalSession& session) {
    raise(SIGTSTP);
    const bool isAsked = session.waitUntil(kForever) == Event::kSuspend;
    session.suspend();
    raise(SIGTSTP);
    return allHold({isAsked, session.waitUntil(kForever) == Event::kSuspend,
                    session.waitUntil(Clock::now()) == Event::kDeadline});
  });
  int status = 0;
  ASSERT_EQ(waitpid(program.pid(), &status, WUNTRACED), program.pid());
  EXPECT_TRUE(WIFSTOPPED(status));
  kill(program.pid(), SIGCONT);
  EXPECT_EQ(program.wait(), 0);
}

TEST(TerminalSession, SignalsThatWereIgnoredStayIgnored) {
  std::signal(SIGHUP, SIG_IGN);
  std::signal(SIGTSTP, SIG_IGN);
  StandardOutput output;
  TerminalSession session(output);
  raise(SIGHUP);
  raise(SIGTSTP);
  raise(SIGWINCH);
  EXPECT_EQ(session.waitUntil(kForever), Event::kResize);
}

TEST(TerminalSession, AfterwardsTheSignalsDoWhatTheyDidBefore) {
  StandardOutput output;
  { const TerminalSession session(output); }
  EXPECT_EXIT(raise(SIGHUP), ::testing::KilledBySignal(SIGHUP), "");
  EXPECT_EXIT(raise(SIGTERM), ::testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
}  // namespace kelvora
