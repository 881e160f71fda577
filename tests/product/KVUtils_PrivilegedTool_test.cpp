#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>

#include "KelvoraCore/KVUtils.h"

#include "tests/support/MainQueueLoop.h"
#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

using Attributes = std::optional<platform::FileAttributes>;

TEST(KVUtilsPrivilegedTool, IsGrantedExactlyAsRootAndAdminWithMode6555) {
  const testing::TestMac mac;
  auto& files = testing::wrapPort<testing::ForwardingFiles>(mac.platform->ports().files);
  files.onApplicationSupportFolder = [&] { return mac.resources.path("Support"); };
  struct Case {
    Attributes attributes;
    bool granted;
  };
  for (const Case& each :
       {Case{{{"root", "admin", 06555}}, true}, Case{{{"root", "admin", 04555}}, false},
        Case{{{"root", "admin", 06755}}, false}, Case{{{"root", "admin", 07555}}, false},
        Case{{{"root", "wheel", 06555}}, false}, Case{{{"anna", "admin", 06555}}, false},
        Case{{{"Root", "admin", 06555}}, false}, Case{std::nullopt, false}}) {
    std::string asked;
    files.onAttributes = [&](const std::string& path) -> Attributes {
      asked = path;
      return each.attributes;
    };
    EXPECT_EQ(KVUtils::isSMCPermissionGranted(*mac.platform), each.granted);
    EXPECT_EQ(asked, mac.resources.path("Support") + "/Kelvora/Kelvora SMC");
  }
}

TEST(KVUtilsPrivilegedTool, IsNotGrantedWithoutASupportFolder) {
  const testing::TestMac mac;
  auto& files = testing::wrapPort<testing::ForwardingFiles>(mac.platform->ports().files);
  files.onApplicationSupportFolder = [] { return std::nullopt; };
  files.onAttributes = [](const std::string&) -> Attributes { return {{"root", "admin", 06555}}; };
  EXPECT_FALSE(KVUtils::isSMCPermissionGranted(*mac.platform));
}

TEST(KVUtilsPrivilegedTool, IsNotGrantedToAnythingButAFile) {
  const testing::TestMac mac;
  auto& files = testing::wrapPort<testing::ForwardingFiles>(mac.platform->ports().files);
  files.onApplicationSupportFolder = [&] { return mac.resources.path("Support"); };
  files.onAttributes = [](const std::string&) -> Attributes {
    return {{"root", "admin", 06555, /*isRegularFile=*/false}};
  };
  EXPECT_FALSE(KVUtils::isSMCPermissionGranted(*mac.platform));
}

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What a request does, in order, with the tool in a scratch folder. Calls of rights are scripted.
class PermissionRequest : public ::testing::Test {
 protected:
  // What the administrator and the system do.
  struct Rights {
    bool areGranted = true;
    int failingCommand = 0;  ///< the first or the second; 0 for none
  };

  class Grant : public platform::AuthorizationGrant {
   public:
    explicit Grant(PermissionRequest& test) : test_(test) {}
    ~Grant() override { test_.note("released"); }
    bool executeWithPrivileges(const std::string& tool,
                               const std::vector<std::string>& arguments) override {
      test_.note(tool + " " + arguments.at(0) + " " + arguments.at(1));
      EXPECT_EQ(arguments.size(), 2U);
      return ++test_.commands_ != test_.rights.failingCommand;
    }

   private:
    PermissionRequest& test_;
  };

  class Authorization : public platform::Authorization {
   public:
    explicit Authorization(PermissionRequest& test) : test_(test) {}
    std::unique_ptr<platform::AuthorizationGrant> request(std::string_view right) override {
      test_.note("right " + std::string(right));
      return test_.rights.areGranted ? std::make_unique<Grant>(test_) : nullptr;
    }

   private:
    PermissionRequest& test_;
  };

