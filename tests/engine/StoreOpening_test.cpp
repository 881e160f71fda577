#include <thread>

#include <SQLiteCpp/Database.h>

#include "tests/engine/Peer.h"
#include "tests/engine/StatementHook.h"
#include "tests/engine/SystemFaults.h"
#include "tests/support/HomeOfAnotherAccount.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using engine::PersistentStoreCoordinator;
using ::testing::HasSubstr;
using testing::Peer;

constexpr const char* kOldModel = R"({"entities": [
  {"name": "Sensor", "attributes": [{"name": "key", "type": "String"}]}]})";
constexpr const char* kNewModel = R"({"entities": [
  {"name": "Sensor", "attributes": [{"name": "key", "type": "String"},
    {"name": "count", "type": "Int64", "default": 7}], "indexes": [["key"]]}]})";

class StoreOpeningTest : public testing::StoreFixture {
 protected:
  StoreOpeningTest() { std::filesystem::create_directories(folder()); }
  std::shared_ptr<PersistentStoreCoordinator> open(const char* model, int busyTimeoutMs = 5000) {
    auto coordinator = std::make_shared<PersistentStoreCoordinator>(engine::modelFromText(model),
                                                                    engine::EntityClasses());
    coordinator->addStore(storePath(), busyTimeoutMs);
    return coordinator;
  }
  static ManagedObjectContextPtr contextOn(
      const std::shared_ptr<PersistentStoreCoordinator>& coordinator) {
    return makeContext(coordinator, nullptr, std::make_unique<engine::PrivateContextQueue>());
  }
  void insertWith(const std::shared_ptr<PersistentStoreCoordinator>& coordinator) {
    const auto context = contextOn(coordinator);
    context->insertNewObject("Sensor")->setAttribute("key", ManagedValue(std::string("TC0P")));
    EXPECT_EQ(context->save(), std::nullopt);
  }
  std::string pragma(const std::string& name) {
    return SQLite::Database(storePath()).execAndGet("PRAGMA " + name).getString();
  }
  void deleteFiles() const {
    for (const char* end : {"", "-shm", "-wal", "-journal"}) {
      std::filesystem::remove(storePath() + end);
    }
  }
};

TEST_F(StoreOpeningTest, AnyOneFailingCallWhileTheFileIsCreatedStillGivesAStore) {
  testing::SystemFaults faults;
  open(kNewModel);
  const int calls = faults.made();
  ASSERT_GT(calls, 20);
  for (int number = 1; number <= calls; ++number) {
    deleteFiles();
    faults.failCall(number);
    const auto coordinator = open(kNewModel);
    faults.failCall(0);
    ASSERT_TRUE(coordinator->hasStore()) << number;
    insertWith(coordinator);
    EXPECT_EQ(contextOn(open(kNewModel))->objectsOf("Sensor")->size(), 1U) << number;
    EXPECT_EQ(pragma("page_size"), "1024") << number;
    EXPECT_EQ(pragma("journal_mode"), "wal") << number;
    EXPECT_EQ(pragma("integrity_check"), "ok") << number;
  }
}

TEST_F(StoreOpeningTest, AnyOneFailingCallWhileTheFileIsMigratedStillGivesAStore) {
  testing::SystemFaults faults;
  for (int number = 1;; ++number) {
    deleteFiles();
    insertWith(open(kOldModel));
    faults.failCall(number);
    const auto coordinator = open(kNewModel);
    const int calls = faults.made();
    faults.failCall(0);
    ASSERT_TRUE(coordinator->hasStore()) << number;
    const auto sensors = contextOn(coordinator)->objectsOf("Sensor").value();
    ASSERT_EQ(sensors.size(), 1U) << number;
    EXPECT_EQ(sensors[0]->attribute("count"), ManagedValue(std::int64_t{7})) << number;
    if (number > calls) {
      break;
    }
  }
}

TEST_F(StoreOpeningTest, AnyOneFailingCallWhileAnExistingFileIsOpenedGivesAStoreThatSaves) {
  insertWith(open(kNewModel));
  testing::SystemFaults faults;
  open(kNewModel);
  const int calls = faults.made();
  for (int number = 1; number <= calls; ++number) {
    faults.failCall(number);
    const auto coordinator = open(kNewModel);
    faults.failCall(0);
    ASSERT_TRUE(coordinator->hasStore()) << number;
    insertWith(coordinator);
  }
  EXPECT_EQ(contextOn(open(kNewModel))->objectsOf("Sensor")->size(),
            static_cast<std::size_t>(calls) + 1);
}

TEST_F(StoreOpeningTest, AMigrationWaitsForAnotherProgramsLock) {
  insertWith(open(kOldModel));
  testing::StatementHook hook;
  Peer holder({"hold", storePath()});
  ASSERT_EQ(holder.nextLine(), "locked");
  std::thread release;
  hook.once("BEGIN IMMEDIATE", [&] { release = std::thread([&] { holder.endInput(); }); });
  EXPECT_TRUE(open(kNewModel)->hasStore());
  ASSERT_TRUE(release.joinable());
  release.join();
  EXPECT_EQ(holder.wait(), 0);
}

