#include "engine/ObjectIDs.h"

#include <algorithm>

#include "tests/engine/Peer.h"
#include "tests/engine/StatementHook.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using testing::Peer;

class ObjectIDsTest : public testing::StoreFixture {};

TEST_F(ObjectIDsTest, GrowAcrossBlocks) {
  engine::ObjectIDs ids;
  std::int64_t last = 0;
  for (int i = 0; i < 200000; ++i) {
    const std::int64_t id = ids.next(nullptr);
    ASSERT_GT(id, last);
    last = id;
  }
}

TEST_F(ObjectIDsTest, OfOneBlockAreNeighbours) {
  const auto store = makeStore();
  const auto first = store->createGraphPoint()->objectID();
  EXPECT_EQ(store->createGraphPoint()->objectID(), first + 1);
}

TEST_F(ObjectIDsTest, AreTakenWithoutWritingToTheFile) {
  testing::StatementHook hook;
  const auto store = makeStore();
  store->viewContext();
  Peer holder({"hold", storePath()});
  ASSERT_EQ(holder.nextLine(), "locked");
  hook.once("BEGIN", [] {});
  EXPECT_NE(store->createGraphPoint()->objectID(), 0);
  EXPECT_TRUE(hook.isWaiting());
  holder.endInput();
  EXPECT_EQ(holder.wait(), 0);
}

TEST_F(ObjectIDsTest, FollowThoseThatAnotherProgramSaved) {
  std::int64_t last = 0;
  for (int i = 0; i < 20; ++i) {
    const auto store = makeStore();
    const auto point = store->createGraphPoint();
    store->saveViewContext();
    ASSERT_GT(point->objectID(), last);
    last = point->objectID();
  }
}

TEST_F(ObjectIDsTest, OfProgramsThatBeginTogetherDiffer) {
  std::vector<std::unique_ptr<KVCoreDataStore>> stores;
  std::vector<std::int64_t> ids;
  for (int i = 0; i < 20; ++i) {
    stores.push_back(makeStore());
    ids.push_back(stores.back()->createGraphPoint()->objectID());
  }
  for (const auto& store : stores) {
    store->saveViewContext();
  }
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::unique(ids.begin(), ids.end()), ids.end());
  EXPECT_EQ(makeStore()->viewContext()->objectsOf("GraphPoint")->size(), 20U);
}

TEST_F(ObjectIDsTest, MadeWithoutAFileDoNotMoveThoseOfOthers) {
  std::filesystem::create_directories(folder());
  engine::StoreFile file(storePath(), 1000);
  file.execute("CREATE TABLE _counters (name TEXT PRIMARY KEY, value) WITHOUT ROWID");
  engine::ObjectIDs blind;
  engine::RowChange change;
  change.id = blind.next(nullptr);
  engine::noteBlocks(file, {change});
  engine::ObjectIDs seeing;
  const std::int64_t id = seeing.next(&file);
  EXPECT_LT(id, change.id);
  change.id = id;
  engine::noteBlocks(file, {change});
  EXPECT_GT(engine::ObjectIDs().next(&file), id);
  change.id = 1;
  engine::noteBlocks(file, {change});
  EXPECT_GT(engine::ObjectIDs().next(&file), id);
}

}  // namespace
}  // namespace kelvora
