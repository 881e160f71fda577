#include "platforms/linux/bus/DBusNotificationCentre.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

#include "platforms/linux/bus/DBusValues.h"
#include "platforms/linux/bus/LinuxNotificationCentres.h"
#include "platforms/linux/system/LinuxMainQueue.h"
#include "tests/platforms/linux/BusProgram.h"
#include "tests/support/ChildWork.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/SessionBus.h"

namespace kelvora::platform {
namespace {

using testing::ChildWork;
using testing::runUntil;
using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Dictionary = PropertyListValue::Dictionary;

Notification named(const char* name) { return {name, std::nullopt, std::nullopt}; }

Dictionary everyKind() {
  const PropertyListValue::Date date{std::chrono::microseconds(1'700'000'000'123'456)};
  return {{"yes", true},
          {"number", std::int64_t{-7'000'000'000}},
          {"real", 0.756},
          {"text", "Größe"},
          {"data", Data{std::byte{0}, std::byte{200}}},
          {"date", date},
          {"list", Array{1, "two", Array{}, Dictionary{{"three", 3}}}},
          {"nothing", Dictionary{}}};
}

TEST(DBusNotificationCentre, AnotherProcessHearsANoticeWithItsTypedUserInfo) {
  testing::SessionBus bus;
  std::array<int, 2> ready = {};
  ASSERT_EQ(pipe(ready.data()), 0);
  ChildWork other([&] {
    Program program;
    program.observe(kSettingsChanged);
    if (write(ready[1], "r", 1) != 1 ||
        !runUntil(program.queue, [&] { return program.heard.size() == 3; })) {
      return 1;
    }
    const Notification& full = program.heard[0];
    const Notification& empty = program.heard[1];
    const Notification& bare = program.heard[2];
    const bool right = full.object == "sender" && full.userInfo == everyKind() && !empty.object &&
                       empty.userInfo == Dictionary{} && !bare.object && !bare.userInfo &&
                       bare.name == kSettingsChanged;
    return right ? 0 : 2;
  });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  Program program;
  EXPECT_TRUE(program.centre.isConnected());
  program.centre.post({kSettingsChanged, "sender", everyKind()}, true);
  program.centre.post(named("another name"), true);
  program.centre.post({kSettingsChanged, std::nullopt, Dictionary{}}, true);
  program.centre.post(named(kSettingsChanged), true);
  EXPECT_EQ(other.wait(), 0);
}

TEST(DBusNotificationCentre, AProcessHearsItsOwnNoticeExactlyOncePerObserver) {
  testing::SessionBus bus;
  Program program;
  program.observe(kSettingsChanged);
  program.observe(kSettingsChanged);
  program.observe("another name");
  program.centre.post(named(kSettingsChanged), true);
  EXPECT_TRUE(program.heard.empty());  // later, on the main queue
  ASSERT_TRUE(program.catchUp());
  EXPECT_EQ(program.heard.size(), 2U);
}

TEST(DBusNotificationCentre, NoticesArriveOnTheMainThreadInTheOrderOfTheirPosting) {
  testing::SessionBus bus;
  Program program;
  std::vector<std::int64_t> order;
  bool onMain = true;
  program.centre.addObserver(kSettingsChanged, SuspensionBehavior::kCoalesce,
                             [&](const Notification& notice) {
                               order.push_back(notice.userInfo->at("n").integerValue());
                               onMain = onMain && program.queue.isMainThread();
                             });
  for (int number = 0; number < 100; ++number) {
    program.centre.post({kSettingsChanged, std::nullopt, Dictionary{{"n", number}}}, true);
  }
  ASSERT_TRUE(program.catchUp());
  EXPECT_TRUE(onMain);
  ASSERT_EQ(order.size(), 100U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(DBusNotificationCentre, ARemovedObserverHearsNothingMoreNotEvenWhatIsOnItsWay) {
  testing::SessionBus bus;
  Program program;
  const ObserverToken token = program.observe(kSettingsChanged);
  EXPECT_NE(token, 0U);
  program.centre.post(named(kSettingsChanged), true);
  program.centre.removeObserver(token);
  ASSERT_TRUE(program.catchUp());
  EXPECT_TRUE(program.heard.empty());
}

TEST(DBusNotificationCentre, AnObserverRemovedByAnotherInTheSameNoticeIsNotCalled) {
  Program program;
  ObserverToken second = 0;
  program.centre.addObserver(kSettingsChanged, SuspensionBehavior::kDefault,
                             [&](const Notification&) { program.centre.removeObserver(second); });
  second = program.observe(kSettingsChanged);
  program.centre.post(named(kSettingsChanged), true);
  ASSERT_TRUE(program.catchUp());
  EXPECT_TRUE(program.heard.empty());
}

TEST(DBusNotificationCentre, WithoutABusNoticesStayInTheProcess) {
  Program program;
  EXPECT_FALSE(program.centre.isConnected());
  program.observe(kSettingsChanged);
  program.centre.post({kSettingsChanged, "sender", everyKind()}, true);
  EXPECT_TRUE(program.heard.empty());
  ASSERT_TRUE(program.catchUp());
  ASSERT_EQ(program.heard.size(), 1U);
  EXPECT_EQ(program.heard[0].object, "sender");
  EXPECT_EQ(program.heard[0].userInfo, everyKind());
}

TEST(DBusNotificationCentre, WhenTheBusGoesAwayNoticesStayInTheProcess) {
  testing::SessionBus bus;
  Program program;
  program.observe(kSettingsChanged);
  ASSERT_TRUE(program.catchUp());
  bus.end();
  ASSERT_TRUE(runUntil(program.queue, [&] { return !program.centre.isConnected(); }));
  program.centre.post(named(kSettingsChanged), true);
  ASSERT_TRUE(program.catchUp());
  EXPECT_EQ(program.heard.size(), 1U);
}

TEST(DBusNotificationCentre, WhatABusTookAndNeverDeliveredIsHeardInOrderWhenItGoes) {
  testing::SessionBus bus;
  Program program;
  program.observe(kSettingsChanged);
  ASSERT_TRUE(program.catchUp());
  const auto post = [&](int number) {
    program.centre.post({kSettingsChanged, std::nullopt, Dictionary{{"n", number}}}, true);
  };
  post(0);
  ASSERT_TRUE(program.catchUp());
  bus.freeze();
  for (int number = 1; number < 20; ++number) {
    post(number);
  }
  bus.end();
  ASSERT_TRUE(runUntil(program.queue, [&] { return !program.centre.isConnected(); }));
  post(20);
  ASSERT_TRUE(program.catchUp());
  ASSERT_EQ(program.heard.size(), 21U);
  for (int number = 0; number <= 20; ++number) {
    EXPECT_EQ(program.heard[number].userInfo, (Dictionary{{"n", number}}));
  }
}

TEST(DBusNotificationCentre, ABusThatComesBackIsJoinedAgain) {
  testing::SessionBus bus;
  Program program;
  program.observe(kSettingsChanged);
  ASSERT_TRUE(program.catchUp());
  for (std::size_t round = 1; round <= 2; ++round) {
    bus.end();
    ASSERT_TRUE(runUntil(program.queue, [&] { return !program.centre.isConnected(); }));
    bus.begin();
    ASSERT_TRUE(runUntil(program.queue, [&] { return program.centre.isConnected(); }));
    Program other;
    other.centre.post(named(kSettingsChanged), true);
    ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == round; }));
  }
}

TEST(DBusNotificationCentre, ABusThatAppearsAfterTheStartIsJoined) {
  testing::SessionBus bus(testing::SessionBus::Start::kLater);
  Program program;
  program.observe(kSettingsChanged);
  EXPECT_FALSE(program.centre.isConnected());
  bus.begin();
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.centre.isConnected(); }));
  Program other;
  other.centre.post(named(kSettingsChanged), true);
  EXPECT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 1; }));
}

