#include "sysinfo/SystemControlValues.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora {
namespace {

using platform::int32ControlBytes;
using platform::int64ControlBytes;
using platform::SystemControlTable;
using platform::textControlBytes;

TEST(SystemControlValues, TextsEndAtTheirNul) {
  SystemControlTable controls({{"hw.model", textControlBytes("MacBookPro15,1")},
                               {"bare", testing::data("abc")},
                               {"early", testing::data({"ab\0cd", 5})}});
  EXPECT_EQ(sysctlNSStringForKey("hw.model", controls), "MacBookPro15,1");
  EXPECT_EQ(sysctlNSStringForKey("bare", controls), "abc");
  EXPECT_EQ(sysctlNSStringForKey("early", controls), "ab");
}

TEST(SystemControlValues, TextsThatCannotBeHadAreEmpty) {
  SystemControlTable controls({{"empty", {}}, {"malformed", textControlBytes("Mac\xff")}});
  EXPECT_EQ(sysctlNSStringForKey("absent", controls), "");
  EXPECT_EQ(sysctlNSStringForKey("empty", controls), "");
  EXPECT_EQ(sysctlNSStringForKey("malformed", controls), "");
}

TEST(SystemControlValues, TextsOfTheCurrentPlatformAreAskedByNameAlone) {
  testing::installRecordedPlatform("iMac19,1");
  EXPECT_EQ(sysctlNSStringForKey("hw.model"), "iMac19,1");
}

TEST(SystemControlValues, NumbersAreSignedAndOfFourOrEightBytes) {
  SystemControlTable controls({{"small", int32ControlBytes(-7)},
                               {"large", int64ControlBytes(17'179'869'184)},
                               {"negative", int64ControlBytes(-1)}});
  EXPECT_EQ(sysctlNumberForKey("small", controls), -7);
  EXPECT_EQ(sysctlNumberForKey("large", controls), 17'179'869'184);
  EXPECT_EQ(sysctlNumberForKey("negative", controls), -1);
}

TEST(SystemControlValues, NumbersOfAnyOtherSizeAreZero) {
  SystemControlTable controls({{"two", testing::data("ab")},
                               {"five", testing::data("abcde")},
                               {"sixteen", testing::data("abcdefghijklmnop")},
                               {"empty", {}}});
  for (const char* key : {"two", "five", "sixteen", "empty", "absent"}) {
    EXPECT_EQ(sysctlNumberForKey(key, controls), 0) << key;
  }
}

TEST(SystemControlValues, TheSizeIsAskedForBeforeTheValue) {
  testing::ForwardingSystemControls controls(std::make_unique<SystemControlTable>(
      SystemControlTable::Values{{"hw.model", textControlBytes("Mac")}}));
  std::vector<bool> withRoom;
  controls.onByName = [&](const char* name, void* value, std::size_t* size) {
    withRoom.push_back(value != nullptr);
    return controls.behind->byName(name, value, size);
  };
  EXPECT_EQ(sysctlNSStringForKey("hw.model", controls), "Mac");
  EXPECT_EQ(withRoom, (std::vector<bool>{false, true}));
  withRoom.clear();
  EXPECT_EQ(sysctlNSStringForKey("absent", controls), "");
  EXPECT_EQ(withRoom, (std::vector<bool>{false}));
}

TEST(SystemControlValues, AValueThatGrowsBetweenTheTwoCallsIsAbsent) {
  testing::ForwardingSystemControls controls(nullptr);
  for (const int status : {ENOMEM, 0}) {
    controls.onByName = [&](const char*, void* value, std::size_t* size) {
      *size = value == nullptr ? 4 : 8;
      if (value == nullptr) {
        return 0;
      }
      std::memcpy(value, "\x07\x07\x07\x07", 4);
      return status;
    };
    EXPECT_EQ(sysctlNSStringForKey("hw.model", controls), "");
    EXPECT_EQ(sysctlNumberForKey("hw.ncpu", controls), 0);
  }
}

TEST(SystemControlValues, AValueThatShrinksBetweenTheTwoCallsIsAsLongAsItIs) {
  testing::ForwardingSystemControls controls(nullptr);
  controls.onByName = [](const char*, void* value, std::size_t* size) {
    *size = value == nullptr ? 8 : 4;
    if (value != nullptr) {
      std::memcpy(value, "\x07\0\0\0", 4);
    }
    return 0;
  };
  EXPECT_EQ(sysctlNumberForKey("hw.ncpu", controls), 7);
}

}  // namespace
}  // namespace kelvora
