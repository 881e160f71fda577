#include "platforms/linux/smc/LinuxSMC.h"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platforms/linux/ScriptedFiles.h"
#include "tests/support/FileCalls.h"
#include "tests/support/RawSMC.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::AppleSMCFiles;
using platform::kKernelNotPermitted;
using platform::LinuxSMC;

TEST(LinuxSMC, ReadsKeysThroughTheDriver) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  RawSMC connection(smc);
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
  RawSMC connection(smc);
  EXPECT_EQ(connection.call(9, SMCPackedKey("BNCM")).dataType, 0x75693800U);
}

TEST(LinuxSMC, AKeyThatCannotBeReadAnswersResult133) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  RawSMC connection(smc);
  EXPECT_EQ(connection.call(5, SMCPackedKey("BNCM"), 1).result, 133);
}

TEST(LinuxSMC, WritesOfOtherKeysThanFansAreNotPermitted) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  RawSMC connection(smc);
  EXPECT_EQ(connection.call(6, SMCPackedKey("TC0P"), 2).status, kKernelNotPermitted);
}

TEST(LinuxSMC, AnyUserReadsTemperaturesAndFansFromTheirOwnFiles) {
  auto owned = filesWithSensors(false);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  ::testing::internal::CaptureStderr();
  RawSMC connection(smc);
  RawSMC second(smc);
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

TEST(LinuxSMC, AValueThatItsTypeCannotHoldIsUnreadable) {
  auto files = filesWithSensors(false);
  files->own["temp1_input"] = "128000\n";
  files->own["fan1_input"] = "-1\n";
  files->own["fan1_max"] = "16384\n";
  LinuxSMC smc(std::move(files));
  RawSMC connection(smc);
  for (const char* key : {"TC0P", "F0Ac", "F0Mx"}) {
    EXPECT_EQ(connection.call(5, SMCPackedKey(key)).result, 133) << key;
  }
}

TEST(LinuxSMC, RootReadsTemperaturesWithoutChoosingTheirKeys) {
  auto owned = filesWithSensors(true);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  RawSMC connection(smc);
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
  RawSMC connection(smc);
  EXPECT_EQ(payloadBytes(connection.call(5, SMCPackedKey("F0Ac"), 4), 4),
            (std::vector{0, 0, 0xfa, 0x44}));
}

TEST(LinuxSMC, ASpeedOfZeroIsASpeed) {
  auto files = filesWithSensors(false);
  files->own["fan1_input"] = "0\n";
  LinuxSMC smc(std::move(files));
  RawSMC connection(smc);
  const auto reply = connection.call(5, SMCPackedKey("F0Ac"));
  EXPECT_EQ(reply.result, 0);
  EXPECT_EQ(payloadBytes(reply, 2), (std::vector{0, 0}));
}

TEST(LinuxSMC, ANameOfAFanIsCutToItsRecord) {
  auto files = filesWithSensors(false);
  files->own["fan1_label"] = "0123456789abcdefghij\n";
  LinuxSMC smc(std::move(files));
  RawSMC connection(smc);
  const auto reply = connection.call(5, SMCPackedKey("F0ID"));
  EXPECT_EQ(payloadBytes(reply, 17), (std::vector<int>{0, 0, 0, 0, '0', '1', '2', '3', '4', '5',
                                                       '6', '7', '8', '9', 'a', 'b', 0}));
}

TEST(LinuxSMC, DescribesAKeyWithoutAttributes) {
  LinuxSMC smc(filesWithSensors(false));
  RawSMC connection(smc);
  const auto info = connection.call(9, SMCPackedKey("FNum"));
  EXPECT_EQ(info.dataSize, 1U);
  EXPECT_EQ(info.dataType, SMCPackedKey("ui8 "));
  EXPECT_EQ(info.attributes, 0);
}

TEST(LinuxSMC, AnotherCommandIsABadArgument) {
  LinuxSMC smc(filesWithSensors(false));
  RawSMC connection(smc);
  EXPECT_EQ(connection.call(7, SMCPackedKey("FNum"), 1).status, platform::kKernelBadArgument);
}

TEST(LinuxSMC, CountsMoreKeysThanAByteHolds) {
  auto files = filesWithSensors(false);
  for (int number = 3; number <= 300; ++number) {
    files->own["temp" + std::to_string(number) + "_label"] = "T" + std::to_string(number) + "\n";
  }
  LinuxSMC smc(std::move(files));
  RawSMC connection(smc);
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
  RawSMC connection(smc);
  EXPECT_EQ(payloadBytes(connection.call(5, SMCPackedKey("FNum")), 1), std::vector{10});
  EXPECT_EQ(connection.call(5, SMCPackedKey("F9Ac")).result, 0);
}

TEST(LinuxSMC, RootChoosesEachKeyOnceToListThem) {
  auto owned = std::make_unique<ScriptedFiles>(kKeys);
  ScriptedFiles& files = *owned;
  LinuxSMC smc(std::move(owned));
  RawSMC connection(smc);
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
  RawSMC connection(smc);
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
  RawSMC connection(smc);
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
  RawSMC connection(smc);
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
  const auto read = [&](RawSMC& connection) {
    for (const std::uint32_t name : names) {
      if (connection.call(5, name).payload[0] != std::byte{0x2a}) {
        std::_Exit(1);  // of the process that is counted
      }
    }
  };
  std::optional<RawSMC> connection;
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
