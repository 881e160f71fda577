#include "tools/kelvora/SensorLog.h"

#include <cmath>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/support/HomeOfAnotherAccount.h"
#include "tests/support/ResourceLimit.h"
#include "tests/tools/RecordedHistory.h"
#include "tools/kelvora/CSVFile.h"

namespace kelvora::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr char kHeader[] = "Time,CPU Proximity (TC0P) °C,Main Fan (0) rpm,CPU Core (VC0C) V\n";
constexpr char kDefaultLine[] = "2023-11-20T00:00:00+00:00,41.5,1200,1.235\n";

SensorPtr sensor(const std::string& key, const std::string& name, std::uint64_t type,
                 double value) {
  const SensorPtr made = Sensor::instanceWithKey(key, name, type, SensorGroupCPU, 511);
  made->value = value;
  return made;
}

class Log : public RecordedHistory {
 protected:
  Log() {
    Platform::install(recordedPlatform(machineWithBrand("Intel(R) Core(TM) i7")));
    manager = std::make_unique<KVDataManager>(Platform::current());
    manager->setFileLoggingEnabled(true);
    manager->setFileLoggingPath(path());
    manager->setFileLoggingSensorKeys({{"TC0P", "0", "VC0C"}});
  }
  std::string path() const { return temporary.path("logs/log.csv"); }
  std::string content(const std::string& name = "log.csv") const {
    return temporary.read("logs/" + name);
  }
  bool exists(const std::string& name) const {
    return std::filesystem::exists(temporary.path("logs/" + name));
  }
  void storeSensor(const std::string& key, const std::string& name) {
    KVCoreDataStore& store = manager->coreDataStore();
    const KVSensorPtr stored = store.createSensorWithKey(key, store.viewContext());
    stored->setName(name);
    stored->setCategory(store.createOrUpdateCategoryWithName("Temperature", store.viewContext()));
    store.saveViewContext();
  }
  std::optional<std::string> append(double after = 0) {
    return log.append(instantOf(kBegin + after), sensors, *manager);
  }

  std::unique_ptr<KVDataManager> manager;
  SensorList sensors = {sensor("VC0C", "CPU Core", 2, 1.23456), sensor("TG0P", "GPU", 0, 50),
                        sensor("TC0P", "CPU Proximity", 0, 41.5), sensor("0", "Main Fan", 1, 1200)};
  tool::SensorLog log;
};

TEST_F(Log, HasALineOfNamesAndOneForEachSampleInTheOrderOfTheKeys) {
  EXPECT_EQ(append(), std::nullopt);
  sensors[2]->value = 42;
  EXPECT_EQ(append(2), std::nullopt);
  EXPECT_EQ(content(),
            std::string(kHeader) + kDefaultLine + "2023-11-20T00:00:02+00:00,42,1200,1.235\n");
}

TEST_F(Log, IsNotWrittenWhileFileLoggingIsOff) {
  manager->setFileLoggingEnabled(false);
  EXPECT_EQ(append(), std::nullopt);
  EXPECT_FALSE(exists("log.csv"));
}

TEST_F(Log, WithoutChosenSensorsIsNotWritten) {
  manager->setFileLoggingSensorKeys(std::vector<std::string>{});
  EXPECT_EQ(append(), std::nullopt);
  EXPECT_FALSE(exists("log.csv"));
}

TEST_F(Log, BeginsWithTheDefaultChoiceOnceThatIsStored) {
  manager->setFileLoggingSensorKeys(std::nullopt);
  EXPECT_EQ(append(), std::nullopt);  // no sensor is stored that could be chosen
  EXPECT_FALSE(exists("log.csv"));
  storeSensor("TC0P", "CPU Proximity");
  EXPECT_EQ(append(2), std::nullopt);
  EXPECT_EQ(content(), "Time,CPU Proximity (TC0P) °C\n2023-11-20T00:00:02+00:00,41.5\n");
}

