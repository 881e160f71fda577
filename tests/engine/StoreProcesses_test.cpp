#include <chrono>
#include <map>
#include <random>
#include <thread>

#include <SQLiteCpp/Database.h>

#include "tests/engine/Peer.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using testing::Peer;

class StoreProcessesTest : public testing::StoreFixture {
 protected:
  std::string ledger() const { return home + "/ledger"; }
  // The last number of each key that a process noted after its save.
  std::map<std::string, int> noted() const {
    std::map<std::string, int> last;
    std::ifstream file(ledger());
    std::string key;
    for (int number = 0; file >> key >> number;) {
      last[key] = number;
    }
    return last;
  }
  void expectIntact() {
    SQLite::Database database(storePath(), SQLite::OPEN_READWRITE);
    EXPECT_EQ(database.execAndGet("PRAGMA integrity_check").getString(), "ok");
  }
};

TEST_F(StoreProcessesTest, TwoWritersAndTwoReadersLoseNothing) {
  constexpr int kSaves = 150;
  makeStore()->viewContext();
  Peer first({"count", "first", std::to_string(kSaves), ledger()});
  Peer second({"count", "second", std::to_string(kSaves), ledger()});
  Peer readers[] = {Peer({"follow", home + "/stop"}), Peer({"follow", home + "/stop"})};
  EXPECT_EQ(first.wait(), 0);
  EXPECT_EQ(second.wait(), 0);
  std::ofstream(home + "/stop") << "stop";
  for (Peer& reader : readers) {
    EXPECT_EQ(reader.wait(), 0);
  }
  const auto store = makeStore();
  for (const char* key : {"first", "second"}) {
    const auto sensor = store->getSensorByKey(key);
    ASSERT_NE(sensor, nullptr);
    EXPECT_EQ(sensor->value(), kSaves);
    EXPECT_EQ(noted()[key], kSaves);
    const auto points = sensor->graphPoints();
    ASSERT_EQ(points.size(), static_cast<std::size_t>(kSaves));
    for (int i = 0; i < kSaves; ++i) {
      EXPECT_EQ(points[static_cast<std::size_t>(i)]->pointX(), i + 1);
    }
  }
  expectIntact();
}

TEST_F(StoreProcessesTest, EverySaveThatReturnedSurvivesAKillAtAnyMoment) {
  constexpr int kKills = 100;
  const unsigned seed = testing::randomSeed();
  SCOPED_TRACE(testing::seedNote(seed));
  std::mt19937 random(seed);
  makeStore()->viewContext();
  for (int i = 0; i < kKills; ++i) {
    std::filesystem::remove(ledger());
    Peer writer({"endless", ledger()});
    while (noted().empty()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 10000));
    writer.signal(SIGKILL);
    writer.wait();
    const auto store = makeStore();
    const auto sensor = store->getSensorByKey("endless");
    ASSERT_NE(sensor, nullptr);
    // The save that was under way may be in the file without being noted.
    ASSERT_GE(sensor->value(), noted()["endless"]);
    ASSERT_LE(sensor->value(), noted()["endless"] + 1);
    ASSERT_EQ(sensor->graphPoints().back()->pointX(), sensor->value());
    if (i % 10 == 9) {
      expectIntact();
    }
  }
  expectIntact();
}

TEST_F(StoreProcessesTest,
       ASaveWhileAnotherProgramHoldsTheFileFailsAfterItsTimeOutAndKeepsItsChanges) {
  const auto store = makeStore(-1, 50);
  store->createSensorWithKey("before", store->viewContext());
  store->saveViewContext();
  Peer holder({"hold", storePath()});
  ASSERT_EQ(holder.nextLine(), "locked");
  store->createSensorWithKey("a", store->viewContext());
  ::testing::internal::CaptureStderr();
  store->saveViewContext();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), ::testing::HasSubstr("Save error: "));
  EXPECT_TRUE(store->viewContext()->hasChanges());
  EXPECT_EQ(store->allSensors()->size(), 2U);
  EXPECT_EQ(makeStore(-1, 50)->allSensors()->size(), 1U);
  holder.endInput();
  EXPECT_EQ(holder.wait(), 0);
  store->saveViewContext();
  EXPECT_EQ(makeStore()->allSensors()->size(), 2U);
}

TEST_F(StoreProcessesTest, ProgramsThatCreateTheFileAtTheSameTimeShareIt) {
  constexpr int kPrograms = 4;
  std::vector<std::unique_ptr<Peer>> peers;
  for (int i = 0; i < kPrograms; ++i) {
    peers.push_back(std::make_unique<Peer>(
        std::vector<std::string>{"count", "k" + std::to_string(i), "3", ledger()}));
  }
  for (const auto& peer : peers) {
    EXPECT_EQ(peer->wait(), 0);
  }
  EXPECT_EQ(makeStore()->allSensors()->size(), static_cast<std::size_t>(kPrograms));
}

TEST_F(StoreProcessesTest, ObjectsMadeWhileTheFileIsLockedHaveIdsOfTheirOwn) {
  const auto first = makeStore(-1, 50);
  const auto second = makeStore(-1, 50);
  first->viewContext();
  second->viewContext();
  Peer holder({"hold", storePath()});
  ASSERT_EQ(holder.nextLine(), "locked");
  const auto a = first->createSensorWithKey("a", first->viewContext());
  const auto b = second->createSensorWithKey("b", second->viewContext());
  EXPECT_NE(a->objectID(), b->objectID());
  holder.endInput();
  EXPECT_EQ(holder.wait(), 0);
  first->saveViewContext();
  second->saveViewContext();
  EXPECT_EQ(makeStore()->allSensors()->size(), 2U);
}
TEST_F(StoreProcessesTest, TheFileIsKeptSoThatACommitOutlivesItsProcess) {
  std::filesystem::create_directories(folder());
  engine::StoreFile file(storePath(), 1000);
  const auto pragma = [&](const char* name) {
    return file.database().execAndGet(std::string("PRAGMA ") + name).getString();
  };
  EXPECT_EQ(pragma("journal_mode"), "wal");
  EXPECT_EQ(pragma("synchronous"), "1");
  EXPECT_EQ(pragma("page_size"), "1024");
  EXPECT_EQ(pragma("wal_autocheckpoint"), "16384");
}

}  // namespace
}  // namespace kelvora
