#include "sensors/KeyIndex.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

TEST(KeyIndex, TellsKeysOfEveryLengthApart) {
  const std::string longest(40, 'x');
  KeyIndex index;
  for (std::uint32_t length = 0; length <= longest.size(); ++length) {
    index.at(longest.substr(0, length)).exact = length;
  }
  for (std::uint32_t length = 0; length <= longest.size(); ++length) {
    EXPECT_EQ(index.find(longest.substr(0, length)).exact, length);
  }
  EXPECT_EQ(index.find(longest + "x").exact, KeyMatch::kNone);
}

TEST(KeyIndex, TellsKeysWithNULBytesApart) {
  using namespace std::string_view_literals;
  KeyIndex index;
  index.at("TC").exact = 1;
  index.at("TC\0\0"sv).exact = 2;
  EXPECT_EQ(index.find("TC").exact, 1U);
  EXPECT_EQ(index.find("TC\0\0"sv).exact, 2U);
  EXPECT_EQ(index.find("TC\0"sv).exact, KeyMatch::kNone);
  EXPECT_EQ(index.find("\0"sv).exact, KeyMatch::kNone);
  EXPECT_EQ(index.find("").exact, KeyMatch::kNone);
}

TEST(KeyIndex, KeepsItsKeysWhileItGrows) {
  KeyIndex index;
  for (std::uint32_t i = 0; i < 20000; ++i) {
    index.at(std::to_string(i)).pattern = i;
  }
  for (std::uint32_t i = 0; i < 20000; ++i) {
    EXPECT_EQ(index.find(std::to_string(i)).pattern, i);
    EXPECT_EQ(index.find(std::to_string(i)).exact, KeyMatch::kNone);
  }
  EXPECT_EQ(index.find("20000").pattern, KeyMatch::kNone);
  EXPECT_EQ(index.at("7").pattern, 7U);
}

}  // namespace
}  // namespace kelvora