TEST_F(Log, KeepsItsNamesWhileTheStoreCannotBeRead) {
  manager->setFileLoggingSensorKeys({{"TC0P", "TCXX"}});
  storeSensor("TCXX", "Desk");
  append();
  const std::string header = "Time,CPU Proximity (TC0P) °C,Desk (TCXX) °C\n";
  EXPECT_EQ(content(), header + "2023-11-20T00:00:00+00:00,41.5,\n");
  manager.reset();
  const std::string store = temporary.path("group.com.kelvora/Database.sqlite");
  std::filesystem::resize_file(store, 100);
  for (const char* ending : {"-wal", "-shm"}) {
    std::filesystem::remove(store + ending);
  }
  manager = std::make_unique<KVDataManager>(Platform::current());
  append(2);
  EXPECT_EQ(content(),
            header + "2023-11-20T00:00:00+00:00,41.5,\n2023-11-20T00:00:02+00:00,41.5,\n");
  EXPECT_FALSE(exists("log 2.csv"));
  manager->setFileLoggingSensorKeys({{"TC0P"}});  // one column less
  append(4);
  EXPECT_TRUE(exists("log 2.csv"));
}

TEST_F(Log, AValueThatCannotBeReadIsAnEmptyField) {
  append();
  sensors.erase(sensors.begin() + 2);
  sensors.back()->value = std::nan("");
  const KVSensorPtr stored =
      manager->coreDataStore().createSensorWithKey("TC0P", manager->coreDataStore().viewContext());
  stored->setName("CPU Proximity");
  stored->setCategory(manager->coreDataStore().createOrUpdateCategoryWithName(
      "Temperature", manager->coreDataStore().viewContext()));
  EXPECT_EQ(append(2), std::nullopt);
  EXPECT_EQ(content(), std::string(kHeader) + kDefaultLine + "2023-11-20T00:00:02+00:00,,,1.235\n");
}

TEST_F(Log, AnUnknownKeyHasItsOwnColumn) {
  manager->setFileLoggingSensorKeys({{"TXXX", "TC0P"}});
  append();
  EXPECT_EQ(content(), "Time,TXXX,CPU Proximity (TC0P) °C\n2023-11-20T00:00:00+00:00,,41.5\n");
}

TEST_F(Log, SeparatorsInNamesDoNotMakeColumnsOrLines) {
  manager->setFileLoggingSensorKeys({{"TC0P"}});
  sensors[2]->name = "a,b\nc\rd\"e";
  append();
  EXPECT_EQ(content(), "Time,a;b c d'e (TC0P) °C\n2023-11-20T00:00:00+00:00,41.5\n");
}

TEST_F(Log, AFileThatWasMovedAwayIsBegunAgain) {
  append();
  std::filesystem::rename(path(), temporary.path("logs/old.csv"));
  append(2);
  EXPECT_EQ(content("old.csv"), std::string(kHeader) + kDefaultLine);
  EXPECT_THAT(content(), ::testing::StartsWith(kHeader));
  EXPECT_THAT(content(), EndsWith("00:00:02+00:00,41.5,1200,1.235\n"));
}

TEST_F(Log, AFileWithOtherColumnsIsKeptUnderAnotherName) {
  append();
  const std::string before = content();
  manager->setFileLoggingSensorKeys({{"0"}});
  append(2);
  EXPECT_EQ(content("log 2.csv"), before);
  EXPECT_EQ(content(), "Time,Main Fan (0) rpm\n2023-11-20T00:00:02+00:00,1200\n");
  manager->setFileLoggingSensorKeys({{"TG0P"}});
  append(4);
  EXPECT_EQ(content("log 2.csv"), before);
  EXPECT_EQ(content("log 3.csv"), "Time,Main Fan (0) rpm\n2023-11-20T00:00:02+00:00,1200\n");
}

TEST_F(Log, AFileOfTheUsersIsNotTouched) {
  temporary.write("logs/log.csv", "shopping list\n");
  append();
  EXPECT_EQ(content("log 2.csv"), "shopping list\n");
  EXPECT_EQ(content(), std::string(kHeader) + kDefaultLine);
}

TEST_F(Log, ALineThatWasNotWrittenToItsEndIsCutOff) {
  temporary.write("logs/log.csv", std::string(kHeader) + "2023-11-19T23:59:58+00:00,41,1200,1\n" +
                                      "2023-11-19T23:59:59+00:00,4");
  append();
  EXPECT_EQ(content(),
            std::string(kHeader) + "2023-11-19T23:59:58+00:00,41,1200,1\n" + kDefaultLine);
  EXPECT_FALSE(exists("log 2.csv"));
}