TEST(DBusNotificationCentre, TheProcessHearsWhenOthersAreNotReachedAndWhenTheyAreAgain) {
  testing::SessionBus bus;
  LinuxMainQueue queue;
  LinuxNotificationCentres centres(queue, std::make_shared<DesktopColourScheme>());
  std::mutex mutex;
  std::vector<bool> reached;
  centres.inProcess().addObserver(
      KVNotificationReachDidChangeNotification, SuspensionBehavior::kDefault,
      [&](const Notification& notice) {
        const std::lock_guard lock(mutex);
        reached.push_back(notice.userInfo->at(KVReachesOtherProgramsKey).boolValue());
      });
  const auto hasHeard = [&](const std::vector<bool>& expected) {
    return runUntil(queue, [&] {
      const std::lock_guard lock(mutex);
      return reached == expected;
    });
  };
  EXPECT_TRUE(centres.reachesOtherProcesses());
  EXPECT_TRUE(hasHeard({}));
  ::testing::internal::CaptureStderr();
  bus.end();
  EXPECT_TRUE(hasHeard({false}));
  EXPECT_FALSE(centres.reachesOtherProcesses());
  bus.begin();
  EXPECT_TRUE(hasHeard({false, true}));
  EXPECT_TRUE(centres.reachesOtherProcesses());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "session bus: cut off, other programs are not heard\n"
            "session bus: other programs are heard again\n");
}

