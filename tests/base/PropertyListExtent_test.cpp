#include "base/PropertyListExtent.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "base/PropertyListFile.h"

namespace kelvora {
namespace {

// A binary property list of these objects; the root is the first. References take two bytes.
std::vector<std::byte> listOf(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::vector<std::size_t> offsets;
  for (const std::string& object : objects) {
    offsets.push_back(bytes.size());
    bytes += object;
  }
  const auto append = [&](std::size_t number, int width) {
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
      bytes += static_cast<char>(number >> static_cast<unsigned>(shift));
    }
  };
  const std::size_t table = bytes.size();
  for (const std::size_t offset : offsets) {
    append(offset, 8);
  }
  bytes.append(6, '\0').append("\x08\x02");
  append(objects.size(), 8);
  append(0, 8);
  append(table, 8);
  const auto span = std::as_bytes(std::span(bytes));
  return {span.begin(), span.end()};
}

// The marker of an object of that kind with a length of four bytes.
std::string marker(int kind, std::size_t length) {
  std::string bytes = {static_cast<char>(kind << 4 | 0xF), '\x12'};
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    bytes += static_cast<char>(length >> shift);
  }
  return bytes;
}

std::string references(std::size_t index, std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) {
    bytes += static_cast<char>(index / 256);
    bytes += static_cast<char>(index % 256);
  }
  return bytes;
}

constexpr int kArray = 0xA;
constexpr int kSet = 0xC;
constexpr int kDictionary = 0xD;
const std::string kTrue = "\x09";

std::string containerOf(int kind, std::size_t index, std::size_t count) {
  return marker(kind, count) + references(index, kind == kDictionary ? 2 * count : count);
}

// `levels` arrays of `count` references to the next one, and a boolean.
std::vector<std::byte> nest(std::size_t levels, std::size_t count, int kind = kArray) {
  std::vector<std::string> objects;
  for (std::size_t level = 1; level <= levels; ++level) {
    objects.push_back(containerOf(kind, level, count));
  }
  objects.push_back(kTrue);
  return listOf(objects);
}

TEST(PropertyListExtent, ListsThatReferToEachOtherManyTimesUnfoldTooFar) {
  EXPECT_FALSE(propertyListUnfoldsTooFar(nest(3, 10)));
  for (const int kind : {kArray, kSet}) {
    EXPECT_TRUE(propertyListUnfoldsTooFar(nest(30, 2, kind))) << kind;
    EXPECT_TRUE(propertyListUnfoldsTooFar(nest(490, 40, kind))) << kind;
  }
}

TEST(PropertyListExtent, KeysAndValuesOfDictionariesUnfold) {
  const std::string text = marker(5, 20'000) + std::string(20'000, 'a');
  const std::vector<std::byte> once = listOf({containerOf(kDictionary, 1, 1), text});
  EXPECT_FALSE(propertyListUnfoldsTooFar(once));
  EXPECT_TRUE(propertyListUnfoldsTooFar(listOf({containerOf(kDictionary, 1, 50), text})));
}

TEST(PropertyListExtent, AsManyValuesAsBytesAnd65536MoreAreAllowed) {
  // The outer array, and in it so many arrays of 1000 booleans.
  const auto list = [](std::size_t count) {
    return listOf({containerOf(kArray, 1, count), containerOf(kArray, 2, 1000), kTrue});
  };
  // 65,536 and 2,208 bytes: 67 arrays of 1001 values and their container are 67,068 values.
  EXPECT_FALSE(propertyListUnfoldsTooFar(list(67)));
  EXPECT_TRUE(propertyListUnfoldsTooFar(list(68)));
}

TEST(PropertyListExtent, LongTextsAndDataMayBeReferredToSixteenTimesAndMore) {
  for (const int kind : {4, 5, 6}) {
    const std::string object =
        marker(kind, kind == 6 ? 50'000 : 100'000) + std::string(100'000, 'a');
    EXPECT_FALSE(propertyListUnfoldsTooFar(listOf({containerOf(kArray, 1, 26), object}))) << kind;
    EXPECT_TRUE(propertyListUnfoldsTooFar(listOf({containerOf(kArray, 1, 27), object}))) << kind;
  }
}

TEST(PropertyListExtent, MoreThanFiveHundredLevelsAreTooFar) {
  EXPECT_FALSE(propertyListUnfoldsTooFar(nest(499, 1)));
  EXPECT_TRUE(propertyListUnfoldsTooFar(nest(500, 1)));
  EXPECT_TRUE(propertyListUnfoldsTooFar(nest(60'000, 1)));
}

TEST(PropertyListExtent, LevelsCountFromTheRootAlsoForAnObjectThatWasMeasuredBefore) {
  // The root refers to a short way and to a long way that both lead to the same nest.
  std::vector<std::string> objects = {marker(kArray, 2) + references(301, 1) + references(1, 1)};
  for (std::size_t level = 2; level <= 300; ++level) {
    objects.push_back(containerOf(kArray, level, 1));
  }
  objects.push_back(containerOf(kArray, 301, 1));
  for (std::size_t level = 302; level <= 500; ++level) {
    objects.push_back(containerOf(kArray, level, 1));
  }
  objects.push_back(kTrue);
  EXPECT_TRUE(propertyListUnfoldsTooFar(listOf(objects)));
}

TEST(PropertyListExtent, TheRootNeedNotBeTheFirstObject) {
  std::vector<std::byte> bytes = nest(30, 2);
  bytes[bytes.size() - 9] = std::byte{20};  // the root: ten arrays are below it
  EXPECT_FALSE(propertyListUnfoldsTooFar(bytes));
  bytes[bytes.size() - 9] = std::byte{5};
  EXPECT_TRUE(propertyListUnfoldsTooFar(bytes));
}

TEST(PropertyListExtent, ACycleIsTooFar) {
  EXPECT_TRUE(propertyListUnfoldsTooFar(listOf({containerOf(kArray, 0, 1)})));
}

TEST(PropertyListExtent, WhatLiesOutsideTheBytesHasNoParts) {
  EXPECT_FALSE(propertyListUnfoldsTooFar(listOf({containerOf(kArray, 9, 3)})));
  EXPECT_FALSE(propertyListUnfoldsTooFar(listOf({marker(kArray, 90'000'000)})));
  EXPECT_FALSE(propertyListUnfoldsTooFar(listOf({})));
}

TEST(PropertyListExtent, AnXMLListDoesNotUnfold) {
  const std::string_view xml = "<plist><array/></plist>";
  EXPECT_FALSE(propertyListUnfoldsTooFar(std::as_bytes(std::span(xml))));
}

TEST(PropertyListExtent, AListThatUnfoldsTooFarIsRefusedWithAReason) {
  EXPECT_EQ(parsePropertyList(nest(60, 2)).failure, "unfolds to far more than its bytes");
}

}  // namespace
}  // namespace kelvora
