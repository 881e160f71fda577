#include <SQLiteCpp/Database.h>

#include "tests/engine/Peer.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::HasSubstr;
using testing::Peer;

// The store file is deleted, as clearing the data does, or replaced while a program has it open.
class MovedStoreTest : public testing::StoreFixture {
 protected:
  MovedStoreTest() {
    store->createSensorWithKey("a", store->viewContext())->setValue(1);
    store->saveViewContext();
  }
  void deleteFiles() const {
    for (const char* end : {"", "-shm", "-wal"}) {
      std::filesystem::remove(storePath() + end);
    }
  }
  void otherProgramSets(const std::string& key, const std::string& value) {
    Peer peer({"set", key, value});
    EXPECT_EQ(peer.everything(), "");
    EXPECT_EQ(peer.wait(), 0);
  }
  std::string saveOutput() {
    ::testing::internal::CaptureStderr();
    store->saveViewContext();
    return ::testing::internal::GetCapturedStderr();
  }
  void expectSaveFails() {
    EXPECT_THAT(saveOutput(), HasSubstr("Save error: the store file was deleted or replaced"));
    EXPECT_TRUE(store->viewContext()->hasChanges());
  }
  std::unique_ptr<KVCoreDataStore> store = makeStore();
};

TEST_F(MovedStoreTest, ASaveIntoADeletedFileFails) {
  deleteFiles();
  store->getSensorByKey("a")->setValue(2);
  expectSaveFails();
  EXPECT_FALSE(std::filesystem::exists(storePath()));
}

TEST_F(MovedStoreTest, ASaveOfNewObjectsIntoADeletedFileFails) {
  deleteFiles();
  store->createGraphPoint()->setPointX(1);
  expectSaveFails();
}

TEST_F(MovedStoreTest, TheObjectsOfADeletedFileAreStillRead) {
  deleteFiles();
  EXPECT_EQ(store->allSensors()->size(), 1U);
  store->viewContext()->refreshAllObjects();
  EXPECT_EQ(store->getSensorByKey("a")->value(), 1);
  EXPECT_EQ(saveOutput(), "");
}

TEST_F(MovedStoreTest, AReplacedFileKeepsWhatAnotherProgramSavedThere) {
  deleteFiles();
  otherProgramSets("a", "3");
  store->getSensorByKey("a")->setValue(2);
  expectSaveFails();
  EXPECT_EQ(makeStore()->getSensorByKey("a")->value(), 3);
}

TEST_F(MovedStoreTest, ANewFileTakesNothingFromTheLogOfADeletedOneThatIsStillOpen) {
  std::filesystem::remove(storePath());
  ASSERT_TRUE(std::filesystem::exists(storePath() + "-shm"));
  otherProgramSets("b", "3");
  otherProgramSets("c", "4");
  EXPECT_EQ(makeStore()->allSensors()->size(), 2U);
  EXPECT_EQ(store->getSensorByKey("a")->value(), 1);
  store->getSensorByKey("a")->setValue(2);
  expectSaveFails();
}

TEST_F(MovedStoreTest, TheEndOfAProgramWithADeletedFileLeavesTheNewFilesLogAlone) {
  deleteFiles();
  const auto later = makeStore();
  later->createSensorWithKey("b", later->viewContext())->setValue(4);
  later->saveViewContext();
  store.reset();
  EXPECT_TRUE(std::filesystem::exists(storePath() + "-wal"));
  otherProgramSets("c", "5");
  later->viewContext()->refreshAllObjects();
  EXPECT_EQ(later->getSensorByKey("b")->value(), 4);
  EXPECT_EQ(later->getSensorByKey("c")->value(), 5);
}

TEST_F(MovedStoreTest, AFileThatIsMovedBackTakesSavesAgain) {
  std::filesystem::rename(storePath(), storePath() + ".away");
  store->getSensorByKey("a")->setValue(2);
  expectSaveFails();
  std::filesystem::rename(storePath() + ".away", storePath());
  EXPECT_EQ(saveOutput(), "");
  EXPECT_EQ(makeStore()->getSensorByKey("a")->value(), 2);
}

}  // namespace
}  // namespace kelvora
