#include "sysinfo/DisplaysReport.h"

#include <string>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

std::string reportOf(const std::string& entries) {
  return R"({"SPDisplaysDataType":)" + entries + "}";
}

// The only processor of a report with one entry.
ZDGPUInfo processorOf(const std::string& entry) {
  const DisplaysReport report = parseDisplaysReport(reportOf("[" + entry + "]"));
  EXPECT_EQ(report.failure, std::nullopt);
  return report.gpuInfos.value_or(std::vector<ZDGPUInfo>{}).at(0);
}

void expectNothing(const std::string& text) {
  const DisplaysReport report = parseDisplaysReport(text);
  EXPECT_EQ(report.gpuInfos, std::nullopt) << text.substr(0, 100);
  EXPECT_EQ(report.failure, std::nullopt) << text.substr(0, 100);
}

void expectFailure(const std::string& text, const std::string& reason) {
  const DisplaysReport report = parseDisplaysReport(text);
  EXPECT_EQ(report.gpuInfos, std::nullopt) << text;
  EXPECT_EQ(report.failure, reason);
}

TEST(DisplaysReport, ListsEveryProcessorInOrder) {
  const auto report = parseDisplaysReport(reportOf(
      R"([{"sppci_model":"Apple M1","spdisplays_vendor":"sppci_vendor_Apple","sppci_cores":"8",
           "spdisplays_vram_shared":"8 GB","spdisplays_vram":"1 GB"},{"sppci_model":"Second"}])"));
  ASSERT_TRUE(report.gpuInfos);
  ASSERT_EQ(report.gpuInfos->size(), 2U);
  const ZDGPUInfo expected = {.modelName = "Apple M1",
                              .shortModelName = "Apple M1",
                              .isDedicated = false,
                              .vendor = "sppci_vendor_Apple",
                              .vram = "8 GB",
                              .cores = 8};
  EXPECT_EQ(report.gpuInfos->front(), expected);
  EXPECT_EQ(report.gpuInfos->back().modelName, "Second");
}

TEST(DisplaysReport, AbsentMembersHaveNoValueOrAreZero) {
  EXPECT_EQ(processorOf("{}"), ZDGPUInfo{});
}

TEST(DisplaysReport, VramIsTheSharedOneOrWithoutItsKeyTheOther) {
  EXPECT_EQ(processorOf(R"({"spdisplays_vram":"1536 MB"})").vram, "1536 MB");
  EXPECT_EQ(processorOf(R"({"spdisplays_vram_shared":"","spdisplays_vram":"1 GB"})").vram, "");
  EXPECT_EQ(processorOf(R"({"spdisplays_vram_shared":null,"spdisplays_vram":"1 GB"})").vram,
            std::nullopt);
}

TEST(DisplaysReport, CoresAreATextOrANumber) {
  EXPECT_EQ(processorOf(R"({"sppci_cores":"10"})").cores, 10);
  EXPECT_EQ(processorOf(R"({"sppci_cores":10})").cores, 10);
  EXPECT_EQ(processorOf(R"({"sppci_cores":-3})").cores, -3);
  EXPECT_EQ(processorOf(R"({"sppci_cores":9.9})").cores, 9);
  EXPECT_EQ(processorOf(R"({"sppci_cores":true})").cores, 1);
  EXPECT_EQ(processorOf(R"({"sppci_cores":"many"})").cores, 0);
  EXPECT_EQ(processorOf(R"({"sppci_cores":1e300})").cores, INT64_MAX);
  EXPECT_EQ(processorOf(R"({"sppci_cores":18446744073709551615})").cores, INT64_MAX);
}

TEST(DisplaysReport, CoresOfAnotherKindAreAFailure) {
  const auto withCores = [](const char* cores) {
    return reportOf(std::string(R"([{"sppci_cores":)") + cores + "}]");
  };
  expectFailure(withCores("null"), "sppci_cores is not a number but null");
  expectFailure(withCores("[]"), "sppci_cores is not a number but array");
  expectFailure(withCores("{}"), "sppci_cores is not a number but object");
}

TEST(DisplaysReport, NumbersWhereTextsAreExpectedHaveNoValue) {
  EXPECT_EQ(processorOf(R"({"sppci_model":5,"spdisplays_vendor":{},"spdisplays_vram":1536})"),
            ZDGPUInfo{});
}

TEST(DisplaysReport, AReportWithoutTheListIsAnEmptyList) {
  EXPECT_EQ(parseDisplaysReport("{}").gpuInfos, std::vector<ZDGPUInfo>{});
  EXPECT_EQ(parseDisplaysReport(R"({"SPHardwareDataType":[]})").gpuInfos, std::vector<ZDGPUInfo>{});
  EXPECT_EQ(parseDisplaysReport(reportOf("[]")).gpuInfos, std::vector<ZDGPUInfo>{});
}

TEST(DisplaysReport, AListOrAnEntryOfAnotherKindIsAFailure) {
  expectFailure("[]", "the report is not an object but array");
  expectFailure(reportOf("null"), "SPDisplaysDataType is not an array but null");
  expectFailure(reportOf("\"x\""), "SPDisplaysDataType is not an array but string");
  expectFailure(reportOf("{}"), "SPDisplaysDataType is not an array but object");
  expectFailure(reportOf("[{},[]]"), "an entry is not an object but array");
  expectFailure(reportOf("[1]"), "an entry is not an object but number");
}

TEST(DisplaysReport, ATextThatIsNotJSONGivesNoList) {
  for (const char* text :
       {"", "system_profiler: error", "{", "5", "\"text\"", "null",
        R"({"SPDisplaysDataType":[]} trailing)", "{\"a\":\"\xff\"}", R"({"a":1e999})"}) {
    expectNothing(text);
  }
}

TEST(DisplaysReport, ATextThatIsNestedTooDeeplyGivesNoList) {
  const std::string deep(513, '[');
  expectNothing(deep + std::string(513, ']'));
  expectNothing(std::string(10 << 20, '['));
  std::string objects;
  for (int level = 0; level < 1'000'000; ++level) {
    objects += "{\"a\":";
  }
  expectNothing(objects);
}

TEST(DisplaysReport, DepthCountsOutsideTextsOnlyAndClosesAgain) {
  const std::string brackets(600, '[');
  EXPECT_EQ(processorOf(R"({"sppci_model":"\")" + brackets + "\"}").modelName, "\"" + brackets);
  std::string entries = "[{}";
  for (int entry = 1; entry < 600; ++entry) {
    entries += ",{}";
  }
  EXPECT_EQ(parseDisplaysReport(reportOf(entries + "]")).gpuInfos->size(), 600U);
  const std::string nested = std::string(509, '[') + std::string(509, ']');
  EXPECT_EQ(processorOf(R"({"other":)" + nested + "}"), ZDGPUInfo{});
}

TEST(DisplaysReport, TenMegabytesAreRead) {
  const std::string large(10 << 20, 'x');
  EXPECT_EQ(processorOf(R"({"sppci_model":")" + large + "\"}").modelName, large);
}

}  // namespace
}  // namespace kelvora
