#include "sysinfo/InterfaceList.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <gtest/gtest.h>

#include "ports/RoutingMessages.h"
#include "tests/sysinfo/MonitoredMac.h"

namespace kelvora {
namespace {

using Bytes = std::vector<std::byte>;

// A message of any type and length, its counters where an interface has them.
Bytes message(std::uint8_t type, std::uint16_t length, std::uint64_t received = 1,
              std::uint64_t sent = 2) {
  Bytes bytes(std::max<std::size_t>(length, 112), std::byte{0xee});
  std::memcpy(bytes.data(), &length, sizeof length);
  bytes[3] = static_cast<std::byte>(type);
  std::memcpy(bytes.data() + 96, &received, sizeof received);
  std::memcpy(bytes.data() + 104, &sent, sizeof sent);
  bytes.resize(length);
  return bytes;
}

Bytes joined(const std::vector<Bytes>& messages) {
  Bytes bytes;
  for (const Bytes& each : messages) {
    bytes.insert(bytes.end(), each.begin(), each.end());
  }
  return bytes;
}

void expectTotals(const Bytes& list, std::uint64_t received, std::uint64_t sent) {
  const auto totals = interfaceTotals(list);
  EXPECT_EQ(totals.received, received);
  EXPECT_EQ(totals.sent, sent);
}

TEST(InterfaceTotals, AreTheSumsOfAllInterfaces) {
  expectTotals({}, 0, 0);
  expectTotals(message(18, 160, 5000000000, 7), 5000000000, 7);
  // Names and addresses follow, which make a message any number of bytes long.
  expectTotals(
      joined({message(18, 160, 1, 10), message(18, 181, 2, 20), message(18, 65535, 4, 40)}), 7, 70);
}

TEST(InterfaceTotals, WrapAtSixtyFourBits) {
  expectTotals(joined({message(18, 160, ~0ULL, 1), message(18, 160, 3, 1)}), 2, 2);
}

TEST(InterfaceTotals, PassOverMessagesOfOtherTypes) {
  // 12 is the address of an interface, 14 the first version of its information.
  expectTotals(joined({message(12, 20), message(18, 160), message(14, 160), message(19, 160),
                       message(18, 160)}),
               2, 4);
}

TEST(InterfaceTotals, PassOverMessagesThatAreTooShort) {
  expectTotals(joined({message(18, 159), message(18, 4), message(18, 160)}), 1, 2);
  // The next message starts where this one ends, wherever that is.
  expectTotals(joined({message(0xee, 3), message(18, 160)}), 1, 2);
}

TEST(InterfaceTotals, EndAtAMessageWithoutLength) {
  expectTotals(joined({message(18, 160), Bytes(160), message(18, 160)}), 1, 2);
}

TEST(InterfaceTotals, EndAtAMessageThatIsCutOff) {
  const auto list = joined({message(18, 160), message(18, 200)});
  for (std::size_t size = 0; size <= list.size(); ++size) {
    const std::uint64_t whole = size < 160 ? 0 : size < 360 ? 1 : 2;
    // A copy of its own, so that a sanitizer sees a read behind its end.
    expectTotals(Bytes(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(size)), whole,
                 2 * whole);
  }
}

TEST(InterfaceTotals, ReadWhatARecordedMacLists) {
  const std::vector<platform::InterfaceCounters> interfaces = {{"lo0", 1, 10}, {"en0", 2, 20}};
  expectTotals(platform::interfaceListBytes(interfaces), 3, 30);
}

// A Mac whose list grows `growths` times between the question for its size and the one for it.
class GrowingMac : public testing::MonitoredMac {
 public:
  explicit GrowingMac(int growths) {
    controls.onByNumber = [=, this](std::span<const int> name, void* value, std::size_t* size) {
      EXPECT_TRUE(std::ranges::equal(name, std::array{4, 17, 0, 0, 6, 0}));
      const Bytes list(interfaces * 160);
      const int error = platform::copyControl(list, value, size);
      ++questions;
      interfaces += value == nullptr && questions <= 2 * growths ? 1 : 0;
      return error;
    };
  }
  std::size_t interfaces = 1;
  int questions = 0;
};

TEST(InterfaceList, IsAskedForTheSizeThenForTheList) {
  GrowingMac mac(0);
  EXPECT_EQ(interfaceList(*mac.platform->ports().systemControls).size(), 160U);
  EXPECT_EQ(mac.questions, 2);
}

TEST(InterfaceList, ThatGrewMeanwhileIsAskedForAgain) {
  GrowingMac mac(2);
  EXPECT_EQ(interfaceList(mac.controls).size(), 3U * 160);
  EXPECT_EQ(mac.questions, 6);
}

TEST(InterfaceList, ThatKeepsGrowingIsAnErrorAfterThreeTries) {
  GrowingMac mac(100);
  try {
    interfaceList(mac.controls);
    FAIL();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), ENOMEM);
  }
  EXPECT_EQ(mac.questions, 6);
}

TEST(InterfaceList, ThatShrankMeanwhileIsAsLongAsItIs) {
  testing::MonitoredMac mac;
  mac.controls.onByNumber = [](std::span<const int>, void* value, std::size_t* size) {
    return platform::copyControl(Bytes(value == nullptr ? 320 : 160), value, size);
  };
  EXPECT_EQ(interfaceList(mac.controls).size(), 160U);
}

TEST(InterfaceList, WithoutInterfacesIsNotAskedForAgain) {
  GrowingMac mac(0);
  mac.interfaces = 0;
  EXPECT_TRUE(interfaceList(mac.controls).empty());
  EXPECT_EQ(mac.questions, 1);
}

// The n-th question fails with this error.
void failQuestion(testing::MonitoredMac& mac, int number, int failure) {
  mac.controls.onByNumber = [=, question = 0](std::span<const int>, void* value,
                                              std::size_t* size) mutable {
    const int error = platform::copyControl(message(18, 160), value, size);
    return ++question == number ? failure : error;
  };
}

TEST(ZDSystemMonitor_Network, AQuestionThatFailsEndsTheProcessWithStatusOne) {
  for (const int number : {1, 2}) {
    testing::MonitoredMac mac;
    const ZDSystemMonitor monitor(*mac.platform);
    failQuestion(mac, number, EPERM);
    EXPECT_EXIT(monitor.networkUsageInfo(), ::testing::ExitedWithCode(1),
                "^sysctl: Operation not permitted\n$");
  }
}

TEST(ZDSystemMonitor_Network, AListThatGrewOnceDoesNotEndTheProcess) {
  testing::MonitoredMac mac;
  const ZDSystemMonitor monitor(*mac.platform);
  failQuestion(mac, 2, ENOMEM);
  const auto usage = monitor.networkUsageInfo();
  EXPECT_EQ(usage.received, 1U);
  EXPECT_EQ(usage.sent, 2U);
}

TEST(ZDSystemMonitor_Network, ARecordingWithoutInterfacesHasNoBytes) {
  const testing::MonitoredMac mac;
  const auto usage = ZDSystemMonitor(*mac.platform).networkUsageInfo();
  EXPECT_EQ(usage.received, 0U);
  EXPECT_EQ(usage.sent, 0U);
}

}  // namespace
}  // namespace kelvora
