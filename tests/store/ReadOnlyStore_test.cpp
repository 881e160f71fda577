// A store that is opened for reading only.

#include <filesystem>
#include <string>

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVStoreFile.h"

#include "tests/engine/StatementHook.h"
#include "tests/support/StoreFixture.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;

class ReadOnlyStore : public StoreFixture {
 protected:
  std::unique_ptr<KVCoreDataStore> reader() {
    return std::make_unique<KVCoreDataStore>(
        0, *platform, KVCoreDataStore::Options{.busyTimeoutMs = 5000, .isReadOnly = true});
  }
  void writeSensor(const std::string& key) {
    const auto store = makeStore();
    addSensor(*store, key, addCategory(*store, "Temperature", 0));
    store->saveViewContext();
  }
};

TEST_F(ReadOnlyStore, WithoutAFileCreatesNothingAndHasNoStore) {
  const auto store = reader();
  EXPECT_FALSE(store->allSensors());
  EXPECT_FALSE(store->persistentStoreCoordinator()->hasStore());
  EXPECT_TRUE(temporary.entries().empty());
}

TEST_F(ReadOnlyStore, AnEmptyFileIsAnEmptyStore) {
  temporary.write(std::string(kApplicationGroupIdentifier) + "/Database.sqlite", "");
  const auto before = temporary.entries();
  EXPECT_THAT(reader()->allSensors(), ::testing::Optional(::testing::IsEmpty()));
  EXPECT_EQ(temporary.entries(), before);
  writeSensor("TC0P");
  EXPECT_TRUE(reader()->getSensorByKey("TC0P"));
}

// As a disk leaves it that became full at the first opening.
TEST_F(ReadOnlyStore, AFileWithoutTablesIsAnEmptyStoreThatRefusesToSave) {
  fs::create_directories(folder());
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
      .exec("PRAGMA page_size=1024; PRAGMA journal_mode=WAL");
  ASSERT_EQ(fs::file_size(storePath()), 1024U);
  const auto before = temporary.entries();
  const auto store = reader();
  EXPECT_THAT(store->allSensors(), ::testing::Optional(::testing::IsEmpty()));
  store->createSensorWithKey("TC0P", store->viewContext());
  EXPECT_THAT(store->viewContext()->save().value_or(""), ::testing::HasSubstr("readonly"));
  EXPECT_EQ(temporary.entries(), before);
  writeSensor("TC0P");
  EXPECT_TRUE(reader()->getSensorByKey("TC0P"));
}

TEST_F(ReadOnlyStore, APipeIsNotAStoreAndNeverBlocks) {
  fs::create_directories(folder());
  ASSERT_EQ(mkfifo(storePath().c_str(), 0600), 0);
  EXPECT_FALSE(reader()->allSensors());
}

// As a copy of both files, or after a crash in which the index was lost.
TEST_F(ReadOnlyStore, ReadsTheLogThatHasNoIndexWithoutATrace) {
  const auto writer = makeStore();
  addSensor(*writer, "TC0P", addCategory(*writer, "Temperature", 0));
  writer->saveViewContext();
  const std::string copy = temporary.path("copy/") + kApplicationGroupIdentifier;
  fs::create_directories(copy);
  for (const char* ending : {"", "-wal"}) {
    fs::copy_file(storePath() + ending, copy + "/Database.sqlite" + ending);
  }
  ASSERT_GT(fs::file_size(copy + "/Database.sqlite-wal"), 0U);
  setenv("XDG_DATA_HOME", temporary.path("copy").c_str(), 1);
  platform = Platform::live();
  const auto before = temporary.entries();
  {
    const auto store = reader();
    EXPECT_TRUE(store->getSensorByKey("TC0P"));
    EXPECT_EQ(temporary.entries(), before);
  }
  EXPECT_EQ(storeFile(*platform)->fault, "");
  EXPECT_EQ(temporary.entries(), before);
  EXPECT_TRUE(makeStore()->getSensorByKey("TC0P")) << "a program that writes takes the log over";
}

