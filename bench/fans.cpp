// How soon a fan returns when the program that holds it is killed, and what a held lease costs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/SensorController.h"

#include "tests/support/TemporaryFolder.h"

namespace kelvora::bench {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kDeaths = 100;
constexpr milliseconds kGoal{100};
constexpr int kRenewals = 10;
constexpr milliseconds kBetweenRenewals{300};

// An account of its own, on a recorded Mac, with the real tool and the real guardian.
void prepare(const std::string& home) {
  for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
    setenv(variable, home.c_str(), 1);
  }
  unsetenv("KELVORA_MACHINE");
  const auto live = Platform::live();
  std::filesystem::copy_file(*KVUtils::smcExeSrcPath(*live), *KVUtils::smcExePath(*live));
  Platform::choose(KELVORA_MACHINES "/MacBookPro15,1.json");
}

/// A process that takes fan 0 and renews its lease `renewals` times; -1: until it is killed.
class Holder {
 public:
  explicit Holder(int renewals = -1) {
    int ends[2];
    if (pipe(ends) != 0 || (pid_ = fork()) < 0) {
      std::perror("fans_bench");
      std::exit(1);
    }
    if (pid_ == 0) {
      hold(ends[1], renewals);
    }
    close(ends[1]);
    char byte = 0;
    if (read(ends[0], &byte, 1) != 1) {
      std::fprintf(stderr, "fans_bench: the fan was not taken\n");
      std::exit(1);
    }
    close(ends[0]);
  }
  Clock::time_point killed() const {
    const auto moment = Clock::now();
    kill(pid_, SIGKILL);
    return moment;
  }
  void wait() const { waitpid(pid_, nullptr, 0); }
  std::filesystem::path process() const { return "/proc/" + std::to_string(pid_); }

 private:
  [[noreturn]] static void hold(int ready, int renewals) {
    SensorController controller;
    KVFanLease lease(controller);
    const bool isTaken = lease.take({{0, 3000}});
    if (!isTaken || write(ready, "", 1) != 1) {
      std::fprintf(stderr, "fans_bench: %s\n", lease.fault().c_str());
      std::_Exit(1);
    }
    for (int i = 0; i != renewals; ++i) {
      std::this_thread::sleep_for(kBetweenRenewals);
      lease.renew();
    }
    std::_Exit(0);
  }

  pid_t pid_ = -1;
};

double inMilliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

void timeTheReturn() {
  std::vector<double> times;
  SensorController reader;
  for (int i = 0; i < kDeaths; ++i) {
    const Holder holder;
    const auto death = holder.killed();
    while (reader.smc().rawValueByKey("F0Md") != 0) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    times.push_back(inMilliseconds(Clock::now() - death));
    holder.wait();
    while (!std::filesystem::is_empty(*KVUtils::groupContainerPath()) &&
           std::filesystem::exists(*KVUtils::groupContainerPath() + "/Fan0.plist")) {
      std::this_thread::sleep_for(milliseconds(1));
    }
  }
  std::ranges::sort(times);
  const auto inTime = std::ranges::count_if(
      times, [](double time) { return time <= static_cast<double>(kGoal.count()); });
  std::printf(
      "a killed holder's fan is the system's again after %.1f ms (median), %.1f ms (slowest "
      "of %d); within 100 ms: %d of %d (goal: 99)\n",
      times[times.size() / 2], times.back(), kDeaths, static_cast<int>(inTime), kDeaths);
}

// How often a process has waited, and was woken.
long wakeUpsOf(const std::filesystem::path& process) {
  std::ifstream status(process / "status");
  constexpr std::string_view kName = "voluntary_ctxt_switches:";
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(kName)) {
      return std::stol(line.substr(kName.size()));
    }
  }
  return 0;
}

// Of the only process of a program.
std::filesystem::path processOf(const std::string& program) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::error_code error;
    if (std::filesystem::read_symlink(entry.path() / "exe", error) == program) {
      return entry.path();
    }
  }
  return {};
}

void countTheWakeUps() {
  const Holder holder(kRenewals);
  const std::filesystem::path guardian = processOf(*KVUtils::fanGuardianPath());
  std::this_thread::sleep_for(kBetweenRenewals / 2);
  const long guardianBefore = wakeUpsOf(guardian);
  const long holderBefore = wakeUpsOf(holder.process());
  std::this_thread::sleep_for((kRenewals - 1) * kBetweenRenewals);
  const long guardianWoken = wakeUpsOf(guardian) - guardianBefore;
  const long holderWoken = wakeUpsOf(holder.process()) - holderBefore;
  holder.wait();
  std::printf(
      "a held lease woke its guardian %ld times and its holder %ld times for %d renewals (goal: "
      "each once for each)\n",
      guardianWoken, holderWoken, kRenewals - 1);
}

}  // namespace
}  // namespace kelvora::bench

int main() {
  const kelvora::testing::TemporaryFolder home;
  kelvora::bench::prepare(home.path());
  kelvora::bench::timeTheReturn();
  kelvora::bench::countTheWakeUps();
}
