// The doubles themselves: what they refuse, count and record.
#include <limits>

#include <gtest/gtest-spi.h>

#include "platforms/macos/CFOwned.h"
#include "platforms/macos/CFValues.h"
#include "tests/macos/frameworks/MacTest.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {
namespace {

using platform::CFOwned;
using platform::makeText;

using Doubles = MacTest;

TEST_F(Doubles, AnObjectIsOpenUntilItsLastOwnerReleasesIt) {
  CFStringRef text = newString("a");
  CFRetain(text);
  CFRelease(text);
  EXPECT_EQ(ledger.open(), (std::map<std::string, int>{{"CFString", 1}}));
  CFRelease(text);
  EXPECT_TRUE(ledger.open().empty());
}

TEST_F(Doubles, AReleaseTooManyAndALaterUseFailTheTestWithTheCallsName) {
  static CFStringRef text = newString("a");
  CFRelease(text);
  EXPECT_NONFATAL_FAILURE(CFRelease(text), "CFRelease: a CFString is used after its last release");
  EXPECT_NONFATAL_FAILURE(CFStringGetLength(text), "CFStringGetLength: a CFString is used after");
  EXPECT_NONFATAL_FAILURE(CFRetain(nullptr), "CFRetain: null is no object");
  static int number = 0;
  EXPECT_NONFATAL_FAILURE(CFRetain(&number), "CFRetain: what was passed is no object");
}

TEST_F(Doubles, AnObjectOfAGetFunctionIsNotTheProgramsToRelease) {
  const CFOwned<CFMutableArrayRef> array(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(array.get(), makeText("a").get());
  static const void* item = CFArrayGetValueAtIndex(array.get(), 0);
  EXPECT_NONFATAL_FAILURE(CFRelease(item), "a CFString is released that the program does not own");
  CFRelease(CFRetain(item));
}

TEST_F(Doubles, AContainerHoldsItsItemsAndLetsThemGo) {
  static CFOwned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  static const void* value = nullptr;
  {
    const auto key = makeText("key");
    CFDictionarySetValue(dictionary.get(), key.get(), makeText("value").get());
    value = CFDictionaryGetValue(dictionary.get(), key.get());
  }
  EXPECT_EQ(described(dictionary.get()), R"({"key": "value"})");
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("other")), nullptr);
  CFDictionarySetValue(dictionary.get(), CFSTR("key"), kCFBooleanTrue);
  EXPECT_NONFATAL_FAILURE(CFGetTypeID(value), "a CFString is used after its last release");
  EXPECT_EQ(described(dictionary.get()), R"({"key": true})");
  dictionary = {};
}

TEST_F(Doubles, AnObjectOfTheWrongTypeFailsTheTestWithTheCallsName) {
  static const CFTypeRef text = CFSTR("12");
  static std::int64_t whole = 0;
  EXPECT_NONFATAL_FAILURE(
      CFNumberGetValue(static_cast<CFNumberRef>(text), kCFNumberSInt64Type, &whole),
      "CFNumberGetValue: a CFString is of the wrong type");
  EXPECT_NONFATAL_FAILURE(CFArrayGetCount(static_cast<CFArrayRef>(text)),
                          "CFArrayGetCount: a CFString is of the wrong type");
}

