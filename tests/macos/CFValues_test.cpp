#include "platforms/macos/CFValues.h"

#include <cmath>
#include <limits>

#include "tests/macos/frameworks/MacTest.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {
namespace {

using platform::CFOwned;
using platform::makeObject;
using platform::makeText;
using platform::valueOf;

using CFValues = MacTest;

std::optional<PropertyListValue> backAndForth(const PropertyListValue& value) {
  return valueOf(makeObject(value).get());
}

// A value inside so many arrays.
PropertyListValue nested(PropertyListValue value, int arrays) {
  for (int i = 0; i < arrays; ++i) {
    PropertyListValue::Array outer;
    outer.push_back(std::move(value));
    value = std::move(outer);
  }
  return value;
}

int depthOf(const PropertyListValue& value) {
  const auto* array = value.as<PropertyListValue::Array>();
  return array == nullptr || array->empty() ? array != nullptr : 1 + depthOf(array->front());
}

TEST_F(CFValues, EveryKindOfValueKeepsItsKind) {
  for (const PropertyListValue& value :
       {PropertyListValue(true), PropertyListValue(false), PropertyListValue(1),
        PropertyListValue(0), PropertyListValue(std::numeric_limits<std::int64_t>::min()),
        PropertyListValue(std::numeric_limits<std::int64_t>::max()), PropertyListValue(1.0),
        PropertyListValue(-0.1), PropertyListValue(""), PropertyListValue("Grüße 🦊"),
        PropertyListValue(PropertyListValue::Data{}),
        PropertyListValue(PropertyListValue::Data{std::byte{0}, std::byte{255}}),
        PropertyListValue(PropertyListValue::Array{}),
        PropertyListValue(PropertyListValue::Array{1, true, "a", PropertyListValue::Array{}}),
        PropertyListValue(PropertyListValue::Dictionary{}),
        PropertyListValue(PropertyListValue::Dictionary{
            {"a", 1}, {"b", PropertyListValue::Dictionary{{"c", 2.5}}}})}) {
    EXPECT_EQ(backAndForth(value), value);
  }
}

TEST_F(CFValues, TruthValuesAreTheTwoTruthObjects) {
  EXPECT_EQ(makeObject(true).get(), kCFBooleanTrue);
  EXPECT_EQ(makeObject(false).get(), kCFBooleanFalse);
  EXPECT_EQ(CFGetTypeID(makeObject(1).get()), CFNumberGetTypeID());
}

TEST_F(CFValues, AFloatingPointNumberStaysOneEvenIfItIsWhole) {
  EXPECT_TRUE(CFNumberIsFloatType(static_cast<CFNumberRef>(makeObject(3.0).get())));
  EXPECT_FALSE(CFNumberIsFloatType(static_cast<CFNumberRef>(makeObject(3).get())));
  EXPECT_TRUE(std::isnan(*backAndForth(std::nan(""))->as<double>()));
}

TEST_F(CFValues, AnUnsignedNumberBeyondTheSignedOnesGivesItsBits) {
  const CFOwned<CFTypeRef> number(referenceTo<CFTypeRef>(
      Objects::shared().create<Number>(std::uint64_t{0xfffffffffffffc18}, true)));
  EXPECT_EQ(valueOf(number.get()), PropertyListValue(-1000));
}

TEST_F(CFValues, ATextKeepsAnEmbeddedNul) {
  const std::string text("a\0b", 3);
  EXPECT_EQ(platform::textOf(makeText(text).get()), text);
  EXPECT_EQ(CFStringGetLength(makeText(text).get()), 3);
}

TEST_F(CFValues, BytesThatAreNotTextBecomeTheReplacementCharacter) {
  EXPECT_EQ(platform::textOf(makeText("a\xff"
                                      "b")
                                 .get()),
            "a\uFFFDb");
  const CFOwned<CFStringRef> lone(
      referenceTo<CFStringRef>(Objects::shared().create<String>(u"a\xd83e"
                                                                u"b")));
  EXPECT_EQ(platform::textOf(lone.get()), "a\uFFFDb");
}

TEST_F(CFValues, ADateIsExactToTheMicrosecond) {
  using std::chrono::system_clock;
  const system_clock::time_point reference = std::chrono::sys_days(std::chrono::year{2001} / 1 / 1);
  const auto object = makeObject(reference + std::chrono::milliseconds(1500));
  EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object.get())), 1.5);
  for (const auto moment :
       {std::chrono::microseconds(0), std::chrono::microseconds(1'794'000'000'123'457),
        std::chrono::microseconds(-1'000'000'000'000'001)}) {
    const PropertyListValue value(system_clock::time_point{} + moment);
    EXPECT_EQ(backAndForth(value), value);
  }
}

TEST_F(CFValues, ADateBeyondTheClockIsTheFurthestThatItKnows) {
  using Date = PropertyListValue::Date;
  const auto yearOf = [](CFAbsoluteTime time) {
    const CFOwned<CFDateRef> date(CFDateCreate(kCFAllocatorDefault, time));
    const auto days = std::chrono::floor<std::chrono::days>(*valueOf(date.get())->as<Date>());
    return static_cast<int>(std::chrono::year_month_day(days).year());
  };
  EXPECT_EQ(yearOf(1e300), 2201);
  EXPECT_EQ(yearOf(-1e300), 1800);
  EXPECT_EQ(yearOf(std::nan("")), 2001);
}

TEST_F(CFValues, ObjectsOfOtherKindsAreLeftOut) {
  const std::string path = "/a";
  const CFOwned<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), 2, false));
  EXPECT_EQ(valueOf(url.get()), std::nullopt);
  EXPECT_EQ(valueOf(nullptr), std::nullopt);

  const CFOwned<CFMutableArrayRef> array(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(array.get(), url.get());
  CFArrayAppendValue(array.get(), kCFBooleanTrue);
  EXPECT_EQ(valueOf(array.get()), PropertyListValue(PropertyListValue::Array{true}));

  const CFOwned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(dictionary.get(), CFSTR("url"), url.get());
  CFDictionarySetValue(dictionary.get(), kCFBooleanTrue, kCFBooleanTrue);
  CFDictionarySetValue(dictionary.get(), CFSTR("truth"), kCFBooleanTrue);
  EXPECT_EQ(platform::dictionaryOf(dictionary.get()),
            (PropertyListValue::Dictionary{{"truth", true}}));
  EXPECT_TRUE(platform::dictionaryOf(nullptr).empty());
}

