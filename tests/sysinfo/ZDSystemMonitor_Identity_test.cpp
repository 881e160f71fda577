#include <cstdlib>

#include <gtest/gtest.h>

#include "platforms/posix/PosixChildProcesses.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/ScriptedChildProcesses.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/sysinfo/MonitoredMac.h"

namespace kelvora {
namespace {

using Connection = testing::LoopbackServer::Connection;
using testing::ScriptedChildProcesses;
using testing::ScriptedOutcome;

constexpr std::size_t kMiB = 1 << 20;

platform::RecordedMachine machineWithAddresses(std::vector<std::string> addresses) {
  platform::RecordedMachine machine;
  machine.hostName = "mac.local";
  machine.hostAddresses = std::move(addresses);
  return machine;
}

std::optional<std::string> localAddress(std::vector<std::string> addresses) {
  const testing::MonitoredMac mac(machineWithAddresses(std::move(addresses)));
  return ZDSystemMonitor(*mac.platform).networkInfo().ipAddress();
}

TEST(LocalAddress, IsTheLastIPv4AddressThatIsNotLoopback) {
  EXPECT_EQ(localAddress({"127.0.0.1", "192.0.2.10", "fe80::1", "198.51.100.7", "::1"}),
            "198.51.100.7");
  EXPECT_EQ(localAddress({"192.0.2.10", "127.1.2.3"}), "192.0.2.10");
  EXPECT_EQ(localAddress({"192.0.2.10", "1270.0.0.1"}), "192.0.2.10") << "no dot ends the 127";
}

TEST(LocalAddress, HasExactlyFourPieces) {
  EXPECT_EQ(localAddress({"192.0.2.10", "1.2.3", "1.2.3.4.5", "localhost"}), "192.0.2.10");
  EXPECT_EQ(localAddress({"9.9", "::ffff:192.0.2.10"}), "::ffff:192.0.2.10");
}

TEST(LocalAddress, IsThePrimaryOneIfThereIsOnlyLoopbackAndIPv6) {
  EXPECT_EQ(localAddress({"fe80::1", "127.0.0.1", "2001:db8::1"}), "fe80::1");
  EXPECT_EQ(localAddress({"127.0.0.1", "fe80::1"}), "127.0.0.1");
}

TEST(LocalAddress, ReturnsNoneIfTheSystemHasNoAddress) {
  EXPECT_EQ(localAddress({}), std::nullopt);
}

TEST(HostName, IsTheSystemsAndNoneIfThatIsEmpty) {
  const testing::MonitoredMac mac(machineWithAddresses({}));
  EXPECT_EQ(ZDSystemMonitor(*mac.platform).networkInfo().hostName(), "mac.local");
  const testing::MonitoredMac nameless;
  EXPECT_EQ(ZDSystemMonitor(*nameless.platform).networkInfo().hostName(), std::nullopt);
}

// The public address that a monitor makes of this output of curl.
std::optional<std::string> addressIn(ScriptedOutcome outcome) {
  const testing::MonitoredMac mac;
  mac.platform->ports().childProcesses =
      std::make_unique<ScriptedChildProcesses>([&](const auto&) { return std::optional(outcome); });
  return ZDSystemMonitor(*mac.platform).networkInfo().publicIpAddress();
}

TEST(PublicAddress, IsTheDigitsAndPointsOfThePage) {
  EXPECT_EQ(addressIn({"Current IP Address: 203.0.113.7"}), "203.0.113.7");
  EXPECT_EQ(addressIn({"<b>203.0.113.7</b>\n"}), "203.0.113.7");
  EXPECT_EQ(addressIn({"1 of 2: 203.0.113.7."}), "12203.0.113.7.")
      << "all runs, one after the other";
  EXPECT_EQ(addressIn({"no address"}), "");
  EXPECT_EQ(addressIn({"\xc3\xa9\xff 9"}), "9") << "bytes that are no ASCII";
  EXPECT_EQ(addressIn({std::string("9\08", 3)}), "98");
  EXPECT_EQ(addressIn({""}), "");
}

TEST(PublicAddress, DoesNotDependOnHowTheOutputArrives) {
  ScriptedOutcome outcome{"Address: 203.0.113.7"};
  outcome.largestRead = 1;
  EXPECT_EQ(addressIn(outcome), "203.0.113.7");
}

TEST(PublicAddress, DoesNotDependOnCurlsExitStatus) {
  EXPECT_EQ(addressIn({"203.0.113.7", 23}), "203.0.113.7");
}

TEST(PublicAddress, IsSoughtInTheWholePage) {
  EXPECT_EQ(addressIn({std::string(3 * kMiB, ' ') + "203.0.113.7\n"}), "203.0.113.7");
}

TEST(PublicAddress, HasAtMostAMebibyteOfDigitsAndPoints) {
  const std::string page = std::string(kMiB - 3, '7') + " 123456";
  for (const std::size_t read : {4096, 1025}) {
    const auto address = addressIn({page, 0, read});
    ASSERT_EQ(address->size(), kMiB);
    EXPECT_TRUE(address->ends_with("7123"));
  }
}

TEST(PublicAddress, IsReturnedWhenCurlHasEnded) {
  for (const auto& [page, closed] :
       {std::pair(std::string("203.0.113.7"), 0), std::pair(std::string(3 * kMiB, '1'), 1)}) {
    const testing::MonitoredMac mac;
    auto scripted = std::make_unique<ScriptedChildProcesses>(
        [&page = page](const auto&) { return ScriptedOutcome{page}; });
    const ScriptedChildProcesses& children = *scripted;
    mac.platform->ports().childProcesses = std::move(scripted);
    ZDSystemMonitor(*mac.platform).networkInfo();
    EXPECT_EQ(children.waits, 1);
    EXPECT_EQ(children.closedOutputs, closed) << "curl would wait for a reader";
  }
}

TEST(PublicAddress, IsEmptyIfCurlCannotBeStarted) {
  const testing::MonitoredMac mac;
  mac.children.onLaunch = [](const auto&) {
    return platform::ChildLaunch{nullptr, "No such file or directory"};
  };
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ZDSystemMonitor(*mac.platform).networkInfo().publicIpAddress(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(PublicAddress, IsAskedForWithCurlFromTheServiceOfTheMonitor) {
  const testing::MonitoredMac mac;
  ZDSystemMonitor(*mac.platform).networkInfo();
  ZDSystemMonitor(*mac.platform, "http://ip.example/").networkInfo();
  const auto& requests = mac.children.requests;
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].path, "/usr/bin/curl");
  EXPECT_EQ(requests[0].arguments, (std::vector<std::string>{"-s", kPublicAddressService}));
  EXPECT_EQ(requests[1].arguments, (std::vector<std::string>{"-s", "http://ip.example/"}));
  EXPECT_TRUE(requests[0].captureStandardOutput);
}

TEST(PublicAddress, OfARecordingIsWhatTheRecordedCurlPrints) {
  platform::RecordedMachine machine;
  machine.commands = {{"/usr/bin/curl", {"-s", kPublicAddressService}, "203.0.113.7\n"}};
  const testing::MonitoredMac mac(std::move(machine));
  EXPECT_EQ(ZDSystemMonitor(*mac.platform).networkInfo().publicIpAddress(), "203.0.113.7");
  EXPECT_EQ(ZDSystemMonitor(*mac.platform, "http://other/").networkInfo().publicIpAddress(), "");
}

// The computer's curl and a server of the test's own.
class RealCurl : public ::testing::Test {
 protected:
  RealCurl() {
    setenv("CURL_HOME", settings_.path().c_str(), 1);
    setenv("no_proxy", "*", 1);
    mac_.platform->ports().childProcesses = std::make_unique<platform::PosixChildProcesses>();
  }
  std::optional<std::string> addressFrom(testing::LoopbackServer::Serve serve) {
    const testing::LoopbackServer server(std::move(serve));
    return ZDSystemMonitor(*mac_.platform, server.address()).networkInfo().publicIpAddress();
  }

