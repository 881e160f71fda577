#include "platforms/linux/smc/LinuxSMC.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/FileCalls.h"
#include "tests/support/SMCConnection.h"
#include "tests/support/SmallMac.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::AppleSMCFiles;
using platform::kKernelNotPermitted;
using platform::LinuxSMC;

struct DriverKey {
  std::string name;
  std::string type;
  std::optional<std::string> data;  // none: reading it fails
};

// Answers as the driver's files do: each describes the key that was chosen last.
class ScriptedFiles : public AppleSMCFiles {
 public:
  explicit ScriptedFiles(std::vector<DriverKey> keys, bool mayChoose = true)
      : AppleSMCFiles(""), keys_(std::move(keys)), mayChoose_(mayChoose) {}
  bool exist() const override { return true; }
  bool mayChooseKeys() const override { return mayChoose_; }
  bool chooseKey(unsigned index) override {
    ++choices;
    if (index >= keys_.size() || !isLocked) {
      return false;
    }
    chosen_ = index;
    return true;
  }
  platform::KernelStatus openForWriting(const std::string& name) override {
    opened.push_back(name);
    return refusal;
  }
  platform::KernelStatus write(const std::string& name, const std::string& content) override {
    written.emplace_back(name, content);
    return refusal;
  }
  void lock() override {
    isLocked = true;
    ++locks;
  }
  void unlock() override { isLocked = false; }
  std::optional<std::string> read(const std::string& name) override {
    if (const auto found = own.find(name); found != own.end()) {
      return found->second;
    }
    if (disturbances > 0 && name == "key_at_index") {
      --disturbances;
      chosen_ = (chosen_ + 1) % static_cast<unsigned>(keys_.size());
    }
    const DriverKey& key = keys_.at(chosen_);
    if (name == "key_count") {
      return std::to_string(keys_.size()) + "\n";
    }
    if (name == "key_at_index") {
      return std::to_string(chosen_) + "\n";
    }
    if (name == "key_at_index_name") {
      return key.name + "\n";
    }
    if (name == "key_at_index_type") {
      return key.type + "\n";
    }
    if (name == "key_at_index_data_length") {
      return std::to_string(key.data.value_or("x").size()) + "\n";
    }
    return name == "key_at_index_data" ? key.data : std::nullopt;
  }

  std::map<std::string, std::string> own;  // files of temperatures and fans
  std::vector<std::string> opened;         // for writing
  std::vector<std::pair<std::string, std::string>> written;
  platform::KernelStatus refusal = 0;
  int disturbances = 0;  // how often another program chooses a key in between
  int choices = 0;
  int locks = 0;
  bool isLocked = false;

 private:
  std::vector<DriverKey> keys_;
  bool mayChoose_;
  unsigned chosen_ = 0;
};

const std::vector<DriverKey> kKeys = {{"#KEY", "ui32", std::string("\0\0\0\3", 4)},
                                      {"TC0P", "sp78", "\x25\x20"},
                                      {"BNCM", "ui8", {}}};

TEST(LinuxSMC, ReadsKeysThroughTheDriver) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  SMCConnection connection(smc);
  EXPECT_EQ(connection.openStatus, 0U);
  EXPECT_EQ(connection.call(8, 0, 0, 1).key, SMCPackedKey("TC0P"));
  EXPECT_EQ(connection.call(8, 0, 0, 3).result, 132);
  const auto info = connection.call(9, SMCPackedKey("TC0P"));
  EXPECT_EQ(info.dataSize, 2U);
  EXPECT_EQ(info.dataType, SMCPackedKey("sp78"));
  const auto read = connection.call(5, SMCPackedKey("TC0P"), 2);
  EXPECT_EQ(read.result, 0);
  EXPECT_EQ(read.payload[0], std::byte{0x25});
  EXPECT_EQ(connection.call(5, SMCPackedKey("#KEY"), 4).payload[3], std::byte{3});
  EXPECT_EQ(connection.call(9, SMCPackedKey("Nope")).result, 132);
}

