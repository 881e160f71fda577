#include <atomic>
#include <thread>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

class StoreThreadsTest : public testing::StoreFixture {};

TEST_F(StoreThreadsTest, ContextsOnSeveralThreadsPushTheirChangesThroughTheViewContext) {
  constexpr int kThreads = 4;
  constexpr int kSaves = 15;
  for (const double staleness : {-1.0, 0.0}) {
    const auto store = makeStore(staleness);
    const auto view = store->viewContext();
    const auto prefix = staleness < 0 ? std::string("a") : std::string("b");
    std::atomic<int> running{kThreads};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        const auto context = store->newContext();
        for (int i = 1; i <= kSaves; ++i) {
          context->performAndWait([&] {
            const auto sensor = store->createSensorWithKey(prefix + std::to_string(t), context);
            sensor->setValue(i);
            store->createGraphPointInContext(context)->setSensor(sensor);
            EXPECT_FALSE(store->allSensorsInContext(context)->empty());
          });
          context->saveRecursively();
        }
        --running;
      });
    }
    int unsaved = 0;
    while (running > 0) {
      platform->mainQueue().runPending();
      const auto mine = store->createSensorWithKey("main", view);
      mine->setValue(++unsaved);
      store->saveViewContext();
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    const auto reader = makeStore();
    for (int t = 0; t < kThreads; ++t) {
      const auto sensor = reader->getSensorByKey(prefix + std::to_string(t));
      ASSERT_NE(sensor, nullptr);
      EXPECT_EQ(sensor->value(), kSaves);
      EXPECT_EQ(sensor->graphPoints().size(), static_cast<std::size_t>(kSaves));
    }
  }
}

TEST_F(StoreThreadsTest, HandlesMayBeDroppedOnAnyThreadWhileTheContextFetches) {
  const auto store = makeStore();
  for (int i = 0; i < 50; ++i) {
    store->createSensorWithKey(std::to_string(i), store->viewContext());
  }
  store->saveViewContext();
  for (int i = 0; i < 50; ++i) {
    auto sensors = store->allSensors().value();
    std::thread dropper([dropped = std::move(sensors)]() mutable { dropped.clear(); });
    EXPECT_EQ(store->allSensors()->size(), 50U);
    dropper.join();
  }
  EXPECT_EQ(store->viewContext()->state()->registeredObjects(), 0U);
}

TEST_F(StoreThreadsTest, WorkForLaterEndsBeforeWorkThatIsWaitedFor) {
  const auto store = makeStore();
  store->viewContext();
  const auto context = store->newContext();
  int number = 0;
  for (int i = 0; i < 100; ++i) {
    context->perform([&] { ++number; });
  }
  context->performAndWait([&] { EXPECT_EQ(number, 100); });
}

}  // namespace
}  // namespace kelvora
