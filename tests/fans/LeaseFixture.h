#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/SMCRecords.h"
#include "KelvoraCore/SensorController.h"

#include "platforms/posix/PosixChildProcesses.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

/// A recorded Mac with two fans whose privileged tool is a script in a scratch folder. The script
/// notes each write and does what the test has ordered. The guardian is the real program.
class LeaseFixture : public ::testing::Test {
 protected:
  /// Fans with a mode and a target.
  static constexpr const char* kWithModes = "MacBookPro15,1";
  /// Fans with a minimum only.
  static constexpr const char* kWithMinimum = "MacBookPro10,1";

  /// A time-out that a test waits for. It is also the limit for the start of a guardian and for
  /// each run of the tool, which a busy computer may delay.
  static constexpr std::chrono::seconds kShort{5};

  LeaseFixture() {
    for (const char* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "HOME"}) {
      setenv(variable, folder.path().c_str(), 1);
    }
    unsetenv("KELVORA_MACHINE");
    use(kWithModes);
    installTool();
  }

  // A guardian keeps trying until its fan is handed back.
  ~LeaseFixture() override {
    endOrders();
    EXPECT_TRUE(soon([] { return guardianOf(getpid()) == 0; }));
  }

  /// What the tool writes does not change the recording. Its fans are recorded as taken, so that
  /// none seems to be the system's while it is not.
  void use(const std::string& machine) {
    controller.reset();
    platform::RecordedMachine recorded = recordedMachine(machine);
    for (platform::RecordedSMCKey& key : *recorded.smcKeys) {
      if (key.key == SMCPackedKey("F0Md") || key.key == SMCPackedKey("F1Md")) {
        key.bytes = {std::byte{1}};
      }
    }
    use(std::move(recorded));
  }
  void use(platform::RecordedMachine machine) {
    controller.reset();
    platform = recordedPlatform(std::move(machine));
    platform->ports().childProcesses = std::make_unique<platform::PosixChildProcesses>();
    controller = std::make_unique<SensorController>(*platform);
  }

  void installTool() const {
    const std::string tool = folder.write("Kelvora/Kelvora SMC", kScript);
    chmod(tool.c_str(), 0755);
  }

  std::unique_ptr<KVFanLease> newLease(
      std::chrono::milliseconds timeout = std::chrono::seconds(30)) const {
    return std::make_unique<KVFanLease>(
        *controller, KVFanLeaseOptions{timeout, "Test Host", KELVORA_TEST_GUARDIAN});
  }

  // --- orders to the tool: of a key ("F0Md"), and the value that it is to be written

  /// Fails with status 5 and writes nothing.
  void failWrites(const std::string& key, const std::string& value) const {
    folder.write("Kelvora/fail-" + key + "-" + value, "");
  }
  /// Writes, and fails with status 6.
  void failAfterWrites(const std::string& key, const std::string& value) const {
    folder.write("Kelvora/fail-late-" + key + "-" + value, "");
  }
  /// Does not write before the order ends.
  void hangWrites(const std::string& key, const std::string& value) const {
    folder.write("Kelvora/hang-" + key + "-" + value, "");
  }
  /// The next one does not write before the order ends; those after it do.
  void hangOnce(const std::string& key, const std::string& value) const {
    folder.write("Kelvora/hang-once-" + key + "-" + value, "");
  }
  /// Whether the tool has come to an order to hang.
  bool hangs(const std::string& key, const std::string& value) const {
    return std::filesystem::exists(folder.path("Kelvora/is-hanging-" + key + "-" + value));
  }
  void endOrders() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path("Kelvora"))) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with("fail-") || name.starts_with("hang-")) {
        std::filesystem::remove(entry.path());
      }
    }
  }

  // --- what was written

  /// Of all keys, in order, e.g. {"F0Md 01", "F0Tg 00803b45"}.
  std::vector<std::string> writes() const {
    std::istringstream log(folder.read("Kelvora/log"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(log, line);) {
      lines.push_back(line);
    }
    return lines;
  }
  /// The last value of a key; empty if it was never written.
  std::string valueOf(const std::string& key) const {
    std::string value;
    for (const std::string& line : writes()) {
      value = line.starts_with(key + " ") ? line.substr(key.size() + 1) : value;
    }
    return value;
  }

  /// Waits until it holds; false if it never does.
  static bool soon(const std::function<bool()>& predicate) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!predicate()) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }
  bool isOnDisk(int fan = 0) const {
    return std::filesystem::exists(*KVUtils::groupContainerLocation(*platform) + "/Fan" +
                                   std::to_string(fan) + ".plist");
  }
  bool soonOffTheDisk() const {
    return soon([this] { return !isOnDisk(0) && !isOnDisk(1); });
  }

  /// The processes that run a program, without those that have ended and were not waited for.
  static std::vector<pid_t> processesOf(const std::string& program) {
    std::vector<pid_t> processes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
      std::error_code error;
      if (std::filesystem::read_symlink(entry.path() / "exe", error) == program) {
        processes.push_back(std::stoi(entry.path().filename()));
      }
    }
    return processes;
  }
  /// The guardian that a process has started; 0 if it has none.
  static pid_t guardianOf(pid_t parent) {
    for (const pid_t process : processesOf(KELVORA_TEST_GUARDIAN)) {
      std::ifstream status("/proc/" + std::to_string(process) + "/status");
      for (std::string line; std::getline(status, line);) {
        if (line == "PPid:\t" + std::to_string(parent)) {
          return process;
        }
      }
    }
    return 0;
  }

  TemporaryFolder folder;
  std::unique_ptr<Platform> platform;
  std::unique_ptr<SensorController> controller;

 private:
  static constexpr const char* kScript = R"TOOL(#!/bin/sh
cd "$(dirname "$0")" || exit 100
test "$1" = -k && test "$3" = -w && test $# = 4 || exit 101
if test -e "fail-$2-$4"; then exit 5; fi
if mv "hang-once-$2-$4" "hang-until-$2-$4" 2>/dev/null; then
  while test -e "hang-until-$2-$4"; do sleep 0.01; done
fi
while test -e "hang-$2-$4"; do : > "is-hanging-$2-$4"; sleep 0.01; done
echo "$2 $4" >> log
if test -e "fail-late-$2-$4"; then exit 6; fi
exit 0
)TOOL";
};

}  // namespace kelvora::testing