TEST_F(StoreOpeningTest, OpeningWaitsForAProgramThatHasTheWholeFile) {
  insertWith(open(kOldModel));
  testing::StatementHook hook;
  Peer holder({"own", storePath()});
  ASSERT_EQ(holder.nextLine(), "locked");
  std::thread release;
  hook.once("page_size", [&] { release = std::thread([&] { holder.endInput(); }); });
  EXPECT_TRUE(open(kOldModel)->hasStore());
  ASSERT_TRUE(release.joinable());
  release.join();
  EXPECT_EQ(holder.wait(), 0);
}

TEST_F(StoreOpeningTest, AMigrationThatALockOutlastsIsDoneOnALaterAccess) {
  insertWith(open(kOldModel));
  Peer holder({"hold", storePath()});
  ASSERT_EQ(holder.nextLine(), "locked");
  const auto coordinator = open(kNewModel, 50);
  EXPECT_FALSE(coordinator->hasStore());
  const auto context = contextOn(coordinator);
  EXPECT_EQ(context->objectsOf("Sensor"), std::nullopt);
  const auto sensor = context->insertNewObject("Sensor");
  EXPECT_THAT(context->save().value(), HasSubstr("there is no store: database is locked"));
  holder.endInput();
  EXPECT_EQ(holder.wait(), 0);
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(context->objectsOf("Sensor")->size(), 2U);
  EXPECT_EQ(contextOn(open(kNewModel))->objectsOf("Sensor")->size(), 2U);
}

TEST_F(StoreOpeningTest, ALaterSaveNamesWhyThereIsNoStore) {
  const auto reasonOf = [this] {
    const auto context = contextOn(open(kOldModel, 50));
    context->insertNewObject("Sensor");
    return context->save().value_or("");
  };
  std::filesystem::create_directories(storePath());
  EXPECT_EQ(reasonOf(), "there is no store: unable to open database file");
  std::filesystem::remove(storePath());
  std::ofstream(storePath()) << std::string(5000, 'x');
  EXPECT_EQ(reasonOf(), "there is no store: file is not a database");
  std::filesystem::remove(storePath());
  insertWith(open(kNewModel));
  EXPECT_EQ(reasonOf(), "there is no store: the file was written with another model");
}

TEST_F(StoreOpeningTest, ANewFileIsItsOwnersAlone) {
  namespace fs = std::filesystem;
  const auto coordinator = open(kNewModel);
  insertWith(coordinator);
  for (const char* end : {"", "-shm", "-wal"}) {
    EXPECT_EQ(fs::status(storePath() + end).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << end;
  }
}

TEST_F(StoreOpeningTest, ANewFileThatALinkLeadsToIsItsOwnersAloneToo) {
  namespace fs = std::filesystem;
  const std::string elsewhere = temporary.path("elsewhere.sqlite");
  fs::create_symlink(elsewhere, storePath());
  insertWith(open(kNewModel));
  EXPECT_TRUE(fs::is_symlink(storePath()));
  EXPECT_EQ(fs::status(elsewhere).permissions(), fs::perms(0600));
}

TEST_F(StoreOpeningTest, AFileThatCannotBeCreatedHasTheSystemsReason) {
  std::filesystem::remove_all(folder());
  const auto context = contextOn(open(kNewModel, 50));
  context->insertNewObject("Sensor");
  EXPECT_EQ(context->save(),
            "there is no store: unable to create database file: No such file or directory");
}

TEST_F(StoreOpeningTest, TheModeOfAnExistingFileStays) {
  namespace fs = std::filesystem;
  insertWith(open(kNewModel));
  fs::permissions(storePath(), fs::perms(0640));
  insertWith(open(kNewModel));
  EXPECT_EQ(fs::status(storePath()).permissions(), fs::perms(0640));
}

TEST_F(StoreOpeningTest, ACoordinatorWithoutAFileSaysSo) {
  const auto coordinator = std::make_shared<PersistentStoreCoordinator>(
      engine::modelFromText(kOldModel), engine::EntityClasses());
  const auto context = contextOn(coordinator);
  context->insertNewObject("Sensor");
  EXPECT_EQ(context->save(), "there is no store: no file was opened");
}

class StoreOfAnotherAccount : public testing::HomeOfAnotherAccount {
 protected:
  // The number of stored sensors after one was added; 0 on failure.
  std::size_t add() const {
    const auto coordinator = std::make_shared<PersistentStoreCoordinator>(
        engine::modelFromText(kNewModel), engine::EntityClasses());
    coordinator->addStore(home_.path("Database.sqlite"), 5000);
    const auto context =
        makeContext(coordinator, nullptr, std::make_unique<engine::PrivateContextQueue>());
    context->insertNewObject("Sensor");
    return context->save() ? 0 : context->objectsOf("Sensor")->size();
  }
};

TEST_F(StoreOfAnotherAccount, WhatRootCreatesBelongsToTheAccount) {
  EXPECT_EQ(add(), 1U);
  EXPECT_EQ(entriesOfTheAccount(), 1U);
  EXPECT_EQ(asUser([&] { return static_cast<int>(add()); }), 2);
  EXPECT_EQ(add(), 3U);
}

}  // namespace
}  // namespace kelvora
