// Fan sets and conditions of two programs at once, and of a program whose store cannot be written
// for a while: nothing is lost, nothing is there twice, and nothing older wins.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ChildWork.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using testing::ChildWork;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::ResourceLimit;
using ::testing::UnorderedElementsAreArray;

constexpr int kSets = 20;
constexpr double kReadAgain = 0;

std::string nameOf(const std::string& program, int number) {
  return program + std::to_string(number);
}

class FanSetPrograms : public testing::StoreFixture {
 protected:
  // In a process of its own, so that this one has no threads when it starts others.
  FanSetPrograms() {
    EXPECT_EQ(run([this](KVCoreDataStore& store) {
                addSensor(store, "TC0P", addCategory(store, "Temperature", 0));
                return save(store);
              }).wait(),
              0);
  }

  // Another program.
  static ChildWork run(const std::function<bool(KVCoreDataStore&)>& work) {
    return ChildWork([work] {
      const auto own = Platform::live();
      KVCoreDataStore store(kReadAgain, *own);
      return work(store) ? 0 : 1;
    });
  }
  static bool save(KVCoreDataStore& store) { return !store.viewContext()->save(); }

  static KVFanConditionPtr addCondition(KVCoreDataStore& store, const KVFanSetPtr& set,
                                        double threshold) {
    return store.createFanConditionWithFanSet(set, store.getSensorByKey("TC0P"), threshold, 0,
                                              false, store.viewContext());
  }

  static KVFanSetPtr setNamed(KVCoreDataStore& store, const std::string& name) {
    for (const KVFanSetPtr& set : store.allFanSets().value_or(std::vector<KVFanSetPtr>())) {
      if (set->name() == name) {
        return set;
      }
    }
    return nullptr;
  }

  static std::vector<std::string> namesIn(KVCoreDataStore& store) {
    std::vector<std::string> names;
    const auto sets = store.allFanSets();
    for (const KVFanSetPtr& set : sets.value()) {
      names.push_back(set->name());
    }
    return names;
  }

  // Adds sets with a condition each, renames all, and deletes every other one.
  static bool addChangeAndDelete(KVCoreDataStore& store, const std::string& program) {
    bool isSaved = true;
    for (int i = 0; i < kSets; ++i) {
      const KVFanSetPtr set = store.createFanSetWithName("new", {{"F0", 1000.0 + i}});
      addCondition(store, set, i);
      isSaved = save(store) && isSaved;
      set->setName(nameOf(program, i));
      isSaved = save(store) && isSaved;
      if (i % 2 == 1) {
        store.viewContext()->deleteObject(set);
        isSaved = save(store) && isSaved;
      }
    }
    return isSaved;
  }
};

TEST_F(FanSetPrograms, TwoThatAddChangeAndDeleteFromTheirFirstInstructionLoseNothing) {
  ChildWork one = run([](KVCoreDataStore& store) { return addChangeAndDelete(store, "one"); });
  ChildWork two = run([](KVCoreDataStore& store) { return addChangeAndDelete(store, "two"); });
  EXPECT_EQ(one.wait(), 0);
  EXPECT_EQ(two.wait(), 0);
  std::vector<std::string> expected;
  for (int i = 0; i < kSets; i += 2) {
    expected.push_back(nameOf("one", i));
    expected.push_back(nameOf("two", i));
  }
  const auto store = makeStore();
  EXPECT_THAT(namesIn(*store), UnorderedElementsAreArray(expected));
  // The conditions of deleted sets are gone with them.
  const auto conditions = store->allFanConditions();
  ASSERT_EQ(conditions->size(), expected.size());
  for (const KVFanConditionPtr& condition : *conditions) {
    ASSERT_NE(condition->fanSet(), nullptr);
    EXPECT_EQ(condition->fanSet()->valueDict()->at("F0").doubleValue(),
              1000 + condition->threshold());
  }
}

TEST_F(FanSetPrograms, TwoThatAddConditionsToOneSetKeepAllOfThem) {
  ASSERT_EQ(run([](KVCoreDataStore& store) {
              store.createFanSetWithName("both", {});
              return save(store);
            }).wait(),
            0);
  const auto adder = [](int first) {
    return run([first](KVCoreDataStore& store) {
      bool isSaved = true;
      for (int i = first; i < kSets; i += 2) {
        addCondition(store, setNamed(store, "both"), i);
        isSaved = save(store) && isSaved;
      }
      return isSaved;
    });
  };
  ChildWork even = adder(0);
  ChildWork odd = adder(1);
  EXPECT_EQ(even.wait(), 0);
  EXPECT_EQ(odd.wait(), 0);
  const auto store = makeStore();
  EXPECT_EQ(setNamed(*store, "both")->fanConditions().size(), std::size_t{kSets});
  EXPECT_EQ(store->allFanConditions()->size(), std::size_t{kSets});
}