TEST_F(Log, APartOfTheLineOfNamesIsBegunAgain) {
  temporary.write("logs/log.csv", std::string(kHeader).substr(0, 9));
  append();
  EXPECT_EQ(content(), std::string(kHeader) + kDefaultLine);
  EXPECT_FALSE(exists("log 2.csv"));
}

TEST_F(Log, AFullDiskLeavesWholeLinesAndIsReported) {
  append();
  const std::string before = content();
  {
    const ResourceLimit disk(RLIMIT_FSIZE, before.size() + 10);
    EXPECT_EQ(append(2), path() + ": File too large");
    EXPECT_EQ(content(), before);
  }
  EXPECT_EQ(append(4), std::nullopt);
  EXPECT_EQ(content(), before + "2023-11-20T00:00:04+00:00,41.5,1200,1.235\n");
}

TEST_F(Log, AFullDiskMakesNoFurtherFiles) {
  const ResourceLimit disk(RLIMIT_FSIZE, 10);
  EXPECT_NE(append(), std::nullopt);
  EXPECT_NE(append(2), std::nullopt);
  EXPECT_FALSE(exists("log 2.csv"));
  EXPECT_EQ(content(), "");
}

TEST_F(Log, APathThatIsNotAFileIsReportedWithoutBlocking) {
  std::filesystem::create_directories(temporary.path("logs"));
  ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
  EXPECT_EQ(append(), path() + ": not a file");
}

TEST_F(Log, AFolderThatCannotBeMadeIsReported) {
  temporary.write("logs", "a file");
  EXPECT_EQ(append(), path() + ": Not a directory");
}

class LogOfAnotherAccount : public HomeOfAnotherAccount {};

TEST_F(LogOfAnotherAccount, TheFileAndItsFoldersThatRootCreatesBelongToTheAccount) {
  const std::string path = home_.path("Documents/logs/Kelvora Log.csv");
  EXPECT_EQ(tool::CSVFile(path).append("a\n", "1\n"), std::nullopt);
  EXPECT_EQ(entriesOfTheAccount(), 3U);
  EXPECT_EQ(asUser([&] { return tool::CSVFile(path).append("a\n", "2\n") ? 1 : 0; }), 0);
  EXPECT_EQ(home_.read("Documents/logs/Kelvora Log.csv"), "a\n1\n2\n");
}

// The modes of fileLoggingResetMode.

TEST_F(Log, GrowsForEverByDefaultAndInAnUnknownMode) {
  append();
  for (const int mode : {0, 3, -1}) {
    manager->setFileLoggingResetMode(mode);
    log = {};
    append(200000);
  }
  EXPECT_EQ(std::ranges::count(content(), '\n'), 5);
}

TEST_F(Log, InModeOneIsEmptiedByEachRecording) {
  manager->setFileLoggingResetMode(1);
  append();
  append(2);
  EXPECT_EQ(std::ranges::count(content(), '\n'), 3);
  log = {};
  append(4);
  EXPECT_EQ(content(), std::string(kHeader) + "2023-11-20T00:00:04+00:00,41.5,1200,1.235\n");
}

TEST_F(Log, InModeTwoIsEmptiedEachDay) {
  manager->setFileLoggingResetMode(2);
  append();
  log = {};
  append(86398);
  EXPECT_EQ(std::ranges::count(content(), '\n'), 3);
  append(86400);
  EXPECT_EQ(content(), std::string(kHeader) + "2023-11-21T00:00:00+00:00,41.5,1200,1.235\n");
}

TEST_F(Log, InModeTwoAFileOfTheUsersIsNotEmptied) {
  manager->setFileLoggingResetMode(2);
  temporary.write("logs/log.csv", "2001-01-01 shopping list\n");
  append();
  EXPECT_EQ(content("log 2.csv"), "2001-01-01 shopping list\n");
}

TEST_F(Log, InModeOneAFileOfTheUsersIsNotEmptied) {
  manager->setFileLoggingResetMode(1);
  temporary.write("logs/log.csv", "shopping list\n");
  append();
  EXPECT_EQ(content("log 2.csv"), "shopping list\n");
}

}  // namespace
}  // namespace kelvora::testing
