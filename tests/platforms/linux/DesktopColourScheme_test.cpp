#include "platforms/linux/bus/DesktopColourScheme.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/platforms/linux/BusProgram.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/SessionBus.h"

namespace kelvora::platform {
namespace {

using testing::runUntil;

// The desktop's settings service, with a colour scheme that can change. A slow one answers nothing
// before `answer`.
class Desktop {
 public:
  enum class Speed { kPrompt, kSlow };

  explicit Desktop(std::uint32_t scheme, Speed speed = Speed::kPrompt)
      : scheme_(scheme),
        isSlow_(speed == Speed::kSlow),
        connection_(sdbus::createSessionBusConnection("org.freedesktop.portal.Desktop")),
        object_(sdbus::createObject(*connection_, "/org/freedesktop/portal/desktop")) {
    object_->registerMethod("Read")
        .onInterface(kInterface)
        .implementedAs([this](sdbus::Result<sdbus::Variant>&& reply, const std::string&,
                              const std::string&) { asked(std::move(reply)); });
    object_->registerSignal("SettingChanged")
        .onInterface(kInterface)
        .withParameters<std::string, std::string, sdbus::Variant>();
    object_->finishRegistration();
    // The first value makes what all values of sdbus-c++ share. The thread sanitizer cannot see
    // that the other threads find it made, so it is made before they start.
    static_cast<void>(value());
    connection_->enterEventLoopAsync();
  }
  void change(const std::string& space, const std::string& key, std::uint32_t value) {
    object_->emitSignal("SettingChanged")
        .onInterface(kInterface)
        .withArguments(space, key, sdbus::Variant(value));
  }
  void answer() {
    std::vector<sdbus::Result<sdbus::Variant>> replies;
    {
      const std::lock_guard lock(mutex_);
      isSlow_ = false;
      replies.swap(waiting_);
    }
    for (const auto& reply : replies) {
      reply.returnResults(value());
    }
  }

 private:
  static constexpr const char* kInterface = "org.freedesktop.portal.Settings";

  sdbus::Variant value() const { return sdbus::Variant(sdbus::Variant(scheme_)); }
  void asked(sdbus::Result<sdbus::Variant>&& reply) {
    {
      const std::lock_guard lock(mutex_);
      if (isSlow_) {
        waiting_.push_back(std::move(reply));
        return;
      }
    }
    reply.returnResults(value());
  }

  std::mutex mutex_;
  std::uint32_t scheme_;
  bool isSlow_;
  std::vector<sdbus::Result<sdbus::Variant>> waiting_;
  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IObject> object_;
};

TEST(DesktopColourScheme, TheDesktopsColourSchemeIsHeardAsAThemeChange) {
  testing::SessionBus bus;
  Desktop desktop(0);
  Program program;
  program.observe(kThemeChanged);
  ASSERT_TRUE(program.catchUp());
  desktop.change("org.freedesktop.appearance", "color-scheme", 1);
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 1; }));
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kDark);
  desktop.change("org.freedesktop.appearance", "color-scheme", 1);  // no change
  desktop.change("org.freedesktop.appearance", "accent-color", 2);
  desktop.change("org.gnome.desktop.interface", "color-scheme", 2);
  desktop.change("org.freedesktop.appearance", "color-scheme", 2);
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 2; }));
  ASSERT_TRUE(program.catchUp());
  EXPECT_EQ(program.heard.size(), 2U);
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kLight);
  EXPECT_EQ(program.heard[1].name, kThemeChanged);
}

TEST(DesktopColourScheme, TheDesktopsFirstAnswerIsNotAThemeChange) {
  testing::SessionBus bus;
  Desktop desktop(DesktopColourScheme::kDark);
  Program program;
  program.observe(kThemeChanged);
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kDark);
  ASSERT_TRUE(program.catchUp());
  EXPECT_TRUE(program.heard.empty());
}