  testing::TemporaryFolder settings_;
  testing::MonitoredMac mac_;
};

TEST_F(RealCurl, AsksTheServiceAndPrintsItsPage) {
  std::string request;
  EXPECT_EQ(addressFrom([&](const Connection& connection) {
              request = connection.request();
              connection.send(
                  "HTTP/1.1 200 OK\r\nContent-Length: 31\r\n\r\n"
                  "Current IP Address: 203.0.113.7");
            }),
            "203.0.113.7");
  EXPECT_TRUE(request.starts_with("GET / HTTP/1.1\r\n")) << request;
}

TEST_F(RealCurl, PrintsNothingForAnEmptyPage) {
  EXPECT_EQ(addressFrom([](const Connection& connection) {
              connection.request();
              connection.send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
            }),
            "");
}

TEST_F(RealCurl, PrintsNothingIfTheServerCloses) {
  EXPECT_EQ(addressFrom([](const Connection&) {}), "");
}

TEST_F(RealCurl, PrintsNothingIfThereIsNoServer) {
  std::string address;
  {
    const testing::LoopbackServer server([](const Connection&) {});
    address = server.address();
  }
  EXPECT_EQ(ZDSystemMonitor(*mac_.platform, address).networkInfo().publicIpAddress(), "");
}

TEST_F(RealCurl, EndsWhenTheServerPrintsOnAndOn) {
  const auto address = addressFrom([](const Connection& connection) {
    connection.request();
    connection.send("HTTP/1.0 200 OK\r\n\r\n");
    while (connection.send(std::string(65536, '7'))) {
    }
  });
  EXPECT_EQ(address, std::string(kMiB, '7'));
}

TEST_F(RealCurl, EndsAServerThatNeverAnswersWhenItsOwnSettingsSaySo) {
  settings_.write(".curlrc", "max-time = 0.2\n");
  EXPECT_EQ(addressFrom([](const Connection& connection) { connection.waitForClose(); }), "");
}

}  // namespace
}  // namespace kelvora
