#include "sysinfo/HardwareReport.h"

#include <string>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

HardwareReport hardwareReportOf(const std::string& entries) {
  return parseHardwareReport(R"({"SPHardwareDataType":)" + entries + "}");
}

void expectNothing(const HardwareReport& report) {
  EXPECT_EQ(report.modelNumber, std::nullopt);
  EXPECT_EQ(report.serial, std::nullopt);
  EXPECT_EQ(report.fallbackName, std::nullopt);
}

TEST(HardwareReport, ReportsNumberSerialAndAFallbackName) {
  const auto report = hardwareReportOf(R"([{"machine_name":"MacBook Pro","chip_type":"Apple M9",
      "model_number":"Z12N","serial_number":"C02"},{"serial_number":"second"}])");
  EXPECT_EQ(report.modelNumber, "Z12N");
  EXPECT_EQ(report.serial, "C02");
  EXPECT_EQ(report.fallbackName, "MacBook Pro (M9)");
}

TEST(HardwareReport, EveryAppleOfTheChipIsRemovedWhateverItsCase) {
  EXPECT_EQ(hardwareReportOf(R"([{"machine_name":"Apple Mac","chip_type":"apple APPLE M9"}])")
                .fallbackName,
            "Apple Mac (M9)");
}

TEST(HardwareReport, TheFallbackNameNeedsBothParts) {
  const auto intel = hardwareReportOf(R"([{"machine_name":"iMac","serial_number":"C02"}])");
  EXPECT_EQ(intel.fallbackName, std::nullopt);
  EXPECT_EQ(intel.serial, "C02");
  EXPECT_EQ(hardwareReportOf(R"([{"chip_type":"Apple M9"}])").fallbackName, std::nullopt);
  EXPECT_EQ(hardwareReportOf(R"([{"machine_name":5,"chip_type":"Apple M9"}])").fallbackName,
            std::nullopt);
}

TEST(HardwareReport, ReportsOfAnotherShapeGiveNoFacts) {
  for (const char* entries : {"[]", "{}", "null", "\"x\"", "[null]", "[[]]", "[\"x\"]", "[5]",
                              R"([{"serial_number":5,"model_number":null}])"}) {
    expectNothing(hardwareReportOf(entries));
  }
}

TEST(HardwareReport, TextsThatAreNotAReportGiveNoFacts) {
  for (const char* text : {"", "not JSON", "[]", "5", "{}", "{\"SPHardwareDataType\":",
                           "{\"SPHardwareDataType\":[{\"serial_number\":\"\xff\"}]}"}) {
    expectNothing(parseHardwareReport(text));
  }
  expectNothing(parseHardwareReport(std::string(10 << 20, '[')));
}

}  // namespace
}  // namespace kelvora