TEST(LinuxSMC, ATypeThatTheDriverCutsShortEndedInNUL) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  SMCConnection connection(smc);
  EXPECT_EQ(connection.call(9, SMCPackedKey("BNCM")).dataType, 0x75693800U);
}

TEST(LinuxSMC, AKeyThatCannotBeReadAnswersResult133) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  SMCConnection connection(smc);
  EXPECT_EQ(connection.call(5, SMCPackedKey("BNCM"), 1).result, 133);
}

TEST(LinuxSMC, WritesOfOtherKeysThanFansAreNotPermitted) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  SMCConnection connection(smc);
  EXPECT_EQ(connection.call(6, SMCPackedKey("TC0P"), 2).status, kKernelNotPermitted);
}

// The files of a Mac with one fan and two temperatures, of which one is negative.
std::unique_ptr<ScriptedFiles> filesWithSensors(bool isRoot) {
  auto files = std::make_unique<ScriptedFiles>(kKeys, isRoot);
  files->own = {
      {"fan1_label", "Left side  \n"}, {"fan1_input", "2000\n"},  {"fan1_min", "1200\n"},
      {"fan1_max", "6000\n"},          {"fan1_output", "2001\n"}, {"temp1_label", "TC0P\n"},
      {"temp1_input", "42250\n"},      {"temp2_label", "TB0T\n"}, {"temp2_input", "-1750\n"}};
  return files;
}

std::vector<int> payloadBytes(const SMCConnection::Reply& reply, std::size_t count) {
  std::vector<int> bytes;
  for (std::size_t i = 0; i < count; ++i) {
    bytes.push_back(std::to_integer<int>(reply.payload[i]));
  }
  return bytes;
}

TEST(LinuxSMC, AnyUserReadsTemperaturesAndFansFromTheirOwnFiles) {
  auto owned = filesWithSensors(false);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  ::testing::internal::CaptureStderr();
  SMCConnection connection(smc);
  SMCConnection second(smc);
  EXPECT_EQ(
      ::testing::internal::GetCapturedStderr(),
      "applesmc: temperatures and fans only; root also reads voltages, currents and powers\n");
  ASSERT_EQ(connection.openStatus, 0U);
  std::vector<std::uint32_t> names;
  for (std::uint32_t index = 0; connection.call(8, 0, 0, index).result == 0; ++index) {
    names.push_back(connection.call(8, 0, 0, index).key);
  }
  const std::vector<std::uint32_t> expected{
      SMCPackedKey("#KEY"), SMCPackedKey("FNum"), SMCPackedKey("F0ID"), SMCPackedKey("F0Ac"),
      SMCPackedKey("F0Mn"), SMCPackedKey("F0Mx"), SMCPackedKey("F0Sf"), SMCPackedKey("F0Tg"),
      SMCPackedKey("TC0P"), SMCPackedKey("TB0T")};
  EXPECT_EQ(names, expected);
  EXPECT_EQ(connection.call(8, 0, 0, 10).result, 132);
  const auto read = [&](const char* key, std::size_t size) {
    return payloadBytes(connection.call(5, SMCPackedKey(key)), size);
  };
  EXPECT_EQ(read("#KEY", 4), (std::vector{0, 0, 0, 10}));
  EXPECT_EQ(read("FNum", 1), (std::vector{1}));
  EXPECT_EQ(read("F0Ac", 2), (std::vector{0x1f, 0x40}));
  EXPECT_EQ(read("F0Mx", 2), (std::vector{0x5d, 0xc0}));
  EXPECT_EQ(read("F0Tg", 4), (std::vector{0x00, 0x20, 0xfa, 0x44}));
  EXPECT_EQ(read("F0ID", 16), (std::vector<int>{0, 0, 0, 0, 'L', 'e', 'f', 't', ' ', 's', 'i', 'd',
                                                'e', ' ', ' ', 0}));
  EXPECT_EQ(read("TC0P", 2), (std::vector{0x2a, 0x40}));
  EXPECT_EQ(read("TB0T", 2), (std::vector{0xfe, 0x40}));
  EXPECT_EQ(connection.call(9, SMCPackedKey("TC0P")).dataType, SMCPackedKey("sp78"));
  EXPECT_EQ(connection.call(9, SMCPackedKey("TC0P")).dataSize, 2U);
  EXPECT_EQ(connection.call(5, SMCPackedKey("F0Sf")).result, 133);  // there is no such file
  EXPECT_EQ(connection.call(5, SMCPackedKey("VC0C")).result, 132);
  EXPECT_EQ(files.choices, 0);
}

