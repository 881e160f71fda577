#include "ports/GuardChannel.h"

#include <csignal>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"

namespace kelvora::testing {
namespace {

using platform::GuardChannel;
using std::chrono::milliseconds;

constexpr milliseconds kAtOnce{0};
constexpr milliseconds kAtMost{30'000};

GuardChannel::Ends newChannel() {
  auto ends = GuardChannel::open();
  EXPECT_TRUE(ends.has_value());
  return *std::move(ends);
}

TEST(GuardChannel, LinesArriveInOrderInBothDirections) {
  GuardChannel::Ends ends = newChannel();
  EXPECT_TRUE(ends.first.send("one"));
  EXPECT_TRUE(ends.first.send(""));
  EXPECT_TRUE(ends.second.send("back"));
  std::string line;
  EXPECT_EQ(ends.second.receive(line, kAtOnce), GuardChannel::Event::kLine);
  EXPECT_EQ(line, "one");
  EXPECT_EQ(ends.second.receive(line, kAtOnce), GuardChannel::Event::kLine);
  EXPECT_EQ(line, "");
  EXPECT_EQ(ends.second.receive(line, kAtOnce), GuardChannel::Event::kNothing);
  EXPECT_EQ(ends.first.receive(line, kAtOnce), GuardChannel::Event::kLine);
  EXPECT_EQ(line, "back");
}

TEST(GuardChannel, ALineThatComesLaterIsWaitedFor) {
  GuardChannel::Ends ends = newChannel();
  const ChildWork writer([&] { return ends.second.send("later") ? 0 : 1; });
  std::string line;
  EXPECT_EQ(ends.first.receive(line, kAtMost), GuardChannel::Event::kLine);
  EXPECT_EQ(line, "later");
}

TEST(GuardChannel, TheEndComesAfterTheLinesBeforeIt) {
  GuardChannel::Ends ends = newChannel();
  ends.first.send("last");
  ends.first.close();
  EXPECT_EQ(ends.first.descriptor(), -1);
  std::string line;
  EXPECT_EQ(ends.second.receive(line, kAtMost), GuardChannel::Event::kLine);
  EXPECT_EQ(ends.second.receive(line, kAtMost), GuardChannel::Event::kEnd);
  EXPECT_EQ(ends.second.receive(line, kAtMost), GuardChannel::Event::kEnd);
  EXPECT_EQ(ends.first.receive(line, kAtMost), GuardChannel::Event::kEnd);
}

// The tools of a holder have copies of its end.
TEST(GuardChannel, ItEndsOnlyWithTheLastCopyOfTheOtherEnd) {
  GuardChannel::Ends ends = newChannel();
  const int copy = dup(ends.first.descriptor());
  ends.first.close();
  std::string line;
  EXPECT_EQ(ends.second.receive(line, kAtOnce), GuardChannel::Event::kNothing);
  close(copy);
  EXPECT_EQ(ends.second.receive(line, kAtMost), GuardChannel::Event::kEnd);
}

TEST(GuardChannel, AKilledProcessEndsIt) {
  GuardChannel::Ends ends = newChannel();
  ChildWork holder([&] {
    ends.second.close();
    return pause();
  });
  ends.first.close();
  std::string line;
  EXPECT_EQ(ends.second.receive(line, kAtOnce), GuardChannel::Event::kNothing);
  holder.kill();
  EXPECT_EQ(ends.second.receive(line, kAtMost), GuardChannel::Event::kEnd);
}

TEST(GuardChannel, SendingToAClosedEndFailsWithoutASignal) {
  GuardChannel::Ends ends = newChannel();
  ends.second.close();
  std::signal(SIGPIPE, SIG_DFL);
  EXPECT_FALSE(ends.first.send("x"));
}

TEST(GuardChannel, SendingToAnEndThatNeverReadsFailsAndDoesNotBlock) {
  GuardChannel::Ends ends = newChannel();
  int sent = 0;
  while (sent < 10'000'000 && ends.first.send("renewed")) {
    ++sent;
  }
  EXPECT_GT(sent, 100);
  EXPECT_LT(sent, 10'000'000);
}

TEST(GuardChannel, ALineWithoutAnEndIsNotKeptForEver) {
  GuardChannel::Ends ends = newChannel();
  const std::string piece(1000, 'x');
  const ChildWork writer([&] {
    ends.second.close();
    for (int i = 0; i < 100; ++i) {
      if (write(ends.first.descriptor(), piece.data(), piece.size()) < 0) {
        return 1;
      }
    }
    return 0;
  });
  std::string line;
  EXPECT_EQ(ends.second.receive(line, kAtMost), GuardChannel::Event::kEnd);
}

TEST(GuardChannel, ChildrenInheritNeitherEndOnTheirOwn) {
  GuardChannel::Ends ends = newChannel();
  for (const GuardChannel* end : {&ends.first, &ends.second}) {
    EXPECT_EQ(fcntl(end->descriptor(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  }
}

TEST(GuardChannel, AProcessTakesTheEndThatIsItsStandardInput) {
  GuardChannel::Ends ends = newChannel();
  const ChildWork guardian([&] {
    dup2(ends.second.descriptor(), STDIN_FILENO);
    ends.first.close();
    ends.second.close();
    auto end = GuardChannel::fromStandardInput();
    char byte = 0;
    const bool isEmptyNow = read(STDIN_FILENO, &byte, 1) == 0;
    return end && isEmptyNow && end->send("ready") ? 0 : 1;
  });
  ends.second.close();
  std::string line;
  EXPECT_EQ(ends.first.receive(line, kAtMost), GuardChannel::Event::kLine);
  EXPECT_EQ(line, "ready");
  EXPECT_EQ(ends.first.receive(line, kAtMost), GuardChannel::Event::kEnd);
}

TEST(GuardChannel, AnotherStandardInputIsNotAChannel) {
  const int nothing = open("/dev/null", O_RDONLY);
  dup2(nothing, STDIN_FILENO);
  EXPECT_FALSE(GuardChannel::fromStandardInput().has_value());
  close(STDIN_FILENO);
  EXPECT_FALSE(GuardChannel::fromStandardInput().has_value());
}

}  // namespace
}  // namespace kelvora::testing