// Posts as many notices as the bus cannot take at once.
void postBurst(Program& program, int count) {
  const std::string text(1024, 'x');
  for (int number = 0; number < count; ++number) {
    program.centre.post({kSettingsChanged, text, std::nullopt}, true);
  }
}

TEST(DBusNotificationCentre, WhatWasPostedBeforeANormalExitIsHeard) {
  constexpr int kNotices = 10'000;
  testing::SessionBus bus;
  std::array<int, 2> go = {};
  ASSERT_EQ(pipe(go.data()), 0);
  ChildWork sender([&] {
    char byte = 0;
    if (read(go[0], &byte, 1) != 1) {
      return 1;
    }
    postBurst(*new Program, kNotices);  // lives for the process
    std::exit(0);
  });
  Program program;
  program.observe(kSettingsChanged);
  ASSERT_EQ(write(go[1], "g", 1), 1);
  EXPECT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == kNotices; }))
      << program.heard.size();
  EXPECT_EQ(sender.wait(), 0);
}

// Joins the bus, which its parent then ends and starts again, and exits.
[[noreturn]] void joinTwiceAndExit(int ready, const std::string& errors) {
  auto& queue = *new LinuxMainQueue;  // all of it lives for the process
  auto& centres = *new LinuxNotificationCentres(queue, std::make_shared<DesktopColourScheme>());
  std::atomic<int> changes = 0;
  centres.inProcess().addObserver(KVNotificationReachDidChangeNotification,
                                  SuspensionBehavior::kDefault,
                                  [&](const Notification&) { ++changes; });
  if (!centres.reachesOtherProcesses() || write(ready, "r", 1) != 1 ||
      !runUntil(queue, [&] { return changes == 2; })) {
    std::exit(1);
  }
  dup2(open(errors.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
  std::exit(0);
}

TEST(DBusNotificationCentre, LeavingTheBusAtTheExitIsNotBeingCutOff) {
  const testing::TemporaryFolder folder;
  testing::SessionBus bus;
  std::array<int, 2> ready = {};
  ASSERT_EQ(pipe(ready.data()), 0);
  ChildWork program([&]() -> int { joinTwiceAndExit(ready[1], folder.path("error")); });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  bus.end();
  bus.begin();
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(folder.read("error"), "");
}

TEST(DBusNotificationCentre, WhatWasPostedBeforeTheEndOfACentreIsHeard) {
  constexpr int kNotices = 10'000;
  testing::SessionBus bus;
  Program program;
  program.observe(kSettingsChanged);
  {
    Program sender;
    postBurst(sender, kNotices);
  }
  EXPECT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == kNotices; }))
      << program.heard.size();
}

