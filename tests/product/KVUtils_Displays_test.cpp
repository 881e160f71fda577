#include <gtest/gtest.h>

#include "KelvoraCore/KVUtils.h"

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

constexpr platform::Display kBuiltIn{true, 1680, 1050};
constexpr platform::Display kExternal{false, 2560, 1440};

TEST(KVUtilsDisplays, AnyActiveDisplayThatIsNotBuiltInIsExternal) {
  const testing::TestMac mac;
  auto& facts =
      testing::wrapPort<testing::ForwardingSystemFacts>(mac.platform->ports().systemFacts);
  struct Case {
    std::vector<platform::Display> displays;
    bool external;
  };
  for (const Case& each :
       {Case{{}, false}, Case{{kBuiltIn}, false}, Case{{kBuiltIn, kExternal}, true},
        Case{{kExternal}, true}, Case{{kBuiltIn, kBuiltIn}, false}}) {
    facts.onActiveDisplays = [&] { return each.displays; };
    EXPECT_EQ(KVUtils::isExternalDisplayConnected(*mac.platform), each.external);
    EXPECT_EQ(KVUtils::numOfDisplays(*mac.platform),
              static_cast<std::int64_t>(each.displays.size()));
  }
}

}  // namespace
}  // namespace kelvora