// Writes the bytes with the key's own size.
SMCConnection::Reply writeKey(SMCConnection& connection, const char* key,
                              const std::vector<int>& bytes) {
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
  std::optional<SMCConnection> connection;
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
  SMCConnection connection(smc);
  EXPECT_EQ(writeKey(connection, "F1Tg", {0x1f, 0x40}).status, platform::kKernelBadArgument);
  EXPECT_EQ(writeKey(connection, "F1Mn", {0, 0, 0x1f, 0x40}).status, platform::kKernelBadArgument);
  EXPECT_EQ(writeKey(connection, "F0Tg", {0x1f, 0x40}).status, 0U);
  EXPECT_EQ(writeKey(connection, "F0Mn", {0x00, 0x00, 0xfa, 0x44}).status, 0U);
  EXPECT_EQ(writeKey(connection, "F0Md", {1}).status, platform::kKernelBadArgument);
  EXPECT_EQ(files.written, (std::vector<std::pair<std::string, std::string>>{
                               {"fan1_output", "2000\n"}, {"fan1_min", "2000\n"}}));
}

TEST(LinuxSMC, AValueThatItsTypeCannotHoldIsUnreadable) {
  auto files = filesWithSensors(false);
  files->own["temp1_input"] = "128000\n";
  files->own["fan1_input"] = "-1\n";
  files->own["fan1_max"] = "16384\n";
  LinuxSMC smc(std::move(files));
  SMCConnection connection(smc);
  for (const char* key : {"TC0P", "F0Ac", "F0Mx"}) {
    EXPECT_EQ(connection.call(5, SMCPackedKey(key)).result, 133) << key;
  }
}

TEST(LinuxSMC, RootReadsTemperaturesWithoutChoosingTheirKeys) {
  auto owned = filesWithSensors(true);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  SMCConnection connection(smc);
  connection.call(9, SMCPackedKey("TC0P"));
  const int choices = files.choices;
  EXPECT_EQ(payloadBytes(connection.call(5, SMCPackedKey("TC0P"), 2), 2),
            (std::vector{0x2a, 0x40}));
  EXPECT_EQ(files.choices, choices);
  EXPECT_FALSE(files.isLocked);
}

TEST(LinuxSMC, ASpeedTakesTheTypeThatTheSMCSays) {
  auto files = std::make_unique<ScriptedFiles>(
      std::vector<DriverKey>{{"F0Ac", "flt ", std::string("\0\0\0\0", 4)}});
  files->own = {{"fan1_input", "2000\n"}};
  LinuxSMC smc(std::move(files));
  SMCConnection connection(smc);
  EXPECT_EQ(payloadBytes(connection.call(5, SMCPackedKey("F0Ac"), 4), 4),
            (std::vector{0, 0, 0xfa, 0x44}));
}

TEST(LinuxSMC, ASpeedOfZeroIsASpeed) {
  auto files = filesWithSensors(false);
  files->own["fan1_input"] = "0\n";
  LinuxSMC smc(std::move(files));
  SMCConnection connection(smc);
  const auto reply = connection.call(5, SMCPackedKey("F0Ac"));
  EXPECT_EQ(reply.result, 0);
  EXPECT_EQ(payloadBytes(reply, 2), (std::vector{0, 0}));
}

