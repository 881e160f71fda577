// The overview as a person sees it, and as programs read it.

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class KelvoraOverview : public ::testing::Test {
 protected:
  KelvoraOverview() {
    setenv("XDG_CONFIG_HOME", folder_.path("config").c_str(), 1);
    setenv("NO_COLOR", "1", 1);
    unsetenv("KELVORA_MACHINE");
  }
  static std::string overviewOf(const std::string& machine) {
    return runKelvora({"overview", "--machine", machine}).standardOutput;
  }
  static std::string inTerminal(unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"overview", "--machine", "Macmini9,1"}, columns)
        .standardOutput;
  }
  std::string machineWith(const std::string& members) const {
    return folder_.write("machine.json",
                         R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64",
                             "title": "T")" +
                             members + "}");
  }

  const TemporaryFolder folder_;
};

TEST_F(KelvoraOverview, HasALineForEachItemInOrder) {
  EXPECT_EQ(overviewOf("Macmini9,1"),
            "Mac mini M1 2020 (recorded)\n"
            "\n"
            "  Model Identifier     Macmini9,1\n"
            "  Model Number         Z12N0004VLL/A\n"
            "  Model Year           2020\n"
            "  Serial Number        C02000000000\n"
            "  macOS                macOS Monterey (12.6.1)\n"
            "  Processor            Apple M1\n"
            "  Number of Cores      8 (4 performance, 4 efficiency)\n"
            "  Number of Threads    8\n"
            "  Graphics             Apple M1 (8 cores)\n"
            "  Memory               16 GB\n"
            "  Startup Disk         APPLE SSD AP0512Q Media (500.28 GB)\n"
            "  Battery Health       0%\n"
            "  Battery Cycle Count  0\n");
}

TEST_F(KelvoraOverview, FollowsTheLanguageOfTheSettings) {
  ASSERT_EQ(runKelvora({"settings", "set", "currentLanguage", "zh-Hans"}).status, 0);
  EXPECT_THAT(overviewOf("Macmini9,1"), HasSubstr("\n  型号标识符    Macmini9,1\n"));
  const json report =
      json::parse(runKelvora({"overview", "--machine", "Macmini9,1", "--json"}).standardOutput);
  EXPECT_EQ(report["overview"][0],
            (json{{"title", "型号标识符"}, {"value", "Macmini9,1"}, {"type", 0}}));
}

TEST_F(KelvoraOverview, ChangesNothingInTheAccount) {
  overviewOf("Macmini9,1");
  EXPECT_FALSE(std::filesystem::exists(folder_.path("config")));
}

TEST_F(KelvoraOverview, ShowsADashForWhatIsNotReported) {
  const std::string file = machineWith(R"(, "sysctl": {"machdep.cpu.brand_string": "Intel"})");
  EXPECT_THAT(overviewOf(file), HasSubstr("\n  Model Identifier     –\n"));
  EXPECT_THAT(overviewOf(file), HasSubstr("\n  Serial Number        –\n"));
  const json report =
      json::parse(runKelvora({"overview", "--machine", file, "--json"}).standardOutput);
  EXPECT_EQ(report["overview"][2]["value"], nullptr);
}

TEST_F(KelvoraOverview, OfNothingIsAFailure) {
  const ProgramResult result = runKelvora({"overview", "--machine", machineWith("")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardOutput, HasSubstr("  macOS                macOS Unknown (0.0.0)\n"));
  EXPECT_THAT(result.standardError,
              HasSubstr("kelvora: T: nothing of the machine could be read\n"));
}

TEST_F(KelvoraOverview, CannotControlTheTerminal) {
  EXPECT_THAT(overviewOf(machineWith(R"(, "sysctl": {"hw.model": "a\u001b[31m\nb"})")),
              HasSubstr("  a?[31m?b\n"));
}

TEST_F(KelvoraOverview, FitsTheTerminal) {
  for (const unsigned short columns : std::initializer_list<unsigned short>{24, 36, 50, 80}) {
    const std::string report = inTerminal(columns);
    std::istringstream lines(report.substr(report.find("\n\n")));
    for (std::string line; std::getline(lines, line);) {
      EXPECT_LE(line.size(), columns) << line;
    }
    EXPECT_THAT(report, HasSubstr("Macmini9,1"));
  }
  EXPECT_THAT(inTerminal(40), HasSubstr("  Startup Disk         APPLE SSD AP0512Q\n"
                                        "                       Media (500.28 GB)\n"));
  EXPECT_THAT(inTerminal(35), HasSubstr("  Memory               16 GB\n"));
  EXPECT_THAT(inTerminal(34), HasSubstr("  Memory\n    16 GB\n"));
  EXPECT_THAT(inTerminal(32), HasSubstr("  Memory\n    16 GB\n"));
}

TEST_F(KelvoraOverview, TakesNoWords) {
  const ProgramResult result = runKelvora({"overview", "all"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.standardError, StartsWith("kelvora: "));
}

}  // namespace
}  // namespace kelvora::testing
