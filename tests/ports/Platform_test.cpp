#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ports/Ports.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

TEST(Platform, IsTheLiveOneAndStaysItWhenNoneWasInstalledBeforeTheFirstUse) {
  const Platform& current = Platform::current();
  EXPECT_TRUE(current.isLive());
  EXPECT_THROW(installRecordedPlatform("iMac19,1"), std::logic_error);
  EXPECT_EQ(&Platform::current(), &current);
}

// Whether two threads that start together get the same answer.
bool isOneForTwoThreads() {
  std::array<const Platform*, 2> seen{};
  std::atomic<std::size_t> ready{0};
  const auto ask = [&](const Platform*& answer) {
    ++ready;
    while (ready < seen.size()) {
    }
    answer = &Platform::current();
  };
  std::thread other([&] { ask(seen[0]); });
  ask(seen[1]);
  other.join();
  return seen[0] == seen[1];
}

TEST(Platform, IsOneForThreadsThatAskAtTheSameTime) {
  // Each try takes a process of its own: the first use comes once.
  for (int attempt = 0; attempt < 20; ++attempt) {
    EXPECT_EXIT(std::_Exit(isOneForTwoThreads() ? 0 : 1), ::testing::ExitedWithCode(0), "");
  }
}

constexpr char kMachineFile[] = KELVORA_MACHINES "/iMac19,1.json";

std::vector<std::byte> bytesOf(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

std::string bare(const std::string& members) {
  return R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64")" + members + "}";
}

std::unique_ptr<Platform> recordedFromText(const std::string& text) {
  return Platform::recordedFromBytes(bytesOf(text), "mac.json");
}

TEST(RecordedPlatforms, ComeFromAFileFromANameInAnyCaseAndFromBytes) {
  for (const auto& platform : {Platform::recordedFromFile(kMachineFile),
                               Platform::recorded(kMachineFile), Platform::recorded("IMAC19,1")}) {
    EXPECT_EQ(platform->title(), "iMac 27-inch 2019");
    EXPECT_EQ(platform->architecture(), Architecture::kIntel);
    EXPECT_FALSE(platform->isLive());
  }
  const auto mine = recordedFromText(bare(R"(, "title": "Mine")"));
  EXPECT_EQ(mine->title(), "Mine");
  EXPECT_EQ(mine->architecture(), Architecture::kAppleSilicon);
  EXPECT_FALSE(mine->isLive());
}

void expectFault(const std::function<void()>& work, const std::string& file,
                 const std::string& place, const std::string& fault) {
  try {
    work();
    ADD_FAILURE() << "nothing was thrown for " << file;
  } catch (const MachineFileError& error) {
    EXPECT_EQ(error.file(), file);
    EXPECT_EQ(error.place(), place);
    EXPECT_EQ(error.fault(), fault);
    EXPECT_EQ(error.what(), file + ": " + (place.empty() ? "" : place + ": ") + fault);
  }
}

TEST(RecordedPlatforms, AnErrorNamesTheFileThePlaceAndTheFault) {
  expectFault([] { recordedFromText(bare(R"(, "title": 1)")); }, "mac.json", "/title",
              "must be a text");
  expectFault([] { recordedFromText("{"); }, "mac.json", "line 1, column 2", "is not JSON");
  expectFault([] { recordedFromText("[]"); }, "mac.json", "/", "must be an object");
  expectFault([] { Platform::recordedFromFile("iMac19,1"); }, "iMac19,1", "",
              "cannot be read: No such file or directory");
  expectFault([] { Platform::recorded("iMac99"); }, "iMac99", "",
              "neither a file nor a recorded Mac ('kelvora machines' lists them)");
}

TEST(RecordedPlatforms, UseTheHostThatIsGivenForWhatIsNotRecorded) {
  auto host = Platform::live();
  const platform::MainQueue* queue = &host->mainQueue();
  const platform::SMCUserClient* smc = &host->smc();
  const auto platform = Platform::recorded("iMac19,1", std::move(host));
  EXPECT_EQ(&platform->mainQueue(), queue);
  EXPECT_NE(&platform->smc(), smc);
}

TEST(RecordedPlatforms, ThoseThatComeAlongAreListedByName) {
  const std::vector<RecordedMac> macs = Platform::recordedMacs();
  std::vector<std::string> names;
  for (const RecordedMac& mac : macs) {
    names.push_back(mac.name);
    const auto platform = Platform::recordedFromFile(mac.path);
    EXPECT_EQ(platform->title(), mac.title);
    EXPECT_EQ(platform->architecture(), mac.architecture);
    EXPECT_NE(mac.notes, "") << mac.name;
  }
  EXPECT_EQ(names,
            std::vector<std::string>(std::begin(kRecordedMachines), std::end(kRecordedMachines)));
}

TEST(Platform, HasSensorHardwareWhereThereIsAnSMCOrAHIDTemperature) {
  EXPECT_TRUE(Platform::recorded("iMac19,1")->hasSensorHardware()) << "an SMC";
  EXPECT_TRUE(Platform::recorded("Macmini9,1")->hasSensorHardware()) << "HID services";
  EXPECT_FALSE(recordedFromText(bare(""))->hasSensorHardware());
  EXPECT_FALSE(recordedFromText(bare(R"(, "hid": [])"))->hasSensorHardware());
  const auto hid = [](const char* service) {
    return recordedFromText(bare(R"(, "hid": [)" + std::string(service) + "]"));
  };
  EXPECT_TRUE(hid(R"({"usagePage": 65280, "usage": 5})")->hasSensorHardware());
  EXPECT_FALSE(hid(R"({"usagePage": 65280, "usage": 3})")->hasSensorHardware());
  EXPECT_FALSE(hid(R"({"usagePage": 1, "usage": 5})")->hasSensorHardware());
}

}  // namespace
}  // namespace kelvora::testing