  PermissionRequest() {
    mac.bundle.onExecutablePath = [this] { return mac.resources.path("bin/host"); };
    files.onApplicationSupportFolder = [this] { return mac.resources.path("Support"); };
    files.onCopy = [this](const std::string& from, const std::string& to) {
      note("copy " + from + " " + to);
      return files.behind->copy(from, to);
    };
    files.onAttributes = [this](const std::string& path) {
      note("attributes");
      return attributes ? attributes : files.behind->attributes(path);
    };
    mac.platform->ports().authorization = std::make_unique<Authorization>(*this);
  }

  void note(const std::string& step) {
    steps.push_back(step);
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    EXPECT_STREQ(name, "Request Privile") << step << ": the start of the queue's label";
  }

  // Whether the permission was granted.
  bool request() {
    std::optional<bool> result;
    KVUtils::requestSMCPermission(
        [&](bool granted, const std::optional<std::string>& error) {
          EXPECT_EQ(std::this_thread::get_id(), main_);
          EXPECT_EQ(error, std::nullopt);
          EXPECT_FALSE(result) << "called twice";
          result = granted;
        },
        *mac.platform);
    EXPECT_FALSE(result) << "called before the main queue ran";
    EXPECT_TRUE(testing::runUntil(mac.platform->mainQueue(), [&] { return result.has_value(); }));
    return result.value_or(false);
  }

  std::string carried() const { return mac.resources.path("bin/Kelvora SMC"); }
  std::string installed() const { return mac.resources.path("Support/Kelvora/Kelvora SMC"); }
  std::string copyStep() const { return "copy " + carried() + " " + installed(); }
  std::string chownStep() const { return "/usr/sbin/chown root:admin " + installed(); }
  std::string chmodStep() const { return "/bin/chmod 6555 " + installed(); }

  testing::TestMac mac;
  testing::ForwardingFiles& files =
      testing::wrapPort<testing::ForwardingFiles>(mac.platform->ports().files);
  Rights rights;
  Attributes attributes;           ///< of the installed tool; none for the real ones
  std::vector<std::string> steps;  ///< in order

 private:
  int commands_ = 0;
  std::thread::id main_ = std::this_thread::get_id();
};

constexpr char kRight[] = "right system.privilege.admin";

TEST_F(PermissionRequest, CopiesAMissingToolAndStartsChownAndThenChmod) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  EXPECT_TRUE(request());
  EXPECT_EQ(mac.resources.read("Support/Kelvora/Kelvora SMC"), "tool");
  EXPECT_THAT(steps, ElementsAre("attributes", copyStep(), "attributes", kRight, chownStep(),
                                 chmodStep(), "released"));
}

TEST_F(PermissionRequest, NeverReplacesAnInstalledTool) {
  mac.resources.write("bin/Kelvora SMC", "newer");
  mac.resources.write("Support/Kelvora/Kelvora SMC", "tool");
  EXPECT_TRUE(request());
  EXPECT_EQ(mac.resources.read("Support/Kelvora/Kelvora SMC"), "tool");
  EXPECT_THAT(
      steps, ElementsAre("attributes", "attributes", kRight, chownStep(), chmodStep(), "released"));
}

TEST_F(PermissionRequest, OfAGrantedToolAsksForNoRights) {
  mac.resources.write("Support/Kelvora/Kelvora SMC", "tool");
  attributes = {"root", "admin", 06555};
  EXPECT_TRUE(request());
  EXPECT_THAT(steps, ElementsAre("attributes", "attributes"));
}

TEST_F(PermissionRequest, AsksForRightsWhenAnythingAboutTheToolIsWrong) {
  mac.resources.write("Support/Kelvora/Kelvora SMC", "tool");
  for (const platform::FileAttributes& wrong : {platform::FileAttributes{"anna", "admin", 06555},
                                                platform::FileAttributes{"root", "wheel", 06555},
                                                platform::FileAttributes{"root", "admin", 04555}}) {
    attributes = wrong;
    steps.clear();
    EXPECT_TRUE(request());
    EXPECT_THAT(steps, ElementsAre("attributes", "attributes", kRight, chownStep(), chmodStep(),
                                   "released"));
  }
}

