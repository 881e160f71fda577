// The SMC of a Mac that runs Linux, through a file system that behaves like the kernel's driver.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KelvoraCore/SMC.h"

#include "platforms/linux/smc/LinuxSMC.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SMCConnection.h"
#include "tests/support/SmallMac.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

constexpr int kRounds = 30;
constexpr uid_t kNobody = 65534;

// The file system, mounted where only this process and its children see it.
class MountedDriver {
 public:
  explicit MountedDriver(const std::string& machine) {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      return;
    }
    chmod(parent_.path().c_str(), 0755);
    mkdir(folder().c_str(), 0755);
    program_ = std::make_unique<ChildProgram>(
        "/usr/bin/python3",
        std::vector<std::string>{KELVORA_TEST_DATA "/support/applesmc_fs.py",
                                 std::string(KELVORA_MACHINES "/") + machine + ".json", folder()});
    isMounted_ = program_->nextLine() == "mounted";
  }
  ~MountedDriver() { umount2(folder().c_str(), MNT_DETACH); }
  MountedDriver(const MountedDriver&) = delete;
  MountedDriver& operator=(const MountedDriver&) = delete;

  bool isMounted() const { return isMounted_; }
  std::string folder() const { return parent_.path("applesmc.768"); }
  std::string failure() { return program_ ? program_->restOfError() : "no mount namespace"; }

 private:
  TemporaryFolder parent_;
  std::unique_ptr<ChildProgram> program_;
  bool isMounted_ = false;
};

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
bool isRight(const platform::RecordedSMCKey& key, const SMCConnection::Reply& info,
             const SMCConnection::Reply& reply) {
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
  SMCConnection connection(smc);
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

// What each of two readers at once, of these users, exits with.
void expectBothRight(uid_t first, int firstLeast, uid_t second, int secondLeast) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "mounting a file system needs root";
  }
  MountedDriver driver("MacBookPro10,1");
  if (!driver.isMounted()) {
    GTEST_SKIP() << "no file system of a program can be mounted here: " << driver.failure();
  }
  ChildWork one([&] { return readRounds(driver.folder(), first, firstLeast); });
  ChildWork two([&] { return readRounds(driver.folder(), second, secondLeast); });
  EXPECT_EQ(one.wait(), 0);
  EXPECT_EQ(two.wait(), 0);
}

// Of the 493 keys of the recorded Mac; anybody has 43 temperatures, the number of fans, and name
// and four speeds of each of two fans. The recorded SMC has no mode keys.
constexpr int kKeysOfRoot = 400;
constexpr int kKeysOfAnybody = 43 + 1 + 2 * 5;

TEST(AppleSMCFileSystem, TwoReadersOfRootGetTheirOwnKeys) {
  expectBothRight(0, kKeysOfRoot, 0, kKeysOfRoot);
}

TEST(AppleSMCFileSystem, AnotherUserReadsTemperaturesAndFansWhileRootReadsEverything) {
  expectBothRight(0, kKeysOfRoot, kNobody, kKeysOfAnybody);
}

}  // namespace
}  // namespace kelvora::testing
