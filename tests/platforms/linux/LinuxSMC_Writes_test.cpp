// Writes to the driver's files of fans.
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platforms/linux/smc/LinuxSMC.h"
#include "tests/platforms/linux/ScriptedFiles.h"
#include "tests/support/RawSMC.h"

namespace kelvora::testing {
namespace {

using platform::kKernelNotPermitted;
using platform::LinuxSMC;

// Writes the bytes with the key's own size.
RawSMC::Reply writeKey(RawSMC& connection, const char* key, const std::vector<int>& bytes) {
  std::vector<std::byte> payload;
  for (const int byte : bytes) {
    payload.push_back(static_cast<std::byte>(byte));
  }
  return connection.call(6, SMCPackedKey(key), static_cast<std::uint32_t>(bytes.size()), 0,
                         payload);
}

class LinuxSMCWrites : public ::testing::Test {
 protected:
  explicit LinuxSMCWrites(bool isRoot = false) {
    auto owned = filesWithSensors(isRoot);
    files = owned.get();
    files->own["fan1_manual"] = "1\n";
    files->own["fan2_input"] = "1999\n";
    smc = std::make_unique<LinuxSMC>(std::move(owned));
    ::testing::internal::CaptureStderr();
    connection.emplace(*smc);
    ::testing::internal::GetCapturedStderr();
  }

