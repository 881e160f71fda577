#include "sysinfo/ModelQuery.h"

#include <chrono>
#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include "platforms/linux/system/LinuxSystemControls.h"
#include "sysinfo/LocalDate.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

using platform::int32ControlBytes;
using platform::int64ControlBytes;
using platform::RecordedMachine;
using platform::textControlBytes;

constexpr const char* kReport = R"({"SPHardwareDataType":[{"machine_name":"MacBook Pro",
    "chip_type":"Apple M9","model_number":"Z99","serial_number":"C02"}]})";

RecordedMachine machineOf(std::string_view identifier, const std::optional<std::string>& report) {
  RecordedMachine machine =
      testing::machineWithControls({{"hw.model", textControlBytes(identifier)}});
  if (report) {
    machine.commands.push_back({.path = "/usr/sbin/system_profiler",
                                .arguments = {"SPHardwareDataType", "-json"},
                                .standardOutput = *report});
  }
  return machine;
}

ZDModelInfo modelOf(RecordedMachine machine) {
  const auto platform = testing::recordedPlatform(std::move(machine));
  return queryModel(*platform);
}

std::int64_t thisYear() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local.tm_year + 1900;
}

TEST(ModelQuery, AnUnknownModelIsNamedByItsReportAndDatedToday) {
  const std::int64_t before = thisYear();
  const ZDModelInfo info = modelOf(machineOf("MacBookPro99,1", kReport));
  EXPECT_EQ(info.modelId, "MacBookPro99,1");
  EXPECT_EQ(info.family, 2);
  EXPECT_EQ(info.name, "MacBook Pro (M9)");
  EXPECT_GE(info.year, before);
  EXPECT_LE(info.year, thisYear());
  EXPECT_EQ(info.modelNumber, "Z99");
  EXPECT_EQ(info.serial, "C02");
  EXPECT_EQ(info.physicalMemory, std::nullopt);
}

// The Persian year 1405 would be older than every Mac, and its fans would be set by the wrong
// scheme.
TEST(ModelQuery, TheYearIsThatOfTheCatalogueWhateverTheUsersCalendar) {
  for (const char* locale : {"fa_IR.UTF-8", "th_TH.UTF-8", "ar_SA.UTF-8"}) {
    setenv("LC_ALL", locale, 1);
    setenv("LC_TIME", locale, 1);
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(locale), status);
    const ZDModelInfo info = modelOf(machineOf("Mac99,1", kReport));
    EXPECT_EQ(info.year, thisYear()) << locale;
    EXPECT_TRUE(info.isT2ChipSupport()) << locale;
  }
}

// Half an hour before the year ends in Greenwich.
TEST(LocalDate, IsThatOfTheUsersTimeZone) {
  using namespace std::chrono;
  const sys_time<minutes> late = sys_days(year(2024) / December / 31) + hours(23) + minutes(30);
  for (const auto& [zone, date] :
       {std::pair("Pacific/Auckland", sys_days(year(2025) / January / 1)),
        std::pair("America/New_York", sys_days(year(2024) / December / 31)),
        std::pair("XYZ-1", sys_days(year(2025) / January / 1)),
        std::pair("XYZ+1", sys_days(year(2024) / December / 31))}) {
    setenv("TZ", zone, 1);
    tzset();
    EXPECT_EQ(localDateOf(late), date) << zone;
  }
}

TEST(ModelQuery, AMacThatRunsLinuxIsNamedByItsFirmwareWithoutToolsOfMacOS) {
  const testing::TemporaryFolder root;
  root.write("sys/class/dmi/id/product_name", "Macmini8,1\n");
  const auto platform = testing::recordedPlatform({});
  platform->ports().systemControls = std::make_unique<platform::LinuxSystemControls>(root.path());
  const auto& children =
      testing::wrapPort<testing::ForwardingChildProcesses>(platform->ports().childProcesses);
  const ZDModelInfo info = queryModel(*platform);
  EXPECT_EQ(info.modelId, "Macmini8,1");
  EXPECT_EQ(info.name, "Mac mini");
  EXPECT_EQ(info.serial, std::nullopt);
  EXPECT_TRUE(children.requests.empty());
}