TEST_F(ReadOnlyStore, ReadsTheLogBesideTheFileThatALinkLeadsTo) {
  fs::create_directories(folder());
  fs::create_directories(temporary.path("real"));
  fs::create_symlink(temporary.path("real/Database.sqlite"), storePath());
  const auto writer = makeStore();
  addSensor(*writer, "TC0P", nullptr);
  writer->saveViewContext();
  EXPECT_TRUE(reader()->getSensorByKey("TC0P"));
}

TEST_F(ReadOnlyStore, WaitsForTheTablesOfAFileThatAnotherProgramCreates) {
  fs::create_directories(folder());
  temporary.write(std::string(kApplicationGroupIdentifier) + "/Database.sqlite", "");
  StatementHook hook;
  hook.once("sqlite_master", [&] {  // it is empty still
    hook.once("sqlite_master", [&] { writeSensor("TC0P"); });
  });
  EXPECT_TRUE(reader()->getSensorByKey("TC0P"));
  EXPECT_FALSE(hook.isWaiting());
}

TEST_F(ReadOnlyStore, ReadsAFileThatIsNotOpenElsewhereWithoutATrace) {
  writeSensor("TC0P");
  const auto before = temporary.entries();
  ASSERT_EQ(before.count(std::string(kApplicationGroupIdentifier) + "/Database.sqlite-shm"), 0U);
  {
    const auto store = reader();
    ASSERT_TRUE(store->getSensorByKey("TC0P"));
    EXPECT_EQ(store->getSensorByKey("TC0P")->category()->name(), "Temperature");
    EXPECT_EQ(temporary.entries(), before);
  }
  EXPECT_EQ(temporary.entries(), before);
}

TEST_F(ReadOnlyStore, ReadsWhatARunningProgramSavedAndLeavesItsLog) {
  const auto writer = makeStore();
  addSensor(*writer, "TC0P", addCategory(*writer, "Temperature", 0));
  writer->saveViewContext();
  {
    const auto store = reader();
    EXPECT_TRUE(store->getSensorByKey("TC0P"));
    addSensor(*writer, "TG0D", nullptr);
    writer->saveViewContext();
    EXPECT_TRUE(store->getSensorByKey("TG0D"));
  }
  EXPECT_TRUE(fs::exists(storePath() + "-wal"));
  EXPECT_GT(fs::file_size(storePath() + "-wal"), 0U);
}

TEST_F(ReadOnlyStore, RefusesToSave) {
  writeSensor("TC0P");
  const auto before = temporary.entries();
  const auto store = reader();
  store->getSensorByKey("TC0P")->setValue(45);
  const auto failure = store->viewContext()->save();
  ASSERT_TRUE(failure);
  EXPECT_THAT(*failure, ::testing::HasSubstr("readonly"));
  EXPECT_EQ(temporary.entries(), before);
}

TEST_F(ReadOnlyStore, DoesNotMigrateAnOlderFile) {
  writeSensor("TC0P");
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE)
      .exec("UPDATE _store SET value = '{\"entities\": []}'");
  const auto before = temporary.entries();
  EXPECT_FALSE(reader()->allSensors());
  EXPECT_EQ(temporary.entries(), before);
  EXPECT_TRUE(makeStore()->allSensors()) << "a program that writes migrates it";
}

TEST_F(ReadOnlyStore, ObjectsReadTheSettingsThatAreGiven) {
  writeSensor("TC0P");
  KVSettings settings(*platform);
  KVSettingsSnapshot snapshot(settings);
  KVCoreDataStore store(0, *platform, snapshot, {.busyTimeoutMs = 5000, .isReadOnly = true});
  EXPECT_TRUE(store.getSensorByKey("TC0P"));
  EXPECT_FALSE(store.viewContext()->save()) << "nothing to save";
}

}  // namespace
}  // namespace kelvora::testing
