#include "base/PropertyListText.h"

#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace kelvora::platform {
namespace {

using namespace std::string_view_literals;

bool holdsNul(std::string_view text) {
  return propertyListTextHoldsNul(std::as_bytes(std::span(text)));
}

// A binary property list of one object, whose offset takes so many bytes.
std::string binaryListOf(std::string_view object, char offsetWidth = 1) {
  const std::string header = "bplist00";
  std::string bytes = header + std::string(object);
  const auto table = static_cast<char>(bytes.size());
  bytes.append(static_cast<std::size_t>(offsetWidth - 1), '\0');
  bytes += static_cast<char>(header.size());                       // where the object is
  bytes.append(6, '\0').append(1, offsetWidth).append(1, '\x01');  // and the width of a reference
  bytes.append(7, '\0').append(1, '\x01');                         // one object
  bytes.append(8, '\0');                                           // the root is the first
  return bytes.append(7, '\0').append(1, table);
}

TEST(PropertyListText, ANulAnywhereInALongTextIsSeen) {
  const std::string letters(20, 'a');
  EXPECT_FALSE(holdsNul(binaryListOf("\x5f\x10\x14" + letters)));
  for (std::size_t at = 0; at < letters.size(); ++at) {
    std::string damaged = letters;
    damaged[at] = '\0';
    EXPECT_TRUE(holdsNul(binaryListOf("\x5f\x10\x14" + damaged))) << at;
  }
}

TEST(PropertyListText, ALengthMayTakeSeveralBytes) {
  const std::string length("\x5f\x12\x00\x00\x00\x14"sv);
  EXPECT_FALSE(holdsNul(binaryListOf(length + std::string(20, 'a'))));
  EXPECT_TRUE(holdsNul(binaryListOf(length + std::string(19, 'a') + '\0')));
}

TEST(PropertyListText, ATextWhoseLengthIsCutOffCountsAsNone) {
  EXPECT_FALSE(holdsNul(binaryListOf("\x5f\x1f")));
}

TEST(PropertyListText, AnOffsetTakesEightBytesAtMost) {
  EXPECT_TRUE(holdsNul(binaryListOf("\x51\x00"sv, 8)));
  EXPECT_FALSE(holdsNul(binaryListOf("\x51\x00"sv, 9)));
}

TEST(PropertyListText, ZeroBytesOfTwoCharactersAreNotANul) {
  EXPECT_FALSE(holdsNul(binaryListOf("\x62\x01\x00\x00\x41"sv)));
  EXPECT_TRUE(holdsNul(binaryListOf("\x62\x01\x00\x00\x00"sv)));
}

TEST(PropertyListText, ATextThatEndsBehindTheBytesCountsAsNone) {
  // The trailer has zeros, but no text reaches into it without an end.
  std::string bytes = binaryListOf("\x5f\x10\x00"sv);
  bytes[10] = static_cast<char>(bytes.size() - 10);
  EXPECT_FALSE(holdsNul(bytes));
  bytes[10] = static_cast<char>(bytes.size() - 11);
  EXPECT_TRUE(holdsNul(bytes));
}

TEST(PropertyListText, AZeroByteInXMLIsANul) {
  EXPECT_TRUE(holdsNul("<plist><string>a\0b</string></plist>"sv));
  EXPECT_FALSE(holdsNul("<plist><string>ab</string></plist>"));
}

TEST(PropertyListText, EveryReferenceToACharacterIsRead) {
  EXPECT_TRUE(holdsNul("<key>&#65;&#x42;&#0;</key>"));
  for (const char* reference : {"&#01;", "&#x0A;", "&#10;", "&#;", "&#x;", "&0;"}) {
    EXPECT_FALSE(holdsNul("<key>" + std::string(reference) + "</key>")) << reference;
  }
}

}  // namespace
}  // namespace kelvora::platform