TEST(DesktopColourScheme, ADarkDesktopIsDarkForAProgramThatObservesNothing) {
  testing::SessionBus bus;
  Desktop desktop(DesktopColourScheme::kDark);
  const testing::TemporaryFolder folder;
  LinuxUserDefaults defaults(folder.path("config"), std::make_shared<DesktopColourScheme>());
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), PropertyListValue("Dark"));
}

TEST(DesktopColourScheme, AProgramThatLookedBeforeTheDesktopsAnswerHearsOfIt) {
  testing::SessionBus bus;
  Desktop desktop(DesktopColourScheme::kDark, Desktop::Speed::kSlow);
  Program program;
  program.observe(kThemeChanged);
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kNoPreference);
  desktop.answer();
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 1; }));
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kDark);
}

TEST(DesktopColourScheme, ADesktopThatStartsLaterIsAskedThen) {
  testing::SessionBus bus;
  Program program;
  program.observe(kThemeChanged);
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kNoPreference);
  {
    Desktop desktop(DesktopColourScheme::kDark);
    ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 1; }));
    EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kDark);
  }
  Desktop desktop(DesktopColourScheme::kLight);
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 2; }));
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kLight);
}

TEST(DesktopColourScheme, AChangeBeforeTheDesktopsAnswerIsAThemeChange) {
  testing::SessionBus bus;
  Desktop desktop(DesktopColourScheme::kDark, Desktop::Speed::kSlow);
  Program program;
  program.observe(kThemeChanged);
  desktop.change("org.freedesktop.appearance", "color-scheme", DesktopColourScheme::kLight);
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 1; }));
  desktop.answer();
  desktop.change("org.freedesktop.appearance", "color-scheme", DesktopColourScheme::kDark);
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.heard.size() == 2; }));
  EXPECT_EQ(program.scheme->value(), DesktopColourScheme::kDark);
}

TEST(DesktopColourScheme, AProgramThatOnlyLooksFollowsADesktopOnANewBus) {
  testing::SessionBus bus;
  DesktopColourScheme scheme;
  {
    Desktop desktop(DesktopColourScheme::kLight);
    EXPECT_EQ(scheme.value(), DesktopColourScheme::kLight);
  }
  bus.end();
  bus.begin();
  Desktop desktop(DesktopColourScheme::kDark);
  LinuxMainQueue queue;
  EXPECT_TRUE(runUntil(queue, [&] { return scheme.value() == DesktopColourScheme::kDark; }));
}

TEST(DesktopColourScheme, ABusThatAppearsAfterTheFirstLookShowsADarkDesktop) {
  testing::SessionBus bus(testing::SessionBus::Start::kLater);
  DesktopColourScheme scheme;
  EXPECT_EQ(scheme.value(), DesktopColourScheme::kNoPreference);
  bus.begin();
  Desktop desktop(DesktopColourScheme::kDark);
  LinuxMainQueue queue;
  EXPECT_TRUE(runUntil(queue, [&] { return scheme.value() == DesktopColourScheme::kDark; }));
}

TEST(DesktopColourScheme, TheThemeIsAskedForAgainWhenTheBusIsBack) {
  testing::SessionBus bus;
  Program program;
  program.observe(kThemeChanged);
  ASSERT_TRUE(program.catchUp());
  bus.end();
  ASSERT_TRUE(runUntil(program.queue, [&] { return !program.centre.isConnected(); }));
  bus.begin();
  Desktop desktop(DesktopColourScheme::kLight);
  ASSERT_TRUE(runUntil(program.queue, [&] { return program.centre.isConnected(); }));
  desktop.change("org.freedesktop.appearance", "color-scheme", DesktopColourScheme::kDark);
  EXPECT_TRUE(runUntil(program.queue, [&] {
    desktop.change("org.freedesktop.appearance", "color-scheme", DesktopColourScheme::kDark);
    return program.scheme->value() == DesktopColourScheme::kDark;
  }));
}

}  // namespace
}  // namespace kelvora::platform
