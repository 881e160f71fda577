#include "sysinfo/DiskQuery.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ForwardingPorts.h"

namespace kelvora {
namespace {

using platform::DiskDescription;

struct DiskAnswer {
  std::optional<ZDDiskInfo> disk;
  std::string logged;
  std::vector<std::string> described;
};

DiskAnswer diskOf(const std::vector<std::string>& volumes,
                  const std::optional<DiskDescription>& description) {
  testing::ForwardingSystemFacts facts(nullptr);
  DiskAnswer answer;
  facts.onMountedVolumePaths = [&] { return volumes; };
  facts.onDiskDescription = [&](std::string_view path) {
    answer.described.emplace_back(path);
    return description;
  };
  ::testing::internal::CaptureStderr();
  answer.disk = queryDisk(facts);
  answer.logged = ::testing::internal::GetCapturedStderr();
  return answer;
}

const DiskDescription kDescription = {.mediaName = " Untitled 1\n",
                                      .deviceModel = " APPLE SSD\t\r\n",
                                      .mediaSizeBytes = 500'277'792'768,
                                      .mediaRemovable = false};

TEST(DiskQuery, TheRootVolumesDiskIsDescribedWithItsNameAndATrimmedModel) {
  const auto answer = diskOf({"/Volumes/Backup", "/", "/home"}, kDescription);
  EXPECT_EQ(answer.described, std::vector<std::string>{"/"});
  ASSERT_TRUE(answer.disk);
  EXPECT_EQ(answer.disk->name, " Untitled 1\n");
  EXPECT_EQ(answer.disk->model, "APPLE SSD");
  EXPECT_EQ(answer.disk->size, 500'277'792'768);
  EXPECT_EQ(answer.logged, "");
}

TEST(DiskQuery, TheLastRootVolumeWins) {
  EXPECT_EQ(diskOf({"/", "//", "/x"}, kDescription).described, std::vector<std::string>{"//"});
}

TEST(DiskQuery, WithoutAnyVolumeThereIsNoDiskAndALogLine) {
  const auto answer = diskOf({}, kDescription);
  EXPECT_FALSE(answer.disk);
  EXPECT_EQ(answer.logged, "empty disk after fetching list\n");
  EXPECT_TRUE(answer.described.empty());
}

TEST(DiskQuery, WithoutARootVolumeThereIsNoDiskAndNoLogLine) {
  const auto answer = diskOf({"/Volumes/Backup", "/home", ""}, kDescription);
  EXPECT_FALSE(answer.disk);
  EXPECT_EQ(answer.logged, "");
}

TEST(DiskQuery, ReturnsNoneForADiskThatIsRemovableOrCannotBeDescribed) {
  EXPECT_FALSE(diskOf({"/"}, std::nullopt).disk);
  DiskDescription removable = kDescription;
  removable.mediaRemovable = true;
  EXPECT_FALSE(diskOf({"/"}, removable).disk);
}

TEST(DiskQuery, ASizeOfZeroIsASize) {
  DiskDescription empty = kDescription;
  empty.mediaSizeBytes = 0;
  const auto answer = diskOf({"/"}, empty);
  ASSERT_TRUE(answer.disk);
  EXPECT_EQ(answer.disk->size, 0);
}

TEST(DiskQuery, AbsentTextsAreEmptyAndAnAbsentSizeHasNoValue) {
  const auto answer = diskOf({"/"}, DiskDescription{});
  ASSERT_TRUE(answer.disk);
  EXPECT_EQ(answer.disk->name, "");
  EXPECT_EQ(answer.disk->model, "");
  EXPECT_EQ(answer.disk->size, std::nullopt);
  EXPECT_EQ(answer.disk->displayName(), "Unknown");
}

}  // namespace
}  // namespace kelvora