TEST_F(PermissionRequest, ContinuesAfterACopyThatFailed) {
  EXPECT_TRUE(request()) << "nothing is carried here, and the commands were started";
  EXPECT_THAT(steps, ElementsAre("attributes", copyStep(), "attributes", kRight, chownStep(),
                                 chmodStep(), "released"));
}

TEST_F(PermissionRequest, IsRefusedWithTheRights) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  rights.areGranted = false;
  EXPECT_FALSE(request());
  EXPECT_THAT(steps, ElementsAre("attributes", copyStep(), "attributes", kRight));
}

TEST_F(PermissionRequest, IsRefusedWhenChownCannotBeStarted) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  rights.failingCommand = 1;
  EXPECT_FALSE(request());
  EXPECT_THAT(steps,
              ElementsAre("attributes", copyStep(), "attributes", kRight, chownStep(), "released"));
}

TEST_F(PermissionRequest, IsRefusedWhenChmodCannotBeStarted) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  rights.failingCommand = 2;
  EXPECT_FALSE(request());
  EXPECT_THAT(steps, ElementsAre("attributes", copyStep(), "attributes", kRight, chownStep(),
                                 chmodStep(), "released"));
}

TEST_F(PermissionRequest, IsRefusedForASymbolicLinkWhereverItLeads) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  mac.resources.write("Support/Kelvora/other", "other");
  for (const char* target : {"other", "missing"}) {
    std::filesystem::remove(installed());
    std::filesystem::create_symlink(target, installed());
    steps.clear();
    EXPECT_FALSE(request()) << target;
    EXPECT_THAT(steps, ElementsAre("attributes"));
  }
  EXPECT_EQ(mac.resources.read("Support/Kelvora/other"), "other");
  EXPECT_FALSE(files.exists(mac.resources.path("Support/Kelvora/missing")));
}

TEST_F(PermissionRequest, IsRefusedForAFolderAndForAFileWithHardLinks) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  mac.resources.write("Support/Kelvora/other", "other");
  std::filesystem::create_hard_link(mac.resources.path("Support/Kelvora/other"), installed());
  EXPECT_FALSE(request());
  std::filesystem::remove(installed());
  std::filesystem::create_directory(installed());
  EXPECT_FALSE(request());
  EXPECT_THAT(steps, ElementsAre("attributes", "attributes"));
  EXPECT_TRUE(std::filesystem::is_empty(installed()));
}

// The second name may be the user's own, of a tool that has its rights.
TEST_F(PermissionRequest, OfAGrantedToolWithHardLinksAsksForNoRights) {
  attributes = {"root", "admin", 06555, /*isRegularFile=*/true, /*names=*/2};
  EXPECT_TRUE(request());
  EXPECT_THAT(steps, ElementsAre("attributes"));
}

TEST_F(PermissionRequest, IsRefusedWithoutASupportFolder) {
  files.onApplicationSupportFolder = [] { return std::nullopt; };
  EXPECT_FALSE(request());
  EXPECT_THAT(steps, IsEmpty());
}

TEST_F(PermissionRequest, OfARecordedMacCopiesTheToolAndIsRefused) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  mac.platform->ports().authorization =
      std::move(testing::recordedPlatform({})->ports().authorization);
  EXPECT_FALSE(request());
  EXPECT_EQ(mac.resources.read("Support/Kelvora/Kelvora SMC"), "tool");
}

TEST_F(PermissionRequest, NeedsNoCompletion) {
  mac.resources.write("bin/Kelvora SMC", "tool");
  KVUtils::requestSMCPermission(nullptr, *mac.platform);
  while (mac.platform->mainQueue().runPending() == 0) {
    pollfd waiting{mac.platform->mainQueue().descriptor(), POLLIN, 0};
    poll(&waiting, 1, -1);
  }
  EXPECT_EQ(steps.back(), "released");
}

}  // namespace
}  // namespace kelvora