TEST_F(FanSetPrograms, ASetThatAnotherProgramDeletesTakesNoConditionWithIt) {
  const auto mine = makeStore(kReadAgain);
  const KVFanSetPtr set = mine->createFanSetWithName("Quiet", {});
  ASSERT_TRUE(save(*mine));
  addCondition(*mine, set, 70);  // not saved yet
  const auto other = makeStore(kReadAgain);
  other->viewContext()->deleteObject(setNamed(*other, "Quiet"));
  ASSERT_TRUE(save(*other));
  save(*mine);
  const auto fresh = makeStore();
  EXPECT_THAT(namesIn(*fresh), IsEmpty());
  const auto conditions = fresh->allFanConditions();
  for (const KVFanConditionPtr& condition : *conditions) {
    EXPECT_EQ(condition->fanSet(), nullptr);
  }
}

TEST_F(FanSetPrograms, AfterAFullDiskNothingOlderWins) {
  const auto mine = makeStore(kReadAgain);
  const KVFanSetPtr set = mine->createFanSetWithName("Quiet", {{"F0", 1200.0}});
  addCondition(*mine, set, 70);
  ASSERT_TRUE(save(*mine));
  {
    const ResourceLimit full(RLIMIT_FSIZE, 0);
    set->setValueDict({{"F0", 1300.0}});
    EXPECT_FALSE(save(*mine));
  }
  const auto other = makeStore(kReadAgain);
  const KVFanSetPtr theirs = setNamed(*other, "Quiet");
  theirs->setName("Silent");
  addCondition(*other, theirs, 80);
  ASSERT_TRUE(save(*other));

  ASSERT_TRUE(save(*mine));  // what waited, and nothing else
  const auto fresh = makeStore();
  EXPECT_THAT(namesIn(*fresh), ElementsAre("Silent"));
  EXPECT_EQ(setNamed(*fresh, "Silent")->valueDict()->at("F0").doubleValue(), 1300);
  EXPECT_EQ(setNamed(*fresh, "Silent")->fanConditions().size(), 2U);
}

TEST_F(FanSetPrograms, AChangeThatWasGivenUpAfterAFullDiskDoesNotComeBack) {
  const auto mine = makeStore(kReadAgain);
  const KVFanSetPtr set = mine->createFanSetWithName("Quiet", {});
  ASSERT_TRUE(save(*mine));
  {
    const ResourceLimit full(RLIMIT_FSIZE, 0);
    set->setName("Loud");
    addCondition(*mine, set, 70);
    EXPECT_FALSE(save(*mine));
    mine->viewContext()->rollback();
  }
  const auto other = makeStore(kReadAgain);
  setNamed(*other, "Quiet")->setName("Silent");
  ASSERT_TRUE(save(*other));

  EXPECT_EQ(set->name(), "Silent");
  ASSERT_TRUE(save(*mine));
  const auto fresh = makeStore();
  EXPECT_THAT(namesIn(*fresh), ElementsAre("Silent"));
  EXPECT_THAT(fresh->allFanConditions().value(), IsEmpty());
}

TEST_F(FanSetPrograms, AProgramThatIsKilledWhileItWritesLeavesWholeSets) {
  for (int round = 0; round < 5; ++round) {
    ChildWork writer = run([](KVCoreDataStore& store) {
      for (int i = 0;; ++i) {
        addCondition(store, store.createFanSetWithName("k" + std::to_string(i), {}), i);
        if (!save(store)) {
          return false;
        }
      }
    });
    const auto store = makeStore(kReadAgain);
    const std::size_t before = store->allFanSets()->size();
    while (store->allFanSets()->size() < before + 3) {
    }
    writer.kill();
    writer.wait();
    const auto sets = store->allFanSets();
    for (const KVFanSetPtr& set : *sets) {
      EXPECT_EQ(set->fanConditions().size(), 1U);
    }
    EXPECT_EQ(store->allFanConditions()->size(), sets->size());
  }
}

}  // namespace
}  // namespace kelvora