TEST(LinuxSMC, ANameOfAFanIsCutToItsRecord) {
  auto files = filesWithSensors(false);
  files->own["fan1_label"] = "0123456789abcdefghij\n";
  LinuxSMC smc(std::move(files));
  SMCConnection connection(smc);
  const auto reply = connection.call(5, SMCPackedKey("F0ID"));
  EXPECT_EQ(payloadBytes(reply, 17), (std::vector<int>{0, 0, 0, 0, '0', '1', '2', '3', '4', '5',
                                                       '6', '7', '8', '9', 'a', 'b', 0}));
}

TEST(LinuxSMC, DescribesAKeyWithoutAttributes) {
  LinuxSMC smc(filesWithSensors(false));
  SMCConnection connection(smc);
  const auto info = connection.call(9, SMCPackedKey("FNum"));
  EXPECT_EQ(info.dataSize, 1U);
  EXPECT_EQ(info.dataType, SMCPackedKey("ui8 "));
  EXPECT_EQ(info.attributes, 0);
}

TEST(LinuxSMC, AnotherCommandIsABadArgument) {
  LinuxSMC smc(filesWithSensors(false));
  SMCConnection connection(smc);
  EXPECT_EQ(connection.call(7, SMCPackedKey("FNum"), 1).status, platform::kKernelBadArgument);
}

TEST(LinuxSMC, CountsMoreKeysThanAByteHolds) {
  auto files = filesWithSensors(false);
  for (int number = 3; number <= 300; ++number) {
    files->own["temp" + std::to_string(number) + "_label"] = "T" + std::to_string(number) + "\n";
  }
  LinuxSMC smc(std::move(files));
  SMCConnection connection(smc);
  EXPECT_EQ(payloadBytes(connection.call(5, SMCPackedKey("#KEY"), 4), 4),
            (std::vector{0, 0, 1, 52}));
}

// The SMC's key of a fan has one digit here.
TEST(LinuxSMC, HasTenFansAtMost) {
  auto files = filesWithSensors(false);
  for (int number = 1; number <= 11; ++number) {
    files->own["fan" + std::to_string(number) + "_input"] = "2000\n";
  }
  LinuxSMC smc(std::move(files));
  SMCConnection connection(smc);
  EXPECT_EQ(payloadBytes(connection.call(5, SMCPackedKey("FNum")), 1), std::vector{10});
  EXPECT_EQ(connection.call(5, SMCPackedKey("F9Ac")).result, 0);
}

TEST(LinuxSMC, RootChoosesEachKeyOnceToListThem) {
  auto owned = std::make_unique<ScriptedFiles>(kKeys);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  SMCConnection connection(smc);
  connection.call(9, SMCPackedKey("TC0P"));
  EXPECT_EQ(files.choices, 3);
}

TEST(DriverSensors, OnlyOfTenFansAFileCanBeWritten) {
  using platform::DriverSensors;
  EXPECT_EQ(DriverSensors::writableFile(SMCPackedKey("F9Mn")), "fan10_min");
  for (const char* key : {"F/Mn", "F:Mn", "FAMn", "G0Mn", "F0Ac"}) {
    EXPECT_EQ(DriverSensors::writableFile(SMCPackedKey(key)), std::nullopt) << key;
  }
}

TEST(LinuxSMC, AReadThatAnotherProgramDisturbedIsTriedAgain) {
  auto owned = std::make_unique<ScriptedFiles>(kKeys);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  SMCConnection connection(smc);
  files.disturbances = 5;  // while the keys are listed
  EXPECT_EQ(connection.call(9, SMCPackedKey("TC0P")).dataSize, 2U);
  EXPECT_EQ(connection.call(8, 0, 0, 0).key, SMCPackedKey("#KEY"));
  files.disturbances = 5;
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[1], std::byte{0x20});
  EXPECT_EQ(files.disturbances, 0);
}

TEST(LinuxSMC, AReadThatIsAlwaysDisturbedFailsAndNeverGivesAnothersValue) {
  auto owned = std::make_unique<ScriptedFiles>(kKeys);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  SMCConnection connection(smc);
  connection.call(9, SMCPackedKey("TC0P"));
  files.disturbances = 1'000'000;
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).result, 133);
  EXPECT_FALSE(files.isLocked);
}

