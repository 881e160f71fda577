#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KelvoraCore/Platform.h"

#include "tests/support/RawSMC.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

inline constexpr std::uint32_t kMode = SMCPackedKey("F0Md");
inline constexpr std::uint32_t kTarget = SMCPackedKey("F0Tg");
inline constexpr std::uint32_t kActual = SMCPackedKey("F0Ac");
inline const std::vector<std::byte> kManual = {std::byte{1}};
/// 3000 and 4000 revolutions per minute.
inline const std::vector<std::byte> k3000 = {std::byte{0}, std::byte{0x80}, std::byte{0x3b},
                                             std::byte{0x45}};
inline const std::vector<std::byte> k4000 = {std::byte{0}, std::byte{0}, std::byte{0x7a},
                                             std::byte{0x45}};

inline std::string machineFile(const std::string& name) {
  return std::string(KELVORA_MACHINES) + "/" + name + ".json";
}

/// An account of a test's own.
class ChosenMachineTest : public ::testing::Test {
 protected:
  ChosenMachineTest() {
    setenv("XDG_DATA_HOME", home_.path().c_str(), 1);
    unsetenv("KELVORA_MACHINE");
  }

  static void choose(const std::string& name) { Platform::choose(machineFile(name)); }
  std::string file() const { return home_.path("Kelvora/Machine.json"); }
  std::string content() const { return home_.read("Kelvora/Machine.json"); }
  void replace(const std::string& text) const {
    home_.write("Kelvora/Other.json", text);
    chmod(home_.path("Kelvora/Other.json").c_str(), 0600);
    std::filesystem::rename(home_.path("Kelvora/Other.json"), file());
  }

  TemporaryFolder home_;
};

inline std::vector<std::byte> read(RawSMC& connection, std::uint32_t key) {
  const auto reply = connection.call(5, key, 4);
  EXPECT_EQ(reply.status, 0U);
  return {reply.payload.begin(), reply.payload.begin() + 4};
}

inline platform::KernelStatus write(RawSMC& connection, std::uint32_t key,
                                    const std::vector<std::byte>& bytes) {
  const auto reply = connection.call(6, key, static_cast<std::uint32_t>(bytes.size()), 0, bytes);
  EXPECT_EQ(reply.result, 0);
  return reply.status;
}

inline platform::KernelStatus statusOfRead(RawSMC& connection) {
  return connection.call(5, kActual, 4).status;
}

/// What the file cannot be used for; empty if it can.
inline std::string faultOf(const std::function<void()>& use) {
  try {
    use();
    return "";
  } catch (const MachineFileError& error) {
    return error.fault();
  }
}

/// What is logged goes to standard error.
inline std::string logOf(const std::function<void()>& work) {
  ::testing::internal::CaptureStderr();
  work();
  return ::testing::internal::GetCapturedStderr();
}

}  // namespace kelvora::testing
