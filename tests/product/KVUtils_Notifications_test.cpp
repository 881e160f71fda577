#include <gtest/gtest.h>

#include "KelvoraCore/KVUtils.h"

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

TEST(KVUtilsNotifications, ABroadcastIsPostedLaterWithoutASenderForImmediateDelivery) {
  const testing::TestMac mac;
  const auto& posts = mac.centres.distributedCentre.posts;
  KVUtils::broadcastNotification("plain", *mac.platform);
  KVUtils::broadcastNotification("full", {{"KVFanValueTypeKey", 1}}, *mac.platform);
  EXPECT_TRUE(posts.empty());
  EXPECT_EQ(mac.platform->mainQueue().runPending(), 2);
  ASSERT_EQ(posts.size(), 2U);
  EXPECT_EQ(posts[0].notification.name, "plain");
  EXPECT_FALSE(posts[0].notification.userInfo);
  EXPECT_EQ(posts[1].notification.name, "full");
  EXPECT_EQ(posts[1].notification.userInfo,
            (PropertyListValue::Dictionary{{"KVFanValueTypeKey", 1}}));
  for (const auto& post : posts) {
    EXPECT_FALSE(post.notification.object);
    EXPECT_TRUE(post.deliverImmediately);
  }
  EXPECT_TRUE(mac.centres.inProcessCentre.posts.empty());
}

}  // namespace
}  // namespace kelvora