TEST(DriverKeys, KnowsWhetherTheSMCHasAKey) {
  ScriptedFiles files(kKeys);
  files.disturbances = 5;
  EXPECT_EQ(platform::DriverKeys(files).has(SMCPackedKey("BNCM")), true);
  EXPECT_EQ(platform::DriverKeys(files).has(SMCPackedKey("F0Md")), false);
  EXPECT_EQ(files.locks, 2);
  EXPECT_FALSE(files.isLocked);
}

TEST(DriverKeys, DoesNotKnowAKeyIfANameCannotBeRead) {
  ScriptedFiles files(kKeys);
  files.disturbances = 1'000'000;
  EXPECT_EQ(platform::DriverKeys(files).has(SMCPackedKey("F0Md")), std::nullopt);
  EXPECT_FALSE(files.isLocked);
  ScriptedFiles none({DriverKey{"TC0P", "sp78", "\x25\x20"}});
  EXPECT_EQ(platform::DriverKeys(none).has(SMCPackedKey("F0Md")), false);
  none.own["key_count"] = "0\n";
  EXPECT_EQ(platform::DriverKeys(none).has(SMCPackedKey("F0Md")), std::nullopt);
}

TEST(LinuxSMC, ThereIsNoServiceWithoutTheDriversFolder) {
  LinuxSMC smc(std::make_unique<AppleSMCFiles>("/no/such/folder"));
  platform::IOObject iterator = 0;
  EXPECT_EQ(smc.matchingServices("AppleSMC", iterator), 0U);
  EXPECT_EQ(smc.nextService(iterator), 0U);
}

TEST(LinuxSMC, ReadsTheFilesOfAFolderAndKeepsThemOpen) {
  const TemporaryFolder folder;
  folder.write("key_count", "1\n");
  folder.write("key_at_index", "0\n");
  folder.write("key_at_index_name", "TC0P\n");
  folder.write("key_at_index_type", "sp78\n");
  folder.write("key_at_index_data_length", "2\n");
  folder.write("key_at_index_data", "\x25\x20");
  LinuxSMC smc(std::make_unique<AppleSMCFiles>(folder.path()));
  SMCConnection connection(smc);
  ASSERT_EQ(connection.openStatus, 0U);
  EXPECT_EQ(connection.call(9, SMCPackedKey("TC0P")).dataSize, 2U);
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[1], std::byte{0x20});
  folder.write("key_at_index_data", "\x26\x40");
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[1], std::byte{0x40});
  const auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
  };
  const auto before = descriptors();
  connection.call(5, SMCPackedKey("TC0P"), 2);
  EXPECT_EQ(descriptors(), before);
  EXPECT_GE(before, 9);  // three standard ones and the six files
}

TEST(LinuxSMC, AReadingThatIsNotTheFirstIsOneFileCallForEachSensor) {
  constexpr int kSensors = 300;
  const TemporaryFolder folder;
  folder.write("key_count", "300\n");
  std::vector<std::uint32_t> names;
  for (int number = 1; number <= kSensors; ++number) {
    const std::string key = "T" + std::to_string(100 + number);
    const std::string file = "temp" + std::to_string(number);
    folder.write(file + "_label", key + "\n");
    folder.write(file + "_input", "42250\n");
    names.push_back(SMCPackedKey(key));
  }
  LinuxSMC smc(std::make_unique<AppleSMCFiles>(folder.path()));
  const auto read = [&](SMCConnection& connection) {
    for (const std::uint32_t name : names) {
      if (connection.call(5, name).payload[0] != std::byte{0x2a}) {
        std::_Exit(1);  // of the process that is counted
      }
    }
  };
  std::optional<SMCConnection> connection;
  EXPECT_EQ(fileCallsOf(
                [&] {
                  connection.emplace(smc);
                  read(*connection);
                },
                [&] { read(*connection); }),
            kSensors);
}

}  // namespace
}  // namespace kelvora::testing