TEST(DBusNotificationCentre, ABusThatTakesNothingDoesNotHoldUpTheExit) {
  testing::SessionBus bus;
  ChildWork sender([&]() -> int {
    auto* const program = new Program;
    program->catchUp();
    bus.freeze();
    postBurst(*program, 2'000);
    std::exit(0);
  });
  EXPECT_EQ(sender.wait(), 0);
}

TEST(DBusNotificationCentre, ANoticeThatTheBusRefusesStaysInTheProcess) {
  testing::SessionBus bus;
  Program program;
  program.observe(kSettingsChanged);
  PropertyListValue deep = 1;
  for (int level = 0; level < 100; ++level) {
    deep = Array{deep};
  }
  program.centre.post({kSettingsChanged, std::nullopt, Dictionary{{"deep", deep}}}, true);
  ASSERT_TRUE(program.catchUp());
  ASSERT_EQ(program.heard.size(), 1U);
  EXPECT_EQ(program.heard[0].userInfo->at("deep"), deep);
  EXPECT_TRUE(program.centre.isConnected());
}

TEST(DBusNotificationCentre, WhatIsQueuedEndsWithItsCentre) {
  LinuxMainQueue queue;
  int heard = 0;
  {
    DBusNotificationCentre centre(queue, std::make_shared<DesktopColourScheme>());
    centre.addObserver("a", SuspensionBehavior::kDefault, [&](const Notification&) { ++heard; });
    centre.post(named("a"), true);
  }
  EXPECT_EQ(queue.runPending(), 1);
  EXPECT_EQ(heard, 0);
}

TEST(DBusNotificationCentre, AMessageOfAnotherShapeIsIgnored) {
  testing::SessionBus bus;
  Program program;
  program.observe("text");
  ASSERT_TRUE(program.catchUp());
  const auto connection = sdbus::createSessionBusConnection();
  const auto object = sdbus::createObject(*connection, "/com/kelvora/DistributedNotifications");
  object->emitSignal("Posted")
      .onInterface("com.kelvora.DistributedNotifications")
      .withArguments(std::string("text"), 5);
  ASSERT_TRUE(program.catchUp());
  EXPECT_TRUE(program.heard.empty());
  EXPECT_TRUE(program.centre.isConnected());
}

TEST(DBusNotificationCentre, NumbersOfOtherSendersAreRead) {
  testing::SessionBus bus;
  Program program;
  program.observe("numbers");
  ASSERT_TRUE(program.catchUp());
  const auto connection = sdbus::createSessionBusConnection();
  const auto object = sdbus::createObject(*connection, "/com/kelvora/DistributedNotifications");
  const std::map<std::string, sdbus::Variant> values{
      {"y", sdbus::Variant(std::uint8_t{1})},
      {"n", sdbus::Variant(std::int16_t{-2})},
      {"q", sdbus::Variant(std::uint16_t{3})},
      {"i", sdbus::Variant(std::int32_t{-4})},
      {"u", sdbus::Variant(std::uint32_t{5})},
      {"t", sdbus::Variant(std::uint64_t{6})},
      {"o", sdbus::Variant(sdbus::ObjectPath("/a"))},
      {"g", sdbus::Variant(sdbus::Signature("s"))},
      {"v", sdbus::Variant(sdbus::Variant(true))},
      {"as", sdbus::Variant(std::vector<std::string>{"not for property lists"})}};
  object->emitSignal("Posted")
      .onInterface("com.kelvora.DistributedNotifications")
      .withArguments(std::string("numbers"), std::vector<std::string>(),
                     std::vector<std::map<std::string, sdbus::Variant>>{values});
  ASSERT_TRUE(runUntil(program.queue, [&] { return !program.heard.empty(); }));
  EXPECT_EQ(program.heard[0].userInfo, (Dictionary{{"y", 1},
                                                   {"n", -2},
                                                   {"q", 3},
                                                   {"i", -4},
                                                   {"u", 5},
                                                   {"t", 6},
                                                   {"o", "/a"},
                                                   {"g", "s"},
                                                   {"v", true}}));
}

TEST(DBusNotificationCentre, AnInstantBeyondTheClocksRangeIsTheNearest) {
  using std::chrono::floor;
  using std::chrono::microseconds;
  using Limits = std::numeric_limits<std::int64_t>;
  const auto instantOf = [](std::int64_t elapsed) {
    const auto value = valueOf(sdbus::Variant(sdbus::Struct<std::int64_t>(elapsed)));
    return *value->as<PropertyListValue::Date>();
  };
  using Date = PropertyListValue::Date;
  EXPECT_EQ(floor<microseconds>(instantOf(Limits::max())), floor<microseconds>(Date::max()));
  EXPECT_LT(instantOf(Limits::min()) - Date::min(), microseconds(1));
  EXPECT_EQ(instantOf(-1), Date(microseconds(-1)));
}

}  // namespace
}  // namespace kelvora::platform
