#include "engine/UnsavedRows.h"

#include <gmock/gmock.h>

namespace kelvora::engine {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DirtyRowsTest : public ::testing::Test {
 protected:
  UnsavedObjects own;
  UnsavedObjects parent;
  std::mutex mutex;
  DirtyRows rows{own, mutex};
};

TEST_F(DirtyRowsTest, AreEmptyWithoutChanges) {
  rows.add(parent);
  EXPECT_TRUE(rows.empty());
  EXPECT_FALSE(rows.contains(1));
  EXPECT_THAT(rows.live(), IsEmpty());
}

TEST_F(DirtyRowsTest, AreTheContextsOwnAndThoseOfItsParents) {
  own.changed = {{5, nullptr}, {1, nullptr}};
  parent.changed = {{3, nullptr}, {5, nullptr}};
  rows.add(parent);
  EXPECT_FALSE(rows.empty());
  EXPECT_TRUE(rows.contains(1) && rows.contains(3) && rows.contains(5));
  EXPECT_THAT(rows.live(), ElementsAre(1, 3, 5));
}

TEST_F(DirtyRowsTest, ADeletionAnywhereInTheChainCounts) {
  own.changed = {{1, nullptr}, {2, nullptr}};
  own.deleted = {{3, nullptr}};
  parent.changed = {{3, nullptr}, {4, nullptr}};
  parent.deleted = {{2, nullptr}};
  UnsavedObjects root;
  root.deleted = {{4, nullptr}};
  rows.add(root);
  rows.add(parent);
  EXPECT_TRUE(rows.contains(2) && rows.contains(3) && rows.contains(4));
  EXPECT_THAT(rows.live(), ElementsAre(1));
}

TEST_F(DirtyRowsTest, ThoseOfTheParentsAreOfTheMomentTheyWereAdded) {
  parent.changed = {{3, nullptr}};
  rows.add(parent);
  parent.changed.clear();
  own.changed = {{7, nullptr}};
  EXPECT_THAT(rows.live(), ElementsAre(3, 7));
}

}  // namespace
}  // namespace kelvora::engine