  using Written = std::vector<std::pair<std::string, std::string>>;
  ScriptedFiles* files;
  std::unique_ptr<LinuxSMC> smc;
  std::optional<RawSMC> connection;
};

TEST_F(LinuxSMCWrites, AFansKeysAreNumbersInTheFilesOfTheNextFan) {
  struct Row {
    const char* key;
    std::vector<int> bytes;
    const char* file;
    const char* content;
  };
  const Row rows[] = {
      {"F0Md", {1}, "fan1_manual", "1\n"},
      {"F0Md", {0}, "fan1_manual", "0\n"},
      {"F0Tg", {0x00, 0x00, 0xfa, 0x44}, "fan1_output", "2000\n"},
      {"F1Tg", {0x00, 0x08, 0xfa, 0x44}, "fan2_output", "2000\n"},  // 2000.25
      {"F0Mn", {0x1f, 0x43}, "fan1_min", "2001\n"},                 // 2000.75
      {"F0Mn", {0x00, 0x00}, "fan1_min", "0\n"},
      {"F0Mn", {0xff, 0xfc}, "fan1_min", "16383\n"},
  };
  for (const Row& row : rows) {
    files->written.clear();
    const auto reply = writeKey(*connection, row.key, row.bytes);
    EXPECT_EQ(reply.status, 0U) << row.key;
    EXPECT_EQ(reply.result, 0) << row.key;
    EXPECT_EQ(files->written, (Written{{row.file, row.content}}));
  }
}

TEST_F(LinuxSMCWrites, WhatTheDriverCannotHoldIsNotWritten) {
  const std::pair<const char*, std::vector<int>> rows[] = {
      {"F0Tg", {0x00, 0x00, 0xc0, 0x7f}},  // not a number
      {"F0Tg", {0x00, 0x00, 0x80, 0x7f}},  // infinity
      {"F0Tg", {0x00, 0x00, 0x80, 0xbf}},  // -1
      {"F0Tg", {0x00, 0x00, 0x80, 0x46}},  // 16384
      {"F0Mn", {0xff, 0xfe}},              // 16383.5 is more than 14 bits
  };
  for (const auto& [key, bytes] : rows) {
    EXPECT_EQ(writeKey(*connection, key, bytes).status, platform::kKernelBadArgument)
        << ::testing::PrintToString(bytes);
  }
  EXPECT_TRUE(files->written.empty());
}

TEST_F(LinuxSMCWrites, AWriteOfAnotherSizeHasResult135) {
  for (const auto& [key, bytes] : std::vector<std::pair<const char*, std::vector<int>>>{
           {"F0Md", {0, 1}}, {"F0Tg", {0x1f, 0x40}}, {"F0Mn", {0}}, {"F0Mn", {0, 0, 0x80, 0x3f}}}) {
    EXPECT_EQ(writeKey(*connection, key, bytes).result, 135) << key;
  }
  EXPECT_TRUE(files->written.empty());
}

TEST_F(LinuxSMCWrites, OnlyModeTargetAndMinimumOfAFanThatExistsCanBeWritten) {
  for (const char* key : {"F0Ac", "F0Mx", "F0Sf", "F0ID", "FNum", "TC0P", "#KEY", "F1Md", "F2Mn",
                          "FAMn", "F/Mn", "F:Mn", "G0Mn", "VC0C"}) {
    for (const std::size_t size : {1, 2, 4}) {
      EXPECT_EQ(writeKey(*connection, key, std::vector<int>(size)).status, kKernelNotPermitted)
          << key;
    }
  }
  EXPECT_TRUE(files->written.empty());
}

TEST_F(LinuxSMCWrites, ARefusalOfTheDriverIsTheStatusOfTheCall) {
  for (const auto status : {platform::kKernelIOError, kKernelNotPermitted}) {
    files->refusal = status;
    EXPECT_EQ(writeKey(*connection, "F0Md", {1}).status, status);
  }
}

// The driver has the file for every Mac, whether or not the SMC has the key.
TEST_F(LinuxSMCWrites, TheModeHasNoIndexForWhoMayNotReadTheListOfTheSMC) {
  std::vector<std::uint32_t> names;
  for (std::uint32_t index = 0; connection->call(8, 0, 0, index).result == 0; ++index) {
    names.push_back(connection->call(8, 0, 0, index).key);
  }
  EXPECT_EQ(std::ranges::count(names, SMCPackedKey("F0Md")), 0);
  EXPECT_EQ(std::ranges::count(names, SMCPackedKey("F1Tg")), 1);
  EXPECT_EQ(payloadBytes(connection->call(5, SMCPackedKey("#KEY")), 4),
            (std::vector{0, 0, 0, static_cast<int>(names.size())}));
  EXPECT_EQ(connection->call(9, SMCPackedKey("F0Md")).dataSize, 1U);
}

TEST_F(LinuxSMCWrites, TheModeIsRead) {
  EXPECT_EQ(payloadBytes(connection->call(5, SMCPackedKey("F0Md")), 1), std::vector{1});
  EXPECT_EQ(connection->call(9, SMCPackedKey("F0Md")).dataType, SMCPackedKey("ui8 "));
  EXPECT_EQ(connection->call(9, SMCPackedKey("F0Md")).dataSize, 1U);
  EXPECT_EQ(connection->call(9, SMCPackedKey("F1Md")).result, 132);  // it has no such file
  files->own["fan1_manual"] = "256\n";
  EXPECT_EQ(connection->call(5, SMCPackedKey("F0Md")).result, 133);
}

class LinuxSMCWritesOfRoot : public LinuxSMCWrites {
 protected:
  LinuxSMCWritesOfRoot() : LinuxSMCWrites(true) {}
};

TEST_F(LinuxSMCWritesOfRoot, AModeThatTheSMCHasNoKeyForHasANameAndNoIndex) {
  EXPECT_EQ(payloadBytes(connection->call(5, SMCPackedKey("F0Md")), 1), std::vector{1});
  EXPECT_EQ(writeKey(*connection, "F0Md", {0}).status, 0U);
  EXPECT_EQ(files->written, (Written{{"fan1_manual", "0\n"}}));
  EXPECT_EQ(connection->call(8, 0, 0, 3).result, 132);
}

TEST(LinuxSMC, AWriteTakesTheTypeThatTheSMCSays) {
  auto owned = std::make_unique<ScriptedFiles>(
      std::vector<DriverKey>{{"F0Tg", "fpe2", std::string("\0\0", 2)},
                             {"F0Mn", "flt ", std::string("\0\0\0\0", 4)},
                             {"F1Tg", "ui16", std::string("\0\0", 2)},
                             {"F1Mn", "fpe2", std::string("\0\0\0\0", 4)},
                             {"F0Md", "ch8*", std::string("\0", 1)}});
  ScriptedFiles& files = *owned;
  files.own = {{"fan1_input", "2000\n"}, {"fan1_manual", "0\n"}, {"fan2_input", "2000\n"}};
  LinuxSMC smc(std::move(owned));
  RawSMC connection(smc);
  EXPECT_EQ(writeKey(connection, "F1Tg", {0x1f, 0x40}).status, platform::kKernelBadArgument);
  EXPECT_EQ(writeKey(connection, "F1Mn", {0, 0, 0x1f, 0x40}).status, platform::kKernelBadArgument);
  EXPECT_EQ(writeKey(connection, "F0Tg", {0x1f, 0x40}).status, 0U);
  EXPECT_EQ(writeKey(connection, "F0Mn", {0x00, 0x00, 0xfa, 0x44}).status, 0U);
  EXPECT_EQ(writeKey(connection, "F0Md", {1}).status, platform::kKernelBadArgument);
  EXPECT_EQ(files.written, (std::vector<std::pair<std::string, std::string>>{
                               {"fan1_output", "2000\n"}, {"fan1_min", "2000\n"}}));
}

}  // namespace
}  // namespace kelvora::testing
