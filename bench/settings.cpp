// The cost of a setting: a getter beside a bare stat of the suite's file, and the time from a
// setter to its receipt in a second process beside a byte through a pipe. Run under
// dbus-run-session.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/KVViewController.h"

#include "tests/support/TemporaryFolder.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int kNotices = 1000;
constexpr int kReads = 200'000;

std::int64_t nowNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
      .count();
}

template <typename Work>
double microsecondsEach(int rounds, Work work) {
  const auto start = Clock::now();
  for (int round = 0; round < rounds; ++round) {
    work();
  }
  return Microseconds(Clock::now() - start).count() / rounds;
}

void sendTime(int pipe) {
  const std::int64_t now = nowNanoseconds();
  if (write(pipe, &now, sizeof now) != sizeof now) {
    std::exit(1);
  }
}

std::int64_t receiveTime(int pipe) {
  std::int64_t time = 0;
  if (read(pipe, &time, sizeof time) != sizeof time) {
    std::exit(1);
  }
  return time;
}

// Writes to the pipe when it is listening, and again for each notification received.
class Listener : public kelvora::KVViewController {
 public:
  explicit Listener(int pipe) : pipe_(pipe) {}
  void updateUI() override { sendTime(pipe_); }

 private:
  int pipe_;
};

void listen(int toParent, int fromParent) {
  Listener listener(toParent);
  listener.viewDidLoad();
  sendTime(toParent);
  while (true) {
    std::array<pollfd, 2> waiting{
        {{kelvora::KVMainQueue::descriptor(), POLLIN, 0}, {fromParent, POLLIN, 0}}};
    poll(waiting.data(), waiting.size(), -1);
    if ((waiting[1].revents & POLLIN) != 0) {
      receiveTime(fromParent);
      sendTime(toParent);
    } else if (waiting[1].revents != 0) {
      std::_Exit(0);
    }
    kelvora::KVMainQueue::runPending();
  }
}

void printDistribution(const char* what, std::vector<double> microseconds) {
  std::sort(microseconds.begin(), microseconds.end());
  const auto at = [&](double share) {
    return microseconds[static_cast<std::size_t>(share *
                                                 static_cast<double>(microseconds.size() - 1))];
  };
  std::printf("%-44s p50 %8.0f us   p90 %8.0f us   p99 %8.0f us   max %8.0f us\n", what, at(0.5),
              at(0.9), at(0.99), at(1.0));
}

// What every setter has to wait for: a small file written, brought to disk, renamed, and its folder
// brought to disk.
double bareReplacement(const std::string& folder) {
  const std::string file = folder + "/bare";
  const std::string next = file + ".new";
  const auto start = Clock::now();
  const int written = open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const std::array<char, 100> bytes{};
  const bool right = write(written, bytes.data(), bytes.size()) == 100 && fsync(written) == 0 &&
                     close(written) == 0 && rename(next.c_str(), file.c_str()) == 0;
  const int opened = open(folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (!right || fsync(opened) != 0 || close(opened) != 0) {
    std::exit(1);
  }
  return Microseconds(Clock::now() - start).count();
}

void measureNotices(const std::string& folder, int toChild, int fromChild) {
  receiveTime(fromChild);
  std::vector<double> bare;
  std::vector<double> replacements;
  std::vector<double> notices;
  for (int round = 0; round < kNotices; ++round) {
    std::int64_t start = nowNanoseconds();
    sendTime(toChild);
    bare.push_back(static_cast<double>(receiveTime(fromChild) - start) / 1000);
    replacements.push_back(bareReplacement(folder));
    start = nowNanoseconds();
    kelvora::KVSettings::shared().setTempUnitCelsius(round % 2 == 0);
    kelvora::KVMainQueue::runPending();
    notices.push_back(static_cast<double>(receiveTime(fromChild) - start) / 1000);
  }
  printDistribution("bare: a number through a pipe", bare);
  printDistribution("bare: a small file replaced on disk", replacements);
  printDistribution("setter to receipt (goal: p99 under 5000 us)", notices);
}

void measureGetters(const std::string& file) {
  struct stat facts = {};
  volatile bool sink = false;
  const double bare = microsecondsEach(kReads, [&] { sink = stat(file.c_str(), &facts) == 0; });
  const double getter =
      microsecondsEach(kReads, [&] { sink = kelvora::KVSettings::shared().tempUnitCelsius(); });
  std::printf("%-44s %8.3f us\n", "bare: stat of the suite's file", bare);
  std::printf("%-44s %8.3f us   %.2f times the bare one (goal: at most 3)\n", "getter", getter,
              getter / bare);
}

}  // namespace

int main() {
  const kelvora::testing::TemporaryFolder folder;
  setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
  std::array<int, 2> toChild = {};
  std::array<int, 2> toParent = {};
  if (pipe(toChild.data()) != 0 || pipe(toParent.data()) != 0) {
    return 1;
  }
  const pid_t child = fork();
  if (child == 0) {
    close(toChild[1]);
    listen(toParent[1], toChild[0]);
  }
  measureNotices(folder.path(), toChild[1], toParent[0]);
  close(toChild[1]);
  waitpid(child, nullptr, 0);
  measureGetters(folder.path("group.com.kelvora/Settings.plist"));
}
