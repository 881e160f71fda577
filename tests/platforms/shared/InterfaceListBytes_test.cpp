#include "platforms/shared/InterfaceListBytes.h"

#include <cstring>

#include <gtest/gtest.h>

#include "ports/RoutingMessages.h"

namespace kelvora::testing {
namespace {

using platform::InterfaceMessage;

InterfaceMessage messageAt(const std::vector<std::byte>& bytes, std::size_t offset) {
  InterfaceMessage message;
  std::memcpy(&message, bytes.data() + offset, sizeof message);
  return message;
}

TEST(InterfaceListBytes, AreOneMessageForEachInterface) {
  const std::vector<platform::InterfaceCounters> interfaces = {{"lo0", 1, 2},
                                                               {"en0", 1ULL << 40, 4}};
  const auto bytes = platform::interfaceListBytes(interfaces);
  ASSERT_EQ(bytes.size(), 2 * sizeof(InterfaceMessage));
  for (const std::size_t offset : {std::size_t{0}, sizeof(InterfaceMessage)}) {
    const auto message = messageAt(bytes, offset);
    EXPECT_EQ(message.head.lengthBytes, 160);
    EXPECT_EQ(message.head.version, 5);
    EXPECT_EQ(message.head.type, 18);
    EXPECT_EQ(message.addresses, 0) << "no address follows";
  }
  EXPECT_EQ(messageAt(bytes, 0).receivedBytes, 1U);
  EXPECT_EQ(messageAt(bytes, 0).sentBytes, 2U);
  EXPECT_EQ(messageAt(bytes, sizeof(InterfaceMessage)).receivedBytes, 1ULL << 40);
  EXPECT_EQ(messageAt(bytes, sizeof(InterfaceMessage)).sentBytes, 4U);
}

TEST(InterfaceListBytes, AreEmptyWithoutInterfaces) {
  EXPECT_TRUE(platform::interfaceListBytes({}).empty());
}

}  // namespace
}  // namespace kelvora::testing
