#include "KelvoraCore/KVStoreFile.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include "platforms/posix/FileDescriptor.h"
#include "tests/support/ChildWork.h"
#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/StoreFixture.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class StoreFileCheck : public StoreFixture {
 protected:
  // The fault, which is found without a trace.
  std::string fault() const {
    const auto before = temporary.entries();
    const auto file = storeFile(*platform);
    EXPECT_EQ(temporary.entries(), before);
    EXPECT_EQ(file->path, storePath());
    return file->fault;
  }
};

TEST_F(StoreFileCheck, AMissingStoreHasNoFaultAndCreatesNoFolder) {
  EXPECT_EQ(fault(), "");
  EXPECT_FALSE(storeFile(*platform)->exists);
}

TEST_F(StoreFileCheck, AStoreIsWellWhetherItIsInUseOrNot) {
  {
    const auto store = makeStore();
    addSensor(*store, "TC0P", addCategory(*store, "Temperature", 0));
    store->saveViewContext();
    ASSERT_TRUE(fs::exists(storePath() + "-shm"));
    EXPECT_EQ(storeFile(*platform)->fault, "");
  }
  EXPECT_EQ(fault(), "");
  EXPECT_TRUE(storeFile(*platform)->exists);
}

TEST_F(StoreFileCheck, AStoreOfAnEarlierVersionIsWellAndOlder) {
  EXPECT_FALSE(storeFile(*platform)->isOlder) << "there is no file";
  {
    const auto store = makeStore();
    addCategory(*store, "Temperature", 0);
    store->saveViewContext();
  }
  EXPECT_FALSE(storeFile(*platform)->isOlder);
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE)
      .exec("UPDATE _store SET value = '{\"entities\": []}'");
  EXPECT_EQ(fault(), "");
  EXPECT_TRUE(storeFile(*platform)->isOlder);
  EXPECT_TRUE(makeStore()->allSensors());
  EXPECT_FALSE(storeFile(*platform)->isOlder);
  std::ofstream(storePath(), std::ios::trunc);
  EXPECT_FALSE(storeFile(*platform)->isOlder) << "an empty file";
}

// Else another program could take the write-ahead log away from under this one.
TEST_F(StoreFileCheck, AStoreThatThisProgramHasOpenStaysLocked) {
  const auto store = makeStore();
  addCategory(*store, "Temperature", 0);
  store->saveViewContext();
  const auto isLocked = [this] {
    return ChildWork([this] {
             const platform::FileDescriptor file(open(storePath().c_str(), O_RDWR));
             struct flock probe = {};
             probe.l_type = F_WRLCK;
             probe.l_whence = SEEK_SET;
             return fcntl(file.get(), F_GETLK, &probe) == 0 && probe.l_type != F_UNLCK ? 1 : 0;
           }).wait() == 1;
  };
  ASSERT_TRUE(isLocked());
  EXPECT_EQ(storeFile(*platform)->fault, "");
  EXPECT_TRUE(isLocked());
}

TEST_F(StoreFileCheck, AFileThatIsNotAStoreIsAFault) {
  const std::string name = std::string(kApplicationGroupIdentifier) + "/Database.sqlite";
  temporary.write(name, std::string(5000, 'x'));
  EXPECT_THAT(fault(), HasSubstr("not a database"));
  fs::remove(storePath());
  fs::create_directories(storePath());
  EXPECT_EQ(fault(), "not a file");
}

TEST_F(StoreFileCheck, AFileThatThisUserMayNotWriteIsAFault) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can act for another account";
  }
  constexpr uid_t kOther = 65534;
  addCategory(*makeStore(), "Temperature", 0);
  fs::permissions(storePath(), fs::perms::others_read, fs::perm_options::add);
  for (const std::string& each : {home, folder()}) {
    ASSERT_EQ(chown(each.c_str(), kOther, kOther), 0);
  }
  ChildWork other([this] {
    return setuid(kOther) == 0 && storeFile(*platform)->fault == "Permission denied" ? 0 : 1;
  });
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(StoreFileCheck, AnythingButAFileInThePlaceOfTheLogIsAFault) {
  auto canSave = [this, number = 0]() mutable {
    const auto store = makeStore(0, 50);
    addCategory(*store, "Category " + std::to_string(++number), 0);
    return !store->viewContext()->save();
  };
  ASSERT_TRUE(canSave());
  for (const std::string ending : {"-wal", "-shm"}) {
    const std::string beside = storePath() + ending;
    fs::create_directory(beside);
    EXPECT_EQ(fault(), beside + ": not a file");
    EXPECT_FALSE(canSave()) << ending;
    fs::remove(beside);
    fs::create_symlink(temporary.path("elsewhere"), beside);
    EXPECT_EQ(fault(), beside + ": not a file");
    EXPECT_FALSE(canSave()) << ending;
    fs::remove(beside);
    EXPECT_EQ(fault(), "");
  }
}

