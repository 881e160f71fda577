// The SMC of a Mac that runs Linux, through a file system that behaves like the kernel's driver.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KelvoraCore/SMC.h"

#include "platforms/linux/smc/LinuxSMC.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/MountedDriver.h"
#include "tests/support/RawSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

constexpr int kRounds = 30;
constexpr uid_t kNobody = 65534;

double numberOf(std::uint32_t type, const std::byte* bytes, std::size_t size) {
  SMCValueRecord value{};
  value.dataSize = static_cast<std::uint32_t>(size);
  SMCConvertNumberToString(value.dataType, type);
  std::memcpy(value.bytes, bytes, std::min(size, sizeof value.bytes));
  return SMCConvertValueToNumber(value);
}

bool isOfFan(const platform::RecordedSMCKey& key) {
  return (key.key >> 24) == 'F' && ((key.key >> 16) & 0xff) >= '0' &&
         ((key.key >> 16) & 0xff) <= '9';
}

// The driver rounds temperatures to quarters of a degree and speeds to whole numbers, and who is
// not root reads a target as a float whatever it is; other keys come byte for byte.
bool isRight(const platform::RecordedSMCKey& key, const RawSMC::Reply& info,
             const RawSMC::Reply& reply) {
  const double expected = numberOf(key.type, key.bytes.data(), key.bytes.size());
  const double read = numberOf(info.dataType, reply.payload.data(), info.dataSize);
  const bool isTemperature = (key.key >> 24) == 'T';
  if (key.type == SMCPackedKey("{fds")) {
    return std::equal(key.bytes.begin() + 4, key.bytes.end(), reply.payload.begin() + 4);
  }
  if (isTemperature || isOfFan(key)) {
    return std::abs(expected - read) <= (isTemperature ? 0.25 : 1);
  }
  return std::equal(key.bytes.begin(), key.bytes.end(), reply.payload.begin());
}

struct Reading {
  int right = 0;
  int wrong = 0;
};

Reading readOnce(platform::SMCUserClient& smc, const platform::RecordedMachine& machine) {
  RawSMC connection(smc);
  Reading reading;
  for (const platform::RecordedSMCKey& key : *machine.smcKeys) {
    const auto info = connection.call(9, key.key);
    const auto reply = connection.call(5, key.key, info.dataSize);
    if (reply.status == 0 && reply.result == 0 && key.key != SMCPackedKey("#KEY")) {
      ++(isRight(key, info, reply) ? reading.right : reading.wrong);
    }
  }
  return reading;
}

// The exit status of a reader: 0 when every round had `least` right keys and no wrong one.
int readRounds(const std::string& folder, uid_t user, int least) {
  if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) {
    return 3;
  }
  const platform::RecordedMachine machine = recordedMachine("MacBookPro10,1");
  platform::LinuxSMC smc(std::make_unique<platform::AppleSMCFiles>(folder));
  for (int round = 0; round < kRounds; ++round) {
    const Reading reading = readOnce(smc, machine);
    if (reading.wrong > 0 || reading.right < least) {
      std::fprintf(stderr, "round %d: %d right, %d wrong\n", round, reading.right, reading.wrong);
      return reading.wrong > 0 ? 1 : 2;
    }
  }
  return 0;
}

// Mounts the file system, or skips the test.
class AppleSMCFileSystem : public ::testing::Test {
 protected:
  void mount(const char* machine) {
    if (geteuid() != 0) {
      GTEST_SKIP() << "mounting a file system needs root";
    }
    if (!haveOwnMounts()) {
      GTEST_SKIP() << "no mounts of its own are allowed here";
    }
    chmod(parent_.path().c_str(), 0755);
    mkdir(parent_.path("applesmc.768").c_str(), 0755);
    driver = std::make_unique<MountedDriver>(machine, parent_.path("applesmc.768"));
    if (!driver->isMounted()) {
      GTEST_SKIP() << "no file system of a program can be mounted here: " << driver->failure();
    }
  }
  // What each of two readers at once, of these users, exits with.
  void expectBothRight(uid_t first, int firstLeast, uid_t second, int secondLeast) const {
    ChildWork one([&] { return readRounds(driver->folder(), first, firstLeast); });
    ChildWork two([&] { return readRounds(driver->folder(), second, secondLeast); });
    EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(two.wait(), 0);
  }

 private:
  TemporaryFolder parent_;

 protected:
  std::unique_ptr<MountedDriver> driver;
};

// Of the 493 keys of the recorded Mac; anybody has 43 temperatures, the number of fans, and name
// and four speeds of each of two fans. The recorded SMC has no mode keys.
constexpr int kKeysOfRoot = 400;
constexpr int kKeysOfAnybody = 43 + 1 + 2 * 5;

TEST_F(AppleSMCFileSystem, TwoReadersOfRootGetTheirOwnKeys) {
  mount("MacBookPro10,1");
  if (!IsSkipped()) {
    expectBothRight(0, kKeysOfRoot, 0, kKeysOfRoot);
  }
}

TEST_F(AppleSMCFileSystem, AnotherUserReadsTemperaturesAndFansWhileRootReadsEverything) {
  mount("MacBookPro10,1");
  if (!IsSkipped()) {
    expectBothRight(0, kKeysOfRoot, kNobody, kKeysOfAnybody);
  }
}

