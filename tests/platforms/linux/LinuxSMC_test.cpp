#include "platforms/linux/smc/LinuxSMC.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ForwardingSMC.h"
#include "tests/support/SMCConnection.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::AppleSMCFiles;
using platform::kIOReturnNotPermitted;
using platform::LinuxSMC;

struct DriverKey {
  std::string name;
  std::string type;
  std::optional<std::string> data;  // none: reading it fails
};

// Answers as the driver's files do: each tells of the key that was chosen last.
class ScriptedFiles : public AppleSMCFiles {
 public:
  explicit ScriptedFiles(std::vector<DriverKey> keys, bool mayChoose = true)
      : AppleSMCFiles(""), keys_(std::move(keys)), mayChoose_(mayChoose) {}
  bool exist() const override { return true; }
  bool mayChooseKeys() const override { return mayChoose_; }
  bool chooseKey(unsigned index) override {
    if (index >= keys_.size()) {
      return false;
    }
    chosen_ = index;
    return true;
  }
  std::optional<std::string> read(const std::string& name) const override {
    const DriverKey& key = keys_.at(chosen_);
    if (name == "key_count") {
      return std::to_string(keys_.size()) + "\n";
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

TEST(LinuxSMC, WritesAreNotPermitted) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys));
  SMCConnection connection(smc);
  EXPECT_EQ(connection.call(6, SMCPackedKey("TC0P"), 2).status, kIOReturnNotPermitted);
}

TEST(LinuxSMC, OpeningNeedsTheRightToChooseKeys) {
  LinuxSMC smc(std::make_unique<ScriptedFiles>(kKeys, false));
  SMCConnection connection(smc);
  EXPECT_EQ(connection.openStatus, kIOReturnNotPermitted);
  EXPECT_EQ(connection.call(8, 0).status, platform::kIOReturnNotOpen);
}

TEST(LinuxSMC, ThereIsNoServiceWithoutTheDriversFolder) {
  LinuxSMC smc(std::make_unique<AppleSMCFiles>("/no/such/folder"));
  platform::IOObject iterator = 0;
  EXPECT_EQ(smc.matchingServices("AppleSMC", iterator), 0U);
  EXPECT_EQ(smc.nextService(iterator), 0U);
}

TEST(LinuxSMC, ReadsTheFilesOfAFolder) {
  const TemporaryFolder folder;
  folder.write("key_count", "1\n");
  const std::string index = folder.write("key_at_index", "0\n");
  folder.write("key_at_index_name", "TC0P\n");
  folder.write("key_at_index_type", "sp78\n");
  folder.write("key_at_index_data_length", "2\n");
  folder.write("key_at_index_data", "\x25\x20");
  LinuxSMC smc(std::make_unique<AppleSMCFiles>(folder.path()));
  SMCConnection connection(smc);
  ASSERT_EQ(connection.openStatus, 0U);
  EXPECT_EQ(connection.call(9, SMCPackedKey("TC0P")).dataSize, 2U);
  EXPECT_EQ(connection.call(5, SMCPackedKey("TC0P"), 2).payload[1], std::byte{0x20});
  connection.call(8, 0, 0, 7);
  std::ifstream chosen(index);
  std::string text;
  chosen >> text;
  EXPECT_EQ(text, "7");
}

}  // namespace
}  // namespace kelvora::testing
