#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/SMC.h"

#include "tests/support/ForwardingSMC.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::KernelStatus;
using ::testing::ElementsAre;

TEST(SMCKeyInfo, IsAnsweredFromTheSMCOnceAndFromTheCacheThereafter) {
  auto key = smcKey("TC0P", "sp78", {0, 0});
  key.attributes = 0xd0;
  ForwardingSMC& smc = installSMC({key});
  ASSERT_EQ(SMCOpen(), 0U);
  for (int i = 0; i < 2; ++i) {
    SMCKeyInfo info;
    ASSERT_EQ(SMCGetKeyInfo(SMCPackedKey("TC0P"), &info), 0U);
    EXPECT_EQ(info.dataSize, 2U);
    EXPECT_EQ(info.dataType, SMCPackedKey("sp78"));
    EXPECT_EQ(info.dataAttributes, 0xd0);
  }
  EXPECT_THAT(commands(smc), ElementsAre(9));
}

TEST(SMCKeyInfo, OfAKeyThatTheSMCDoesNotKnowHasSizeZeroAndIsCached) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCKeyInfo info;
  info.dataSize = 4;
  ASSERT_EQ(SMCGetKeyInfo(SMCPackedKey("Nope"), &info), 0U);
  EXPECT_EQ(info.dataSize, 0U);
  ASSERT_EQ(SMCGetKeyInfo(SMCPackedKey("Nope"), &info), 0U);
  EXPECT_EQ(smc.count(9), 1);
}

TEST(SMCKeyInfo, ThatCannotBeHadChangesNothingAndIsAskedForAgain) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0, 0})});
  ASSERT_EQ(SMCOpen(), 0U);
  smc.failNth(1, 0xe00002d8);
  SMCKeyInfo info;
  info.dataSize = 77;
  EXPECT_EQ(SMCGetKeyInfo(SMCPackedKey("TC0P"), &info), 0xe00002d8);
  EXPECT_EQ(info.dataSize, 77U);
  EXPECT_EQ(SMCGetKeyInfo(SMCPackedKey("TC0P"), &info), 0U);
  EXPECT_EQ(info.dataSize, 2U);
  EXPECT_EQ(smc.count(9), 2);
}

TEST(SMCKeyInfo, LeavesTheKeyOfTheRecordAlone) {
  installSMC({smcKey("TC0P", "sp78", {0, 0})});
  ASSERT_EQ(SMCOpen(), 0U);
  for (int i = 0; i < 2; ++i) {
    SMCKeyInfo info;
    info.key = 77;
    ASSERT_EQ(SMCGetKeyInfo(SMCPackedKey("TC0P"), &info), 0U);
    EXPECT_EQ(info.key, 77U) << (i == 0 ? "from the SMC" : "from the cache");
  }
}

TEST(SMCKeyInfo, ASecondReadOfAKeyIssuesOnlyTheReadCommand) {
  ForwardingSMC& smc = installSMC({smcKey("TC0P", "sp78", {0x28, 0x80})});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  ASSERT_EQ(SMCReadKey("TC0P", &value), 0U);
  EXPECT_THAT(commands(smc), ElementsAre(9, 5, 5));
}

std::string numberedKey(int number) {
  return {'T', static_cast<char>('a' + number / 26), static_cast<char>('a' + number % 26), 'x'};
}

TEST(SMCKeyInfo, OfThe101stKeyIsAskedForOnEveryReadAndOfTheFirst100Never) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCValueRecord value;
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(SMCReadKey(numberedKey(i).c_str(), &value), 0U);
  }
  smc.forgetCalls();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(SMCReadKey(numberedKey(100).c_str(), &value), 0U);
  }
  EXPECT_THAT(commands(smc), ElementsAre(9, 5, 9, 5, 9, 5));

  smc.forgetCalls();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(SMCReadKey(numberedKey(i).c_str(), &value), 0U);
  }
  EXPECT_EQ(smc.count(9), 0);
}

TEST(SMCKeyInfo, OfTheKeyOfFourNULsIsNotTakenForAnEmptyPlaceOfTheCache) {
  ForwardingSMC& smc = installSMC({smcKey("", "ui8 ", {1})});
  ASSERT_EQ(SMCOpen(), 0U);
  SMCKeyInfo info;
  ASSERT_EQ(SMCGetKeyInfo(SMCPackedKey("TC0P"), &info), 0U);
  ASSERT_EQ(SMCGetKeyInfo(0, &info), 0U);
  EXPECT_EQ(info.dataSize, 1U);
  EXPECT_EQ(smc.count(9), 2);
}

TEST(SMCKeyInfo, FromTheCacheIsThatOfTheKeyAlsoWhenItsBytesAreHigh) {
  const std::vector<std::uint32_t> keys{0x80000000, 0x7fffffff, 0xffffffff, 1};
  std::vector<platform::RecordedSMCKey> recorded;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    recorded.push_back(smcKey("", "ui8 ", {}));
    recorded.back().key = keys[i];
    recorded.back().bytes.resize(i + 1);
  }
  ForwardingSMC& smc = installSMC(recorded);
  ASSERT_EQ(SMCOpen(), 0U);
  for (int round = 0; round < 2; ++round) {
    for (std::size_t i = 0; i < keys.size(); ++i) {
      SMCKeyInfo info;
      ASSERT_EQ(SMCGetKeyInfo(keys[i], &info), 0U);
      EXPECT_EQ(info.dataSize, i + 1);
    }
  }
  EXPECT_EQ(smc.count(9), 4);
}

TEST(SMCKeyInfo, IsAskedForByOneThreadAtATime) {
  ForwardingSMC& smc = installSMC({});
  ASSERT_EQ(SMCOpen(), 0U);
  std::atomic<int> asking{0};
  std::atomic<int> mostAtOnce{0};
  smc.setOverride([&](const SMCCallRecord& call, ForwardingSMC::Output) {
    if (call.command == 9) {
      const int now = ++asking;
      for (int i = 0; i < 200; ++i) {
        mostAtOnce = std::max(mostAtOnce.load(), std::max(now, asking.load()));
        std::this_thread::yield();
      }
      --asking;
    }
    return std::optional<KernelStatus>();
  });
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      SMCValueRecord value;
      for (int i = 0; i < 40; ++i) {
        SMCReadKey(numberedKey(i + 40 * (thread % 2)).c_str(), &value);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(mostAtOnce, 1);
  EXPECT_EQ(smc.count(9), 80) << "a key that two threads miss at once is asked for once";
}

}  // namespace
}  // namespace kelvora::testing