TEST_F(StoreFileCheck, ALogThatThisUserMayNotWriteIsAFault) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can act for another account";
  }
  constexpr uid_t kOther = 65534;
  addCategory(*makeStore(), "Temperature", 0);
  const std::string log = storePath() + "-wal";
  std::ofstream(log).close();
  fs::permissions(log, fs::perms(0600));
  for (const std::string& each : {home, folder(), storePath()}) {
    ASSERT_EQ(chown(each.c_str(), kOther, kOther), 0);
  }
  ChildWork other([&] {
    return setuid(kOther) == 0 && storeFile(*platform)->fault == log + ": Permission denied" ? 0
                                                                                             : 1;
  });
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(StoreFileCheck, AFolderThatThisUserMayNotWriteIsAFaultAlsoWhereALinkLeadsThere) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can act for another account";
  }
  constexpr uid_t kOther = 65534;
  addCategory(*makeStore(), "Temperature", 0);
  const TemporaryFolder elsewhere;
  fs::permissions(elsewhere.path(), fs::perms(0755));
  fs::rename(storePath(), elsewhere.path("Database.sqlite"));
  fs::create_symlink(elsewhere.path("Database.sqlite"), storePath());
  for (const std::string& each : {home, folder(), elsewhere.path("Database.sqlite")}) {
    ASSERT_EQ(chown(each.c_str(), kOther, kOther), 0);
  }
  ChildWork other([&] {
    const std::string expected = elsewhere.path() + ": Permission denied";
    return setuid(kOther) == 0 && storeFile(*platform)->fault == expected ? 0 : 1;
  });
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(StoreFileCheck, AStoreOfAnotherModelIsAFault) {
  makeStore()->persistentStoreCoordinator();
  const auto setModel = [&](const std::string& text) {
    SQLite::Database database(storePath(), SQLite::OPEN_READWRITE);
    SQLite::Statement update(database, "UPDATE _store SET value = ? WHERE name = 'model'");
    update.bind(1, text);
    update.exec();
  };
  EXPECT_EQ(fault(), "");
  setModel(R"({"entities": []})");
  EXPECT_EQ(fault(), "") << "an older model, to which ours only adds";
  setModel(R"({"entities": [{"name": "KVCategory",
                             "attributes": [{"name": "name", "type": "Double"}]}]})");
  EXPECT_EQ(fault(), "the file was written with another model");
  EXPECT_FALSE(makeStore()->persistentStoreCoordinator()->hasStore());
}

TEST_F(StoreFileCheck, ADatabaseOfAnotherProgramIsAFault) {
  fs::create_directories(folder());
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
      .exec("CREATE TABLE t (a)");
  EXPECT_EQ(fault(), "the file is not a store");
}

TEST_F(StoreFileCheck, AStoreWithoutTheProgramsModelIsAFault) {
  makeStore()->persistentStoreCoordinator();
  auto bundle = std::make_unique<ForwardingMainBundle>(std::move(platform->ports().mainBundle));
  bundle->onResourcePath = [](std::string_view, std::string_view) { return std::nullopt; };
  platform->ports().mainBundle = std::move(bundle);
  EXPECT_EQ(fault(), "this program has no model of it");
}

TEST_F(StoreFileCheck, ADamagedPageIsAFault) {
  {
    const auto store = makeStore();
    for (int i = 0; i < 200; ++i) {
      store->createSensorWithKey("K" + std::to_string(i), store->viewContext());
    }
    store->saveViewContext();
  }
  const std::string name = std::string(kApplicationGroupIdentifier) + "/Database.sqlite";
  std::string bytes = temporary.read(name);
  ASSERT_GT(bytes.size(), 20'000U);
  bytes.replace(4096, 12'000, std::string(12'000, '\x7f'));
  temporary.write(name, bytes);
  EXPECT_NE(fault(), "");
}

TEST_F(StoreFileCheck, APathMayHoldCharactersOfAURI) {
  const std::string odd = home + "/a?b#c%41";
  ::setenv("XDG_DATA_HOME", odd.c_str(), 1);
  temporary.write(std::string("a?b#c%41/") + kApplicationGroupIdentifier + "/Database.sqlite",
                  std::string(5000, 'x'));
  EXPECT_THAT(storeFile(*Platform::live())->fault, HasSubstr("not a database"));
}

}  // namespace
}  // namespace kelvora::testing