// The fans of a mounted driver, by their keys.
class Fans {
 public:
  explicit Fans(const MountedDriver& driver)
      : smc_(std::make_unique<platform::AppleSMCFiles>(driver.folder())), connection_(smc_) {}

  int speed(const char* key) {
    const auto info = connection_.call(9, SMCPackedKey(key));
    const auto reply = connection_.call(5, SMCPackedKey(key), info.dataSize);
    return static_cast<int>(numberOf(info.dataType, reply.payload.data(), info.dataSize));
  }
  // The status, or the result if the status is success.
  std::uint32_t write(const char* key, double number) {
    const auto info = connection_.call(9, SMCPackedKey(key));
    std::vector<std::byte> payload(info.dataSize);
    if (info.dataSize == 4) {
      const auto value = static_cast<float>(number);
      std::memcpy(payload.data(), &value, sizeof value);
    } else {
      const auto value = static_cast<unsigned>(info.dataSize == 2 ? number * 4 : number);
      payload.front() = static_cast<std::byte>(info.dataSize == 2 ? value >> 8 : value);
      payload.back() = static_cast<std::byte>(value & 0xff);
    }
    const auto reply = connection_.call(6, SMCPackedKey(key), info.dataSize, 0, payload);
    return reply.status != 0 ? reply.status : reply.result;
  }

 private:
  platform::LinuxSMC smc_;
  RawSMC connection_;
};

// With a mode key and floats, and with neither.
class AppleSMCFileSystemOf : public AppleSMCFileSystem,
                             public ::testing::WithParamInterface<const char*> {};

TEST_P(AppleSMCFileSystemOf, AFanInManualModeFollowsItsTargetWithinItsLimitsAndIsHandedBack) {
  mount(GetParam());
  if (IsSkipped()) {
    return;
  }
  Fans fans(*driver);
  const int least = fans.speed("F1Mn");
  const int own = std::max(fans.speed("F1Ac"), least);
  const int most = fans.speed("F1Mx");
  EXPECT_EQ(fans.write("F1Tg", least + 500), 0U);
  EXPECT_EQ(fans.speed("F1Ac"), own);  // the mode is automatic
  EXPECT_EQ(fans.write("F1Md", 1), 0U);
  EXPECT_EQ(fans.speed("F1Md"), 1);
  EXPECT_EQ(fans.speed("F0Md"), 0);
  EXPECT_EQ(fans.speed("F1Tg"), least + 500);
  EXPECT_EQ(fans.speed("F1Ac"), least + 500);
  EXPECT_EQ(fans.write("F1Tg", most + 500), 0U);
  EXPECT_EQ(fans.speed("F1Ac"), most);
  EXPECT_EQ(fans.write("F1Md", 0), 0U);
  EXPECT_EQ(fans.speed("F1Ac"), own);
  EXPECT_EQ(fans.write("F1Mn", own + 400), 0U);
  EXPECT_EQ(fans.speed("F1Mn"), own + 400);
  EXPECT_EQ(fans.speed("F1Ac"), own + 400);
}

INSTANTIATE_TEST_SUITE_P(Macs, AppleSMCFileSystemOf,
                         ::testing::Values("MacBookPro10,1", "MacBookPro15,1"));

TEST_F(AppleSMCFileSystem, ARefusalOfTheDriverIsTheStatusOfTheWrite) {
  mount("MacBookPro15,1");
  if (IsSkipped()) {
    return;
  }
  Fans fans(*driver);
  const std::pair<const char*, std::uint32_t> rows[] = {{"EIO", platform::kKernelIOError},
                                                        {"EACCES", platform::kKernelNotPermitted},
                                                        {"EINVAL", platform::kKernelBadArgument},
                                                        {"ENODEV", platform::kKernelNoDevice},
                                                        {"EBUSY", platform::kKernelError}};
  for (const auto& [error, status] : rows) {
    driver->refuse("fan1_manual", error);
    EXPECT_EQ(fans.write("F0Md", 1), status) << error;
    EXPECT_EQ(fans.speed("F0Md"), 0);
    EXPECT_EQ(fans.write("F1Md", 1), 0U);
  }
  driver->refuse("fan1_manual", "");
  EXPECT_EQ(fans.write("F0Md", 1), 0U);
  EXPECT_EQ(fans.speed("F0Md"), 1);
}

TEST_F(AppleSMCFileSystem, WhoIsNotRootMayReadFansAndNotWriteThem) {
  mount("MacBookPro10,1");
  if (IsSkipped()) {
    return;
  }
  ChildWork nobody([&] {
    if (setgid(kNobody) != 0 || setuid(kNobody) != 0) {
      return 2;
    }
    Fans fans(*driver);
    const int target = fans.speed("F0Tg");
    return target > 0 && fans.write("F0Tg", 3000) == platform::kKernelNotPermitted &&
                   fans.speed("F0Tg") == target
               ? 0
               : 1;
  });
  EXPECT_EQ(nobody.wait(), 0);
}

}  // namespace
}  // namespace kelvora::testing
