// A store that is opened for reading only.

#include <filesystem>
#include <map>
#include <string>

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVSettingsSnapshot.h"

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
  // Every entry of the home folder with its content.
  std::map<std::string, std::string> snapshot() const {
    std::map<std::string, std::string> entries;
    for (const auto& entry : fs::recursive_directory_iterator(home)) {
      const std::string name = fs::relative(entry.path(), home).string();
      entries[name] = entry.is_regular_file() ? temporary.read(name) : "";
    }
    return entries;
  }
};

TEST_F(ReadOnlyStore, WithoutAFileCreatesNothingAndHasNoStore) {
  const auto store = reader();
  EXPECT_FALSE(store->allSensors());
  EXPECT_FALSE(store->persistentStoreCoordinator()->hasStore());
  EXPECT_TRUE(snapshot().empty());
}

TEST_F(ReadOnlyStore, AFileWithoutTablesHasNoStore) {
  fs::create_directories(folder());
  temporary.write(std::string(kApplicationGroupIdentifier) + "/Database.sqlite", "");
  const auto before = snapshot();
  EXPECT_FALSE(reader()->persistentStoreCoordinator()->hasStore());
  EXPECT_EQ(snapshot(), before);
  writeSensor("TC0P");
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

TEST_F(ReadOnlyStore, ReadsAFileThatNobodyHasOpenWithoutATrace) {
  writeSensor("TC0P");
  const auto before = snapshot();
  ASSERT_EQ(before.count(std::string(kApplicationGroupIdentifier) + "/Database.sqlite-shm"), 0U);
  {
    const auto store = reader();
    ASSERT_TRUE(store->getSensorByKey("TC0P"));
    EXPECT_EQ(store->getSensorByKey("TC0P")->category()->name(), "Temperature");
    EXPECT_EQ(snapshot(), before);
  }
  EXPECT_EQ(snapshot(), before);
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
  const auto before = snapshot();
  const auto store = reader();
  store->getSensorByKey("TC0P")->setValue(45);
  const auto failure = store->viewContext()->save();
  ASSERT_TRUE(failure);
  EXPECT_THAT(*failure, ::testing::HasSubstr("readonly"));
  EXPECT_EQ(snapshot(), before);
}

TEST_F(ReadOnlyStore, DoesNotMigrateAnOlderFile) {
  writeSensor("TC0P");
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE)
      .exec("UPDATE _store SET value = '{\"entities\": []}'");
  const auto before = snapshot();
  EXPECT_FALSE(reader()->allSensors());
  EXPECT_EQ(snapshot(), before);
  EXPECT_TRUE(makeStore()->allSensors()) << "a program that writes migrates it";
}

TEST_F(ReadOnlyStore, AnEmptyFileIsNoStore) {
  temporary.write(std::string(kApplicationGroupIdentifier) + "/Database.sqlite", "");
  EXPECT_FALSE(reader()->allSensors());
  EXPECT_EQ(fs::file_size(storePath()), 0U);
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
