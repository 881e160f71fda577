#include "KelvoraCore/KVFanGuardian.h"

#include <gmock/gmock.h>

#include "KelvoraCore/KVProcessLock.h"

#include "fans/LeaseRecord.h"
#include "ports/GuardChannel.h"
#include "tests/fans/LeaseFixture.h"

namespace kelvora::testing {
namespace {

using platform::GuardChannel;

class KVFanGuardianTest : public LeaseFixture {
 protected:
  KVFanGuardianTest() {
    auto ends = GuardChannel::open();
    platform::ChildRequest request;
    request.path = KELVORA_TEST_GUARDIAN;
    request.standardInput = ends->second.descriptor();
    program = std::move(platform->childProcesses().launch(request).child);
    channel.emplace(std::move(ends->first));
  }

  std::string answer() {
    std::string line;
    return channel->receive(line, std::chrono::seconds(60)) == GuardChannel::Event::kLine ? line
                                                                                          : "";
  }
  // The fault in the lease of a fan; none without a guardian that says it.
  std::string faultOf(std::size_t fan) const {
    const auto leases = KVFanLeases::leasedFans(*platform);
    return leases.size() > fan && leases[fan].isLive ? leases[fan].fault : "";
  }
  static LeaseRequest requestOf(std::vector<LeasedFan> fans,
                                std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
    return {"Test Host", 612, timeout, std::move(fans), ""};
  }

  std::optional<GuardChannel> channel;
  std::unique_ptr<platform::ChildProcess> program;
};

TEST_F(KVFanGuardianTest, AnswersEachLineAndHandsBackAtTheEnd) {
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}, {1, {"F1Md", "00"}}})));
  EXPECT_EQ(answer(), "ready");
  EXPECT_TRUE(isOnDisk(0) && isOnDisk(1));
  channel->send("renew");
  EXPECT_EQ(answer(), "alive");
  EXPECT_TRUE(writes().empty());
  channel->close();
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_THAT(writes(), ::testing::UnorderedElementsAre("F0Md 00", "F1Md 00"));
  EXPECT_FALSE(isOnDisk(0) || isOnDisk(1));
}

// A take that takes longer than the time-out may end between two of them.
TEST_F(KVFanGuardianTest, HandsBackAgainAndAgainAfterATimeOutWhateverIsRenewed) {
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}}, std::chrono::seconds(1))));
  EXPECT_EQ(answer(), "ready");
  EXPECT_EQ(answer(), "expired");
  EXPECT_TRUE(soon([this] {
    channel->send("renew");  // each comes before the next try
    std::string line;
    while (channel->receive(line, std::chrono::milliseconds(0)) == GuardChannel::Event::kLine) {
      EXPECT_EQ(line, "expired");
    }
    return writes().size() >= 4;
  }));
  EXPECT_TRUE(isOnDisk());
  channel->close();
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_FALSE(isOnDisk());
}

TEST_F(KVFanGuardianTest, TriesEveryFanWhateverBecomesOfTheOthers) {
  failWrites("F0Md", "00");
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}, {1, {"F1Md", "00"}}})));
  EXPECT_EQ(answer(), "ready");
  channel->close();
  EXPECT_TRUE(soon([this] { return valueOf("F1Md") == "00"; }));
  EXPECT_TRUE(
      soon([this] { return faultOf(0) == "F0Md: the privileged tool ended with status 5"; }));
  endOrders();
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_EQ(valueOf("F0Md"), "00");
}

// The last fan decides as the first does.
TEST_F(KVFanGuardianTest, DoesNotEndBeforeTheLastFanIsBack) {
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}, {1, {"F1Md", "00"}}})));
  EXPECT_EQ(answer(), "ready");
  failWrites("F1Md", "00");
  channel->close();
  EXPECT_TRUE(soon([this] { return writes().size() >= 2; })) << "the first is tried with it";
  EXPECT_EQ(valueOf("F1Md"), "");
  EXPECT_EQ(faultOf(1), "F1Md: the privileged tool ended with status 5");
  endOrders();
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_EQ(valueOf("F1Md"), "00");
}

TEST_F(KVFanGuardianTest, EndsWithoutARequest) {
  channel->close();
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_TRUE(writes().empty());
}

TEST_F(KVFanGuardianTest, RefusesWhatItDoesNotUnderstand) {
  channel->send("{}");
  EXPECT_EQ(answer(), "refused the guardian does not understand the holder");
  EXPECT_EQ(program->waitUntilExit(), 64);
}

TEST_F(KVFanGuardianTest, RefusesWhenTheLeaseCannotBePutOnTheDisk) {
  const std::string container = *KVUtils::groupContainerLocation(*platform);
  std::filesystem::create_directories(container + "/Fan1.plist/inner");
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}, {1, {"F1Md", "00"}}})));
  EXPECT_TRUE(answer().starts_with("refused fan 1: left behind by another program"));
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_FALSE(isOnDisk(0));
  EXPECT_TRUE(writes().empty());
}

