#include <fstream>
#include <random>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/engine/Peer.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using testing::Peer;

class StoreFaultsTest : public testing::StoreFixture {
 protected:
  void fillStore() {
    const auto store = makeStore();
    for (int i = 0; i < 200; ++i) {
      store->createSensorWithKey("k" + std::to_string(i), store->viewContext());
    }
    store->saveViewContext();
  }
  void expectNoStore() {
    const auto store = makeStore();
    ASSERT_NE(store->viewContext(), nullptr);
    EXPECT_FALSE(store->persistentStoreCoordinator()->hasStore());
    EXPECT_EQ(store->allSensors(), std::nullopt);
    EXPECT_EQ(store->allCategories(), std::nullopt);
    EXPECT_EQ(store->getSensorByKey("k1"), nullptr);
    store->createSensorWithKey("a", store->viewContext());
    ::testing::internal::CaptureStderr();
    store->saveViewContext();
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Save error: "));
  }
  // What a process without the rights of an administrator meets. It runs a copy of the program:
  // the folder of the build may be closed to it.
  std::string probeAsNobody() const {
    namespace fs = std::filesystem;
    const fs::path built = KELVORA_STORE_PEER;
    const fs::path copy = fs::path(home) / built.filename();
    fs::copy_file(built, copy);
    fs::create_directory(copy.parent_path() / "Resources");
    fs::copy_file(built.parent_path() / "Resources/Database.momd",
                  copy.parent_path() / "Resources/Database.momd");
    Peer peer({"probe", "65534"}, copy.string());
    const std::string output = peer.everything();
    EXPECT_EQ(peer.wait(), 0);
    return output;
  }
};

TEST_F(StoreFaultsTest, ADirectoryInPlaceOfTheFileIsNotAStore) {
  std::filesystem::create_directories(storePath());
  expectNoStore();
}

TEST_F(StoreFaultsTest, AFileOfRandomBytesIsNotAStoreAndStaysAsItIs) {
  std::filesystem::create_directories(folder());
  std::mt19937 random(3);
  std::string bytes;
  for (int i = 0; i < 50000; ++i) {
    bytes += static_cast<char>(random());
  }
  std::ofstream(storePath(), std::ios::binary) << bytes;
  expectNoStore();
  EXPECT_EQ(std::filesystem::file_size(storePath()), bytes.size());
}

TEST_F(StoreFaultsTest, ATruncatedFileNeverCrashes) {
  fillStore();
  std::filesystem::remove(storePath() + "-wal");
  std::filesystem::remove(storePath() + "-shm");
  const auto whole = std::filesystem::file_size(storePath());
  std::ifstream file(storePath(), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  for (std::uintmax_t size = 0; size < whole; size += 700) {
    std::ofstream(storePath(), std::ios::binary | std::ios::trunc)
        << bytes.substr(0, static_cast<std::size_t>(size));
    const auto store = makeStore();
    ::testing::internal::CaptureStderr();
    if (store->allSensors()) {
      store->createSensorWithKey("new", store->viewContext());
      store->saveViewContext();
    }
    ::testing::internal::GetCapturedStderr();
    std::filesystem::remove(storePath() + "-wal");
    std::filesystem::remove(storePath() + "-shm");
  }
}

TEST_F(StoreFaultsTest, ABrokenPageInTheMiddleGivesNoneOrFails) {
  fillStore();
  const auto size = std::filesystem::file_size(storePath());
  for (std::uintmax_t offset = 1024; offset + 1024 <= size; offset += 1024) {
    std::fstream file(storePath(), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file << std::string(1024, '\x5A');
  }
  const auto store = makeStore();
  EXPECT_EQ(store->allSensors().value_or(std::vector<KVSensorPtr>()).size(), 0U);
}

TEST_F(StoreFaultsTest, AReadOnlyFileIsReadOrAbsentAndNeverSaved) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "taking another user's rights needs an administrator";
  }
  fillStore();
  ::chmod(home.c_str(), 0755);
  ::chmod(storePath().c_str(), 0444);
  const std::string output = probeAsNobody();
  EXPECT_THAT(output, HasSubstr("Save error: "));
  EXPECT_THAT(output, HasSubstr("unsaved yes"));
  EXPECT_EQ(makeStore()->allSensors()->size(), 200U);
}

TEST_F(StoreFaultsTest, AnUnreadableFolderGivesNoStore) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "taking another user's rights needs an administrator";
  }
  fillStore();
  ::chmod(home.c_str(), 0755);
  ::chmod(folder().c_str(), 0700);
  const std::string output = probeAsNobody();
  EXPECT_THAT(output, HasSubstr("sensors none"));
  EXPECT_THAT(output, HasSubstr("Save error: "));
}

TEST_F(StoreFaultsTest, AFullDiskFailsTheSaveAndLeavesTheFileAsItWas) {
  fillStore();
  // A process whose files may not grow meets the same error as on a full disk.
  Peer peer({"probe", "0", "60000"});
  const std::string output = peer.everything();
  EXPECT_EQ(peer.wait(), 0);
  EXPECT_THAT(output, HasSubstr("Save error: "));
  EXPECT_THAT(output, HasSubstr("unsaved yes"));
  const auto store = makeStore();
  EXPECT_EQ(store->allSensors()->size(), 200U);
  EXPECT_EQ(store->viewContext()->objectsOf("GraphPoint")->size(), 0U);
}

TEST_F(StoreFaultsTest, WithoutFaultsTheSameProbeSaves) {
  fillStore();
  Peer peer({"probe"});
  const std::string output = peer.everything();
  EXPECT_THAT(output, HasSubstr("sensors 200"));
  EXPECT_THAT(output, HasSubstr("unsaved no"));
  EXPECT_THAT(output, Not(HasSubstr("Save error")));
  EXPECT_EQ(peer.wait(), 0);
}

}  // namespace
}  // namespace kelvora
