#pragma once

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/types.h>

#include "tests/support/HomeFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {

// Fans with modes and targets, and fans that have neither mode nor write of a target.
inline constexpr char kWithModes[] = "MacBookPro15,1";
inline constexpr char kWithMinimum[] = "MacBookPro10,1";
inline constexpr char kTool[] = "data/Kelvora/Kelvora SMC";

// Three fans with modes, of which the last is at a fixed speed.
inline constexpr char kThreeFans[] = R"({"format": "kelvora-machine", "version": 1,
  "architecture": "x86_64", "title": "T", "sysctl": {"hw.model": "MacBookPro15,1"},
  "smc": {"keys": [
    {"key": "FNum", "type": "ui8 ", "bytes": "03"},
    {"key": "F0Md", "type": "ui8 ", "bytes": "00"}, {"key": "F0Tg", "type": "flt ", "bytes": "0000fa44"},
    {"key": "F0Mn", "type": "flt ", "bytes": "0000fa44"}, {"key": "F0Mx", "type": "flt ", "bytes": "00409c45"},
    {"key": "F1Md", "type": "ui8 ", "bytes": "00"}, {"key": "F1Tg", "type": "flt ", "bytes": "0000fa44"},
    {"key": "F1Mn", "type": "flt ", "bytes": "0000fa44"}, {"key": "F1Mx", "type": "flt ", "bytes": "00409c45"},
    {"key": "F2Md", "type": "ui8 ", "bytes": "01"}, {"key": "F2Tg", "type": "flt ", "bytes": "0000fa44"},
    {"key": "F2Mn", "type": "flt ", "bytes": "0000fa44"},
    {"key": "F2Mx", "type": "flt ", "bytes": "00409c45"}]}})";

/// An account with a privileged tool that has chosen a recorded Mac. At the end its fans are handed
/// back, and no holder or guardian may be left.
class KelvoraFans : public ::testing::Test {
 protected:
  KelvoraFans() {
    home_.write(kTool, "");
    std::filesystem::copy_file(KELVORA_TEST_TOOL, home_.path(kTool),
                               std::filesystem::copy_options::overwrite_existing);
    choose(kWithModes);
  }
  ~KelvoraFans() override {
    run({"fans", "auto", "all"});
    if (!soon([this] { return processes().empty(); })) {
      ADD_FAILURE() << "processes are left";
      for (const pid_t process : processes()) {
        ::kill(process, SIGKILL);
      }
    }
  }

  static ProgramResult run(const std::vector<std::string>& arguments) {
    return runKelvora(arguments);
  }
  static void choose(const char* machine) { ASSERT_EQ(run({"machine", "use", machine}).status, 0); }
  static nlohmann::json jsonOf(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.standardError;
    return nlohmann::json::parse(result.standardOutput);
  }
  static nlohmann::json fan(std::size_t index) { return jsonOf({"fans"}).at("fans").at(index); }
  // 0 for a fan that no process holds.
  static pid_t holderOf(std::size_t index) {
    const nlohmann::json lease = fan(index).at("lease");
    return lease.is_null() ? 0 : lease.at("process").get<pid_t>();
  }
  static void expectSet(std::size_t index, double speed) {
    const nlohmann::json read = fan(index);
    EXPECT_EQ(read.at("mode"), "fixed");
    EXPECT_EQ(read.at("target"), speed);
    EXPECT_EQ(read.at("speed"), speed);
    EXPECT_EQ(read.at("lease").at("program"), "kelvora");
    EXPECT_EQ(read.at("lease").at("isLive"), true);
  }
  static void expectAutomatic(std::size_t index) {
    const nlohmann::json read = fan(index);
    EXPECT_EQ(read.at("mode"), "automatic");
    EXPECT_TRUE(read.at("lease").is_null()) << read;
  }
  static void expectRefused(const std::vector<std::string>& arguments, int status,
                            const std::string& line) {
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "kelvora: " + line + "\n");
  }

  static bool soon(const std::function<bool()>& predicate) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!predicate()) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
      std::this_thread::yield();
    }
    return true;
  }
  static bool isRunning(pid_t process) {
    // One that has ended and is not reaped yet has no executable.
    std::error_code error;
    return !std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", error)
                .empty();
  }
  bool isOnDisk(int fan) const {
    return std::filesystem::exists(
        home_.path("data/group.com.kelvora/Fan" + std::to_string(fan) + ".plist"));
  }

  // Processes of this test's account that run one of the product's programs.
  std::vector<pid_t> processes(const std::string& program = "") const {
    std::vector<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
      std::error_code error;
      const std::string path = std::filesystem::read_symlink(entry.path() / "exe", error).string();
      const bool isOne = program.empty() ? path == KELVORA_PROGRAM || path == KELVORA_TEST_GUARDIAN
                                         : path == program;
      if (!error && isOne && isOfThisTest(entry.path())) {
        found.push_back(std::stoi(entry.path().filename().string()));
      }
    }
    return found;
  }
  bool isOfThisTest(const std::filesystem::path& process) const {
    std::ifstream file(process / "environ", std::ios::binary);
    const std::string environment{std::istreambuf_iterator<char>(file), {}};
    return environment.find("HOME=" + home_.path()) != std::string::npos;
  }
  // Holders and guardians: stopped first, none sees the other's end.
  void killEverything() const {
    for (const int signal : {SIGSTOP, SIGKILL}) {
      for (const pid_t process : processes()) {
        ::kill(process, signal);
      }
    }
    ASSERT_TRUE(soon([this] { return processes().empty(); }));
  }
  std::vector<pid_t> guardians() const { return processes(KELVORA_TEST_GUARDIAN); }

  HomeFolder home_;
};

}  // namespace kelvora::testing
