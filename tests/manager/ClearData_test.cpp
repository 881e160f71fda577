#include <set>

#include "tests/support/ChildWork.h"
#include "tests/support/ManagerFixture.h"
#include "tests/support/RecordedNotices.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ClearData : public testing::ManagerFixture {
 protected:
  ClearData() {
    addSensor(store(), "TC0P", addCategory(store(), "Temperature", 0));
    store().saveViewContext();
  }

  void write(const std::string& name) const {
    temporary.write(std::string(kApplicationGroupIdentifier) + "/" + name, "content");
  }
  std::set<std::string> entries() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }
};

TEST_F(ClearData, RemovesTheStoreWithItsLog) {
  EXPECT_THAT(entries(),
              ElementsAre("Database.sqlite", "Database.sqlite-shm", "Database.sqlite-wal"));
  manager->clearData();
  EXPECT_THAT(entries(), IsEmpty());
  EXPECT_THAT(otherStore()->allSensors().value(), IsEmpty());
}

TEST_F(ClearData, RemovesEntriesOfExactlyThreeExtensions) {
  const std::vector<std::string> staying{"Database.sqlite-journal",
                                         "Database.SQLITE",
                                         "Database.sqlite.bak",
                                         "Database.sqlite3",
                                         "Database",
                                         "sqlite",
                                         ".sqlite",
                                         "Database.sqlite-shm2",
                                         "Database sqlite",
                                         "Log.csv"};
  for (const std::string& name : staying) {
    write(name);
  }
  for (const char* name : {"Other.sqlite", "a.b.sqlite-shm", "Other.sqlite-wal"}) {
    write(name);
  }
  write("Folder/Inner.sqlite");  // the folder is not looked into
  manager->clearData();
  std::set<std::string> expected(staying.begin(), staying.end());
  expected.insert("Folder");
  EXPECT_EQ(entries(), expected);
  EXPECT_TRUE(fs::exists(folder() + "/Folder/Inner.sqlite"));
}

TEST_F(ClearData, ForgetsThreeSettingsAndNoOther) {
  manager->setMainSensor(store().getSensorByKey("TC0P"));
  manager->setMenuSensors(std::vector<std::string>{"TC0P"});
  manager->setOpenAtLogin(true);
  manager->setUpdateFrequency(2);
  manager->setFileLoggingSensorKeys(std::vector<std::string>{"TC0P"});
  manager->clearData();
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
  EXPECT_EQ(suite->object("KVMenuSensors"), std::nullopt);
  EXPECT_EQ(suite->object("KVOpenAtLogin"), std::nullopt);
  EXPECT_FALSE(manager->openAtLogin());
  EXPECT_EQ(suite->objects().size(), 3U);  // the two others, and the read above
  EXPECT_EQ(manager->updateFrequency(), 2);
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("TC0P"));
}

TEST_F(ClearData, AnnouncesTheMenu) {
  testing::RecordedNotices notices(*platform);
  manager->clearData();
  const auto heard = notices.take();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].name, KVDataManagerMenuSensorsDidChangeNotification);
}

TEST_F(ClearData, LeavesTheRunningStoreOpen) {
  const auto context = store().viewContext();
  manager->clearData();
  EXPECT_EQ(store().viewContext(), context);
  EXPECT_EQ(testing::keysOf(store().allSensors().value()), std::vector<std::string>{"TC0P"});
  EXPECT_FALSE(fs::exists(storePath()));
}

TEST_F(ClearData, ARunningStoreDoesNotBringAnythingBack) {
  manager->clearData();
  const auto fresh = otherStore();
  fresh->createSensorWithKey("NEW", fresh->viewContext());
  fresh->saveViewContext();
  store().getSensorByKey("TC0P")->setValue(5);
  store().saveViewContext();
  manager.reset();
  EXPECT_EQ(testing::keysOf(otherStore()->allSensors().value()), std::vector<std::string>{"NEW"});
}

TEST_F(ClearData, RemovesADatabaseAfterItsLog) {
  auto& files = testing::wrapPort<testing::ForwardingFiles>(platform->ports().files);
  std::vector<std::string> removed;
  files.onRemove = [&](const std::string& path) {
    removed.push_back(fs::path(path).filename().string());
    return files.behind->remove(path);
  };
  manager->clearData();
  EXPECT_THAT(removed,
              ElementsAre("Database.sqlite-shm", "Database.sqlite-wal", "Database.sqlite"));
}

// The log holds what was saved, until a program ends orderly.
TEST_F(ClearData, KeepsTheNewStoreOfAProgramThatStartsAtThatMoment) {
  auto& files = testing::wrapPort<testing::ForwardingFiles>(platform->ports().files);
  files.onRemove = [&](const std::string& path) {
    const bool isRemoved = files.behind->remove(path);
    if (path == storePath()) {
      testing::ChildWork program([this] {
        const auto fresh = otherStore();
        fresh->createSensorWithKey("NEW", fresh->viewContext());
        fresh->saveViewContext();
        std::_Exit(0);
        return 1;
      });
      EXPECT_EQ(program.wait(), 0);
    }
    return isRemoved;
  };
  manager->clearData();
  EXPECT_TRUE(fs::exists(storePath() + "-wal"));
  manager.reset();
  EXPECT_EQ(testing::keysOf(otherStore()->allSensors().value()), std::vector<std::string>{"NEW"});
}

TEST_F(ClearData, WhatAProgramAddedToTheOldStoreMeanwhileIsNotInTheNextOne) {
  auto& files = testing::wrapPort<testing::ForwardingFiles>(platform->ports().files);
  files.onRemove = [&](const std::string& path) {
    if (path == storePath()) {  // opened by another program until just now
      write("Database.sqlite-wal");
    }
    return files.behind->remove(path);
  };
  manager->clearData();
  manager.reset();
  const auto next = otherStore();
  EXPECT_THAT(next->allSensors().value(), IsEmpty());
  next->createSensorWithKey("NEW", next->viewContext());
  next->saveViewContext();
  EXPECT_EQ(testing::keysOf(otherStore()->allSensors().value()), std::vector<std::string>{"NEW"});
}

TEST_F(ClearData, IgnoresWhatCannotBeListedOrRemoved) {
  write("Other.sqlite");
  auto& files = testing::wrapPort<testing::ForwardingFiles>(platform->ports().files);
  files.onRemove = [&](const std::string& path) {
    return path != storePath() && files.behind->remove(path);
  };
  manager->clearData();
  EXPECT_THAT(entries(), ElementsAre("Database.sqlite"));
  files.onList = [](const std::string&) { return std::nullopt; };
  files.onRemove = nullptr;
  manager->clearData();
  EXPECT_THAT(entries(), ElementsAre("Database.sqlite"));
  files.onList = [](const std::string& path) -> std::optional<std::vector<std::string>> {
    ADD_FAILURE() << "listed: " << path;
    return std::nullopt;
  };
  files.onGroupContainer = [](const std::string&) { return std::nullopt; };
  manager->clearData();
  EXPECT_THAT(entries(), ElementsAre("Database.sqlite"));
}

TEST_F(ClearData, TwiceIsAsOnce) {
  manager->clearData();
  manager->clearData();
  EXPECT_THAT(entries(), IsEmpty());
}

}  // namespace
}  // namespace kelvora
