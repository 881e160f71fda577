#include "tools/kelvora/StoredCategories.h"

#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/StoreFixture.h"

namespace kelvora::tool {
namespace {

class StoredCategories : public testing::StoreFixture {
 protected:
  void SetUp() override {
    auto& files = testing::wrapPort<testing::ForwardingFiles>(platform->ports().files);
    files.onLock = [&](const std::string& path, std::error_code& error) {
      ++locks;
      if (whenLocked) {
        whenLocked();
      }
      if (locks <= busyLocks) {
        error = std::make_error_code(std::errc::timed_out);
        return std::unique_ptr<platform::HeldLock>();
      }
      return files.behind->lock(path, error);
    };
    store = makeStore();
  }

  // As another program stores them.
  std::size_t stored() { return makeStore()->allCategories()->size(); }

  int locks = 0;
  int busyLocks = 0;
  std::function<void()> whenLocked;
  std::unique_ptr<KVCoreDataStore> store;
};

TEST_F(StoredCategories, AMissingOneIsMadeAndSaved) {
  const KVCategoryPtr fans = storedCategory(*store, 1, *platform);
  EXPECT_EQ(fans->name(), "Fan");
  EXPECT_EQ(fans->type(), 1);
  EXPECT_EQ(stored(), 1U);
  EXPECT_EQ(makeStore()->getCategoryWithName("Fan")->type(), 1);
}

TEST_F(StoredCategories, OneThatExistsIsFoundWithoutALock) {
  storedCategory(*store, 4, *platform);
  locks = 0;
  const auto other = makeStore();
  EXPECT_EQ(storedCategory(*other, 4, *platform)->name(), "Power");
  EXPECT_EQ(locks, 0);
  EXPECT_EQ(stored(), 1U);
}

TEST_F(StoredCategories, OneThatAnotherProgramMakesMeanwhileIsTaken) {
  whenLocked = [this] {
    const auto other = makeStore();
    addCategory(*other, "Temperature", 0);
    other->saveViewContext();
  };
  EXPECT_EQ(storedCategory(*store, 0, *platform)->name(), "Temperature");
  store->saveViewContext();
  EXPECT_EQ(stored(), 1U);
}

TEST_F(StoredCategories, ABusyLockIsTriedAgain) {
  busyLocks = 3;
  storedCategory(*store, 2, *platform);
  EXPECT_EQ(locks, 4);
  EXPECT_EQ(stored(), 1U);
}

// A program that hangs keeps nobody from recording.
TEST_F(StoredCategories, ALockThatStaysBusyIsGivenUp) {
  busyLocks = 1000;
  EXPECT_EQ(storedCategory(*store, 3, *platform)->name(), "Current");
  EXPECT_EQ(stored(), 1U);
}

TEST_F(StoredCategories, AWrongTypeIsMended) {
  addCategory(*store, "Voltage", 0);
  EXPECT_EQ(storedCategory(*store, 2, *platform)->type(), 2);
}

}  // namespace
}  // namespace kelvora::tool