TEST_F(CFValues, AnObjectIsSeenAsItsKindOnly) {
  const auto dictionary = makeObject(PropertyListValue::Dictionary{});
  EXPECT_EQ(platform::asText(CFSTR("a")), CFSTR("a"));
  EXPECT_EQ(platform::asText(dictionary.get()), nullptr);
  EXPECT_EQ(platform::asText(nullptr), nullptr);
  EXPECT_EQ(platform::asDictionary(dictionary.get()), dictionary.get());
  EXPECT_EQ(platform::asDictionary(CFSTR("a")), nullptr);
  EXPECT_EQ(platform::asDictionary(nullptr), nullptr);
}

TEST_F(CFValues, WhatNestsTooDeeplyIsLeftOut) {
  EXPECT_EQ(backAndForth(nested(1, 100)), nested(1, 100));
  EXPECT_EQ(backAndForth(nested(1, 101)), nested(PropertyListValue::Array{}, 100));
  CFOwned<CFMutableArrayRef> deep;
  for (int i = 0; i < 150; ++i) {
    CFOwned<CFMutableArrayRef> outer(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    if (deep) {
      CFArrayAppendValue(outer.get(), deep.get());
    }
    deep = std::move(outer);
  }
  EXPECT_EQ(depthOf(*valueOf(deep.get())), 101);
}

TEST_F(CFValues, AnyFailedCreationGivesNullAndLeaksNothing) {
  const PropertyListValue value(
      PropertyListValue::Dictionary{{"array", PropertyListValue::Array{1, 2.5, "text"}},
                                    {"data", PropertyListValue::Data{std::byte{1}}},
                                    {"date", PropertyListValue::Date{}}});
  for (const char* function :
       {"CFDictionaryCreateMutable", "CFArrayCreateMutable", "CFNumberCreate",
        "CFStringCreateWithBytes", "CFDataCreate", "CFDateCreate"}) {
    const int before = ledger.callCount(function);
    ASSERT_TRUE(makeObject(value));
    const int calls = ledger.callCount(function) - before;
    ASSERT_GT(calls, 0);
    for (int number = 1; number <= calls; ++number) {
      ledger.failCall(function, number);
      EXPECT_FALSE(makeObject(value)) << function << " " << number;
    }
    ledger.failNothing();
  }
}

}  // namespace
}  // namespace kelvora::testing::mac