TEST(ModelQuery, AnUnknownIdentifierHasNoFamilyAndTheMacBookIcon) {
  const ZDModelInfo info = modelOf(machineOf("Mac99,1", kReport));
  EXPECT_EQ(info.family, 0);
  EXPECT_EQ(info.familyIcon(), "ico_macbook");
  EXPECT_EQ(info.familyName(), "Unknown");
}

TEST(ModelQuery, AKnownModelKeepsItsNameAndYear) {
  const ZDModelInfo info = modelOf(machineOf("MacBookPro18,3", kReport));
  EXPECT_EQ(info.name, "MacBook Pro 14-inch (M1 Pro)");
  EXPECT_EQ(info.year, 2021);
  EXPECT_EQ(info.modelId, "MacBookPro18,3");
  EXPECT_EQ(info.serial, "C02");
}

TEST(ModelQuery, WithoutAUsableReportThereIsNoNameAndNoYear) {
  for (const std::optional<std::string>& report :
       {std::optional<std::string>(), std::optional<std::string>("no JSON"),
        std::optional<std::string>("[]"), std::optional<std::string>(std::string(10 << 20, '{')),
        std::optional<std::string>("{\"SPHardwareDataType\":[{\"machine_name\":\"Mac\"}]}")}) {
    const ZDModelInfo info = modelOf(machineOf("MacBookPro99,1", report));
    EXPECT_EQ(info.name, std::nullopt);
    EXPECT_EQ(info.year, 0);
    EXPECT_EQ(info.family, 2);
    EXPECT_EQ(info.modelNumber, std::nullopt);
    EXPECT_EQ(info.serial, std::nullopt);
  }
}

TEST(ModelQuery, AnAbsentIdentifierIsARecordWithoutFamily) {
  const ZDModelInfo info = modelOf(testing::machineWithControls({}));
  EXPECT_EQ(info.modelId, "");
  EXPECT_EQ(info.family, 0);
  EXPECT_EQ(info.name, std::nullopt);
}

TEST(ModelQuery, FamiliesAreThePrefixesOfIdentifiers) {
  EXPECT_EQ(familyOfIdentifier("MacBookPro99,1"), 2);
  EXPECT_EQ(familyOfIdentifier("MacBookAir99,1"), 3);
  EXPECT_EQ(familyOfIdentifier("MacBook99,1"), 1);
  EXPECT_EQ(familyOfIdentifier("iMac99,1"), 4);
  EXPECT_EQ(familyOfIdentifier("iMacPro99,1"), 4);
  EXPECT_EQ(familyOfIdentifier("Macmini99,1"), 7);
  EXPECT_EQ(familyOfIdentifier("MacPro99,1"), 6);
  EXPECT_EQ(familyOfIdentifier("Xserve99,1"), 8);
  EXPECT_EQ(familyOfIdentifier("Mac99,1"), 0);
  EXPECT_EQ(familyOfIdentifier("macbook1,1"), 0);
  EXPECT_EQ(familyOfIdentifier("VirtualMacPro1,1"), 0);
  EXPECT_EQ(familyOfIdentifier(""), 0);
}

TEST(ModelQuery, TheByteOrderDeterminesTheEndianness) {
  const auto endiannessOf = [](std::vector<std::byte> bytes) {
    return modelOf(testing::machineWithControls({{"hw.byteorder", std::move(bytes)}})).endianness;
  };
  EXPECT_EQ(endiannessOf(int32ControlBytes(1234)), ZDEndiannessLittle);
  EXPECT_EQ(endiannessOf(int64ControlBytes(1234)), ZDEndiannessLittle);
  EXPECT_EQ(endiannessOf(int32ControlBytes(4321)), ZDEndiannessBig);
  EXPECT_EQ(endiannessOf(int32ControlBytes(3412)), ZDEndiannessUnknown);
  EXPECT_EQ(modelOf(testing::machineWithControls({})).endianness, ZDEndiannessUnknown);
}

TEST(ModelQuery, TheResolutionIsThatOfTheMainScreen) {
  RecordedMachine machine = machineOf("Mac99,1", std::nullopt);
  EXPECT_EQ(modelOf(machine).displayResolution, ZDResolution{});
  machine.displays = {{.builtIn = false, .width = 2560, .height = 1440},
                      {.builtIn = true, .width = 1512, .height = 982}};
  EXPECT_EQ(modelOf(machine).displayResolution, (ZDResolution{2560, 1440}));
}

}  // namespace
}  // namespace kelvora
