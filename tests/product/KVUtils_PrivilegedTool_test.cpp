#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/KVUtils.h"

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

}  // namespace
}  // namespace kelvora