TEST_F(KVFanGuardianTest, RefusesAFanThatItCannotLock) {
  std::filesystem::create_directories(folder.path("group.com.kelvora/Fan0.lock"));
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}})));
  EXPECT_EQ(answer(), "refused fan 0: Is a directory");
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_FALSE(isOnDisk(0));
  EXPECT_TRUE(writes().empty());
}

// Its holder has looked for that before; another one can have come since.
TEST_F(KVFanGuardianTest, RefusesAFanThatAnotherGuardianHas) {
  const KVProcessLock other(leaseName(1), *platform);
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}, {1, {"F1Md", "00"}}})));
  EXPECT_EQ(answer(), "held fan 1: held by another program");
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_FALSE(isOnDisk(0) || isOnDisk(1));
  EXPECT_TRUE(writes().empty());
}

// As a program of an earlier version has put it on the disk.
TEST_F(KVFanGuardianTest, OfALeaseThatDoesNotNameItIsReportedWithoutItsProcess) {
  folder.write("group.com.kelvora/Fan0.plist",
               "<plist version=\"1.0\"><dict><key>program</key><string>Host</string>"
               "<key>process</key><integer>7</integer><key>fan</key><integer>0</integer>"
               "<key>since</key><date>2026-01-02T03:04:05Z</date><key>key</key>"
               "<string>F0Md</string><key>value</key><string>00</string></dict></plist>");
  const KVProcessLock guardian(leaseName(0), *platform);
  const auto leases = KVFanLeases::leasedFans(*platform);
  ASSERT_EQ(leases.size(), 1U);
  EXPECT_TRUE(leases[0].isLive);
  EXPECT_EQ(leases[0].fault, "its holder has ended, and its guardian does not answer");
  channel->close();
  EXPECT_EQ(program->waitUntilExit(), 0);
}

TEST(KVFanGuardian, WithoutAChannelIsWrongUsage) {
  platform::ChildRequest request;
  request.path = KELVORA_TEST_GUARDIAN;
  const TemporaryFolder folder;
  setenv("HOME", folder.path().c_str(), 1);
  setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
  EXPECT_EQ(platform::PosixChildProcesses().launch(request).child->waitUntilExit(), 64);
}

TEST_F(KVFanGuardianTest, WaitsForAToolThatWasRemoved) {
  channel->send(lineOf(requestOf({{0, {"F0Md", "00"}}})));
  EXPECT_EQ(answer(), "ready");
  const std::string tool = folder.path("Kelvora/Kelvora SMC");
  std::filesystem::rename(tool, tool + " away");
  channel->close();
  EXPECT_TRUE(soon([this] {
    return KVFanLeases::leasedFans(*platform).at(0).fault ==
           "F0Md: the privileged tool is not installed";
  }));
  std::filesystem::rename(tool + " away", tool);
  EXPECT_EQ(program->waitUntilExit(), 0);
  EXPECT_EQ(valueOf("F0Md"), "00");
}

// --- the request

TEST(LeaseRequest, ALineGivesTheRequestBack) {
  const LeaseRequest request{"Zoë \"x\"\n",
                             612,
                             std::chrono::milliseconds(1500),
                             {{0, {"F0Md", "00"}}, {19, {"FJMn", "12c0"}}},
                             "Zoë's Mac (recorded)"};
  const std::string line = lineOf(request);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  const auto again = leaseRequestIn(line);
  ASSERT_TRUE(again.has_value());
  EXPECT_EQ(again->program, request.program);
  EXPECT_EQ(again->processIdentifier, 612);
  EXPECT_EQ(again->timeout.count(), 1500);
  ASSERT_EQ(again->fans.size(), 2U);
  EXPECT_EQ(again->fans[1].fan, 19U);
  EXPECT_EQ(again->fans[1].handBack, (FanWrite{"FJMn", "12c0"}));
  EXPECT_EQ(again->machine, request.machine);
}

TEST(LeaseRequest, OtherLinesAreNotRequests) {
  for (
      const char* line : {
          "",
          "{",
          "[]",
          "null",
          "{}",
          R"({"program":"x","process":1,"timeout":5,"fans":[]})",
          R"({"program":"x","process":1,"timeout":0,"fans":[{"fan":0,"key":"F0Md","value":"00"}]})",
          R"({"program":"x","process":1,"timeout":86400001,"fans":[{"fan":0,"key":"F0Md","value":"00"}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":20,"key":"F0Md","value":"00"}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":-1,"key":"F0Md","value":"00"}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":0,"key":"F1Md","value":"00"}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":0,"key":"F0Md","value":"01"}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":0,"key":"F0Tg","value":"0000fa44"}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":0,"key":"F0Mn","value":""}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":0,"key":"F0Mn","value":"12cx"}]})",
          R"({"program":1,"process":1,"timeout":5,"fans":[{"fan":0,"key":"F0Md","value":"00"}]})",
          R"({"program":"x","process":1,"timeout":5,"fans":[{"fan":0,"key":"F0Md"}]})",
      }) {
    EXPECT_FALSE(leaseRequestIn(line).has_value()) << line;
  }
}

}  // namespace
}  // namespace kelvora::testing
