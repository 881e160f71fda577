#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fans/FanLeaseRules.h"
#include "tests/fans/LeaseNames.h"

namespace kelvora::testing {
namespace {

std::string document() {
  std::ifstream file(std::filesystem::path(KELVORA_TEST_DATA).parent_path() / "docs/fans.md");
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

template <typename Row>
std::string lineOf(const Row& row) {
  return std::string("| ") + nameOf(row.state) + " | " + nameOf(row.event) + " | " +
         nameOf(row.next) + " | " + nameOf(row.action) + " |\n";
}

template <typename Row>
std::string tableOf(std::span<const Row> rules) {
  std::string table = "| state | event | next state | action |\n|---|---|---|---|\n";
  for (const Row& row : rules) {
    table += lineOf(row);
  }
  return table;
}

TEST(FanLeaseDocument, ShowsTheTablesAsTheyAre) {
  const std::string text = document();
  const std::string holder = tableOf(holderRules());
  const std::string guardian = tableOf(guardianRules());
  EXPECT_NE(text.find("\n" + holder + "\n"), std::string::npos) << holder;
  EXPECT_NE(text.find("\n" + guardian + "\n"), std::string::npos) << guardian;
}

template <typename Row>
void expectOneRowForEach(std::span<const Row> rules) {
  std::set<std::string> cells;
  for (const Row& row : rules) {
    EXPECT_TRUE(cells.insert(std::string(nameOf(row.state)) + "/" + nameOf(row.event)).second)
        << lineOf(row);
  }
}

TEST(FanLeaseRules, AStateHasOneRowForAnEvent) {
  expectOneRowForEach(holderRules());
  expectOneRowForEach(guardianRules());
  EXPECT_EQ(holderRules().size(), 19U);
  EXPECT_EQ(guardianRules().size(), 13U);
}

}  // namespace
}  // namespace kelvora::testing
