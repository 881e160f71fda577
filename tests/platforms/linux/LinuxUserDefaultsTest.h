#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::platform {

inline constexpr const char* kGroup = "group.com.kelvora";
inline constexpr const char* kGroupFolder = "config/group.com.kelvora";
inline constexpr const char* kFile = "config/group.com.kelvora/Settings.plist";

/// A configuration folder of its own for each test.
class LinuxUserDefaultsTest : public ::testing::Test {
 protected:
  std::unique_ptr<UserDefaultsSuite> open() {
    return LinuxUserDefaults(folder_.path("config")).suite(kGroup);
  }

  std::string file() const { return folder_.path(kFile); }

  mode_t modeOf(const std::string& path) const {
    struct stat facts = {};
    return stat(path.c_str(), &facts) == 0 ? facts.st_mode & 07777U : 0;
  }

  // Stores one setting, and returns what was logged meanwhile.
  std::string logOfAWrite() {
    ::testing::internal::CaptureStderr();
    const auto suite = open();
    EXPECT_FALSE(suite->object("KVAppLaunchCountKey"));
    EXPECT_FALSE(suite->object("KVMainSensor"));
    EXPECT_TRUE(suite->setObject("KVMainSensor", "TC0P"));
    EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
    EXPECT_EQ(open()->object("KVMainSensor"), PropertyListValue("TC0P"));
    return ::testing::internal::GetCapturedStderr();
  }

  static long linesIn(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
  }

  testing::TemporaryFolder folder_;
};

}  // namespace kelvora::platform