TEST_F(Doubles, WhatIsNotWithinAContainerFailsTheTest) {
  const CFOwned<CFMutableArrayRef> owner(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  static CFMutableArrayRef array;
  array = owner.get();
  EXPECT_NONFATAL_FAILURE(CFArrayGetValueAtIndex(array, 0), "the index is not within the array");
  static UniChar unit = 0;
  EXPECT_NONFATAL_FAILURE(CFStringGetCharacters(CFSTR(""), {0, 1}, &unit),
                          "the range is not within the text");
}

TEST_F(Doubles, ConstantTextsAreOneObjectEachAndNeedNoRelease) {
  EXPECT_EQ(CFSTR("a"), CFSTR("a"));
  EXPECT_NE(CFSTR("a"), CFSTR("b"));
  CFRetain(CFSTR("a"));
  CFRelease(CFSTR("a"));
  CFRelease(CFSTR("a"));
}

TEST_F(Doubles, KeysAreEqualByKindAndContent) {
  const CFOwned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  const auto key = [](const PropertyListValue& value) { return platform::makeObject(value); };
  CFDictionarySetValue(dictionary.get(), key(PropertyListValue::Array{1, "a", 2.5}).get(),
                       kCFBooleanTrue);
  const auto isFound = [&](const PropertyListValue& value) {
    return CFDictionaryGetValue(dictionary.get(), key(value).get()) != nullptr;
  };
  EXPECT_TRUE(isFound(PropertyListValue::Array{1, "a", 2.5}));
  EXPECT_FALSE(isFound(PropertyListValue::Array{1, "a"}));
  EXPECT_FALSE(isFound(PropertyListValue::Array{1, "b", 2.5}));
  EXPECT_FALSE(isFound(PropertyListValue::Array{2, "a", 2.5}));
  EXPECT_FALSE(isFound(PropertyListValue::Array{true, "a", 2.5}));
  EXPECT_FALSE(isFound(PropertyListValue::Dictionary{}));
}

TEST_F(Doubles, ANumberThatDoesNotFitIsApproximated) {
  const auto large = platform::makeObject(std::int64_t{1} << 40);
  const auto* number = static_cast<CFNumberRef>(large.get());
  std::int32_t small = -1;
  EXPECT_FALSE(CFNumberGetValue(number, kCFNumberSInt32Type, &small));
  EXPECT_EQ(small, 0);
  double real = 0;
  EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat64Type, &real));
  EXPECT_EQ(real, 1099511627776.0);
  const auto half = platform::makeObject(2.5);
  EXPECT_FALSE(CFNumberGetValue(static_cast<CFNumberRef>(half.get()), kCFNumberSInt32Type, &small));
  EXPECT_EQ(small, 2);
}

TEST_F(Doubles, APathIsWrittenWithItsNulWhereItFits) {
  const std::string path = "/Applications/a.app";
  const CFOwned<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
      static_cast<CFIndex>(path.size()), true));
  std::vector<UInt8> written(path.size() + 1, 'x');
  const auto size = static_cast<CFIndex>(written.size());
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), true, written.data(), size - 1));
  EXPECT_TRUE(CFURLGetFileSystemRepresentation(url.get(), true, written.data(), size));
  EXPECT_STREQ(reinterpret_cast<const char*>(written.data()), path.c_str());
}

TEST_F(Doubles, TheNthCallFailsOnceOrFromThenOn) {
  ledger.failCall("CFDataCreate", 2);
  const UInt8 byte = 1;
  const auto works = [&] {
    return static_cast<bool>(CFOwned<CFDataRef>(CFDataCreate(kCFAllocatorDefault, &byte, 1)));
  };
  EXPECT_TRUE(works());
  EXPECT_FALSE(works());
  EXPECT_TRUE(works());
  ledger.failCallsFrom("CFDataCreate", 2);
  EXPECT_TRUE(works());
  EXPECT_FALSE(works());
  EXPECT_FALSE(works());
  ledger.failNothing();
  EXPECT_TRUE(works());
  EXPECT_EQ(ledger.callCount("CFDataCreate"), 7);
}

TEST_F(Doubles, CallsAreRecordedWithTheirArguments) {
  ledger.called("First", 1, described(CFSTR("a")), described(nullptr));
  ledger.counted("Uncounted");
  ledger.called("Second");
  EXPECT_EQ(ledger.calls(), (std::vector<std::string>{R"(First(1, "a", null))", "Second()"}));
  ledger.forgetCalls();
  EXPECT_TRUE(ledger.calls().empty());
}

TEST_F(Doubles, ACallOnAnotherThreadFailsTheTestWhereItMatters) {
  ledger.requireMainThread("Present");
  EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(
      std::thread([] { Ledger::shared().requireMainThread("Present"); }).join(),
      "Present: not on the main thread");
}

}  // namespace
}  // namespace kelvora::testing::mac
