#include "platforms/recorded/ChosenMachine.h"

#include <cerrno>
#include <chrono>
#include <memory>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "platforms/posix/FileLock.h"
#include "ports/Ports.h"
#include "tests/support/ChildWork.h"
#include "tests/support/FileCalls.h"
#include "tests/support/SMCConnection.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::ChoiceFile;
using platform::ChosenMachine;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr std::uint32_t kMode = SMCPackedKey("F0Md");
constexpr std::uint32_t kTarget = SMCPackedKey("F0Tg");
constexpr std::uint32_t kActual = SMCPackedKey("F0Ac");
const std::vector<std::byte> kManual = {std::byte{1}};
// 3000 and 4000 revolutions per minute.
const std::vector<std::byte> k3000 = {std::byte{0}, std::byte{0x80}, std::byte{0x3b},
                                      std::byte{0x45}};
const std::vector<std::byte> k4000 = {std::byte{0}, std::byte{0}, std::byte{0x7a}, std::byte{0x45}};

std::string machineFile(const std::string& name) {
  return std::string(KELVORA_MACHINES) + "/" + name + ".json";
}

// An account of a test's own.
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

std::vector<std::byte> read(SMCConnection& connection, std::uint32_t key) {
  const auto reply = connection.call(5, key, 4);
  EXPECT_EQ(reply.status, 0U);
  return {reply.payload.begin(), reply.payload.begin() + 4};
}

platform::KernelStatus write(SMCConnection& connection, std::uint32_t key,
                             const std::vector<std::byte>& bytes) {
  const auto reply = connection.call(6, key, static_cast<std::uint32_t>(bytes.size()), 0, bytes);
  EXPECT_EQ(reply.result, 0);
  return reply.status;
}

TEST_F(ChosenMachineTest, WithoutAChoiceThereIsNoService) {
  ChosenMachine smc(file());
  platform::IOObject iterator = 0;
  smc.matchingServices("AppleSMC", iterator);
  EXPECT_EQ(smc.nextService(iterator), 0U);
}

TEST_F(ChosenMachineTest, AMacWithoutAnSMCHasNoService) {
  choose("Macmini9,1");
  ChosenMachine smc(file());
  platform::IOObject iterator = 0;
  smc.matchingServices("AppleSMC", iterator);
  EXPECT_EQ(smc.nextService(iterator), 0U);
}

TEST_F(ChosenMachineTest, AWriteOfOneProgramIsReadByTheOthersAtOnce) {
  choose("MacBookPro15,1");
  ChosenMachine reader(file());
  SMCConnection reading(reader);
  EXPECT_NE(read(reading, kActual), k3000);
  ChildWork writer([&] {
    ChosenMachine smc(file());
    SMCConnection connection(smc);
    return write(connection, kMode, kManual) + write(connection, kTarget, k3000) == 0 ? 0 : 1;
  });
  ASSERT_EQ(writer.wait(), 0);
  EXPECT_EQ(read(reading, kTarget), k3000);
  EXPECT_EQ(read(reading, kActual), k3000);
  EXPECT_EQ(write(reading, kTarget, k4000), 0U);
  EXPECT_EQ(read(reading, kActual), k4000);
  ChosenMachine later(file());
  SMCConnection laterConnection(later);
  EXPECT_EQ(read(laterConnection, kActual), k4000);
  EXPECT_THAT(Platform::choice()->writes,
              ElementsAre(RecordedWrite{"F0Md", "01"}, RecordedWrite{"F0Tg", "00803b45"},
                          RecordedWrite{"F0Tg", "00007a45"}));
}

TEST_F(ChosenMachineTest, WritesOfManyProgramsAreAllTaken) {
  choose("MacBookPro15,1");
  std::vector<ChildWork> writers;
  writers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([this] {
      ChosenMachine smc(file());
      SMCConnection connection(smc);
      int failures = 0;
      for (int k = 0; k < 25; ++k) {
        failures += write(connection, kTarget, k3000) == 0 ? 0 : 1;
      }
      return failures;
    });
  }
  for (ChildWork& writer : writers) {
    EXPECT_EQ(writer.wait(), 0);
  }
  EXPECT_THAT(Platform::choice()->writes, SizeIs(100));
}

TEST_F(ChosenMachineTest, AReadThatFindsNoChangeMakesOneFileCall) {
  choose("MacBookPro15,1");
  std::unique_ptr<ChosenMachine> smc;
  std::unique_ptr<SMCConnection> connection;
  const auto open = [&] {
    smc = std::make_unique<ChosenMachine>(file());
    connection = std::make_unique<SMCConnection>(*smc);
    read(*connection, kActual);
  };
  EXPECT_EQ(fileCallsOf(open, [&] { read(*connection, kActual); }), 1);
  EXPECT_EQ(fileCallsOf(open,
                        [&] {
                          for (int i = 0; i < 100; ++i) {
                            connection->call(9, kActual);
                          }
                        }),
            100);
}

}  // namespace
}  // namespace kelvora::testing
