#include "platforms/macos/CFValues.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

#include <unicode/unistr.h>

#include "base/PropertyListFile.h"
#include "base/UTF8Text.h"

namespace kelvora::platform {

namespace {

// CFAbsoluteTime counts from 2001-01-01 00:00:00 UTC.
constexpr std::chrono::system_clock::time_point kReferenceDate =
    std::chrono::sys_days(std::chrono::year{2001} / 1 / 1);

std::optional<PropertyListValue> valueAt(CFTypeRef object, int level);

PropertyListValue numberOf(CFNumberRef number) {
  if (CFNumberIsFloatType(number) != 0) {
    double real = 0;
    CFNumberGetValue(number, kCFNumberFloat64Type, &real);
    return real;
  }
  // False for a number beyond the signed 64 bits; its low bits are there all the same.
  std::int64_t whole = 0;
  CFNumberGetValue(number, kCFNumberSInt64Type, &whole);
  return whole;
}

PropertyListValue dataOf(CFDataRef data) {
  const auto* bytes = reinterpret_cast<const std::byte*>(CFDataGetBytePtr(data));
  return PropertyListValue::Data(bytes, bytes + CFDataGetLength(data));
}

PropertyListValue dateOf(CFDateRef date) {
  using Microseconds = std::chrono::microseconds;
  using Clock = std::chrono::system_clock;
  // The clock counts nanoseconds: 292 years to either side of 1970. A bound of 200 years around
  // 2001 is within them.
  constexpr double kBoundSeconds = 200 * 365.25 * 86400;
  const double seconds = CFDateGetAbsoluteTime(date);
  const double kept = std::clamp(std::isnan(seconds) ? 0 : seconds, -kBoundSeconds, kBoundSeconds);
  return kReferenceDate +
         std::chrono::duration_cast<Clock::duration>(Microseconds(std::llround(kept * 1e6)));
}

PropertyListValue arrayOf(CFArrayRef array, int level) {
  PropertyListValue::Array values;
  const CFIndex count = CFArrayGetCount(array);
  for (CFIndex index = 0; index < count; ++index) {
    if (auto value = valueAt(CFArrayGetValueAtIndex(array, index), level + 1)) {
      values.push_back(std::move(*value));
    }
  }
  return values;
}

struct DictionaryReading {
  PropertyListValue::Dictionary values;
  int level;
};

void addPair(const void* key, const void* object, void* context) {
  auto& reading = *static_cast<DictionaryReading*>(context);
  auto value = valueAt(object, reading.level + 1);
  if (const CFStringRef name = asText(key); name != nullptr && value) {
    reading.values.insert_or_assign(textOf(name), std::move(*value));
  }
}

PropertyListValue::Dictionary dictionaryAt(CFDictionaryRef dictionary, int level) {
  DictionaryReading reading{{}, level};
  CFDictionaryApplyFunction(dictionary, &addPair, &reading);
  return std::move(reading.values);
}

std::optional<PropertyListValue> valueAt(CFTypeRef object, int level) {
  if (object == nullptr || level > kDeepestPropertyListLevel) {
    return std::nullopt;
  }
  const CFTypeID kind = CFGetTypeID(object);
  if (kind == CFBooleanGetTypeID()) {
    return CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0;
  }
  if (kind == CFNumberGetTypeID()) {
    return numberOf(static_cast<CFNumberRef>(object));
  }
  if (kind == CFStringGetTypeID()) {
    return textOf(static_cast<CFStringRef>(object));
  }
  if (kind == CFDataGetTypeID()) {
    return dataOf(static_cast<CFDataRef>(object));
  }
  if (kind == CFDateGetTypeID()) {
    return dateOf(static_cast<CFDateRef>(object));
  }
  if (kind == CFArrayGetTypeID()) {
    return arrayOf(static_cast<CFArrayRef>(object), level);
  }
  if (kind == CFDictionaryGetTypeID()) {
    return dictionaryAt(static_cast<CFDictionaryRef>(object), level);
  }
  return std::nullopt;
}

// Turns values into objects, each of which is null if memory is short.
struct ObjectMaker {
  int level;

  using Object = CFOwned<CFPropertyListRef>;
  Object operator()(bool truth) const {
    return Object::retained(truth ? kCFBooleanTrue : kCFBooleanFalse);
  }
  Object operator()(std::int64_t whole) const {
    return Object(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &whole));
  }
  Object operator()(double real) const {
    return Object(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &real));
  }
  Object operator()(const std::string& text) const { return Object(makeText(text).release()); }
  Object operator()(const PropertyListValue::Data& data) const {
    return Object(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(data.data()),
                               static_cast<CFIndex>(data.size())));
  }
  Object operator()(PropertyListValue::Date date) const {
    const std::chrono::duration<double> elapsed = date - kReferenceDate;
    return Object(CFDateCreate(kCFAllocatorDefault, elapsed.count()));
  }
  Object operator()(const PropertyListValue::Array& values) const {
    CFOwned<CFMutableArrayRef> array(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const PropertyListValue& value : allowed(values)) {
      const Object item = inside(value);
      if (!array || !item) {
        return Object();
      }
      CFArrayAppendValue(array.get(), item.get());
    }
    return Object(array.release());
  }
  Object operator()(const PropertyListValue::Dictionary& values) const {
    CFOwned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [key, value] : allowed(values)) {
      const auto name = makeText(key);
      const Object item = inside(value);
      if (!dictionary || !name || !item) {
        return Object();
      }
      CFDictionarySetValue(dictionary.get(), name.get(), item.get());
    }
    return Object(dictionary.release());
  }

 private:
  // The items of a container at this level: none at the deepest.
  template <typename Container>
  const Container& allowed(const Container& values) const {
    static const Container kNothing;
    return level < kDeepestPropertyListLevel ? values : kNothing;
  }
  Object inside(const PropertyListValue& value) const {
    return std::visit(ObjectMaker{level + 1}, value.storage());
  }
};

bool isOf(CFTypeID kind, CFTypeRef object) {
  return object != nullptr && CFGetTypeID(object) == kind;
}

}  // namespace

std::string textOf(CFStringRef text) {
  std::vector<UniChar> units(static_cast<std::size_t>(CFStringGetLength(text)));
  CFStringGetCharacters(text, CFRange{0, static_cast<CFIndex>(units.size())}, units.data());
  std::string result;
  icu::UnicodeString(reinterpret_cast<const char16_t*>(units.data()),
                     static_cast<std::int32_t>(units.size()))
      .toUTF8String(result);
  return result;
}

CFOwned<CFStringRef> makeText(std::string_view text) {
  const std::string valid = validUTF8(text);
  return CFOwned<CFStringRef>(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(valid.data()),
                              static_cast<CFIndex>(valid.size()), kCFStringEncodingUTF8, false));
}

CFStringRef asText(CFTypeRef object) {
  return isOf(CFStringGetTypeID(), object) ? static_cast<CFStringRef>(object) : nullptr;
}

CFDictionaryRef asDictionary(CFTypeRef object) {
  return isOf(CFDictionaryGetTypeID(), object) ? static_cast<CFDictionaryRef>(object) : nullptr;
}

std::optional<PropertyListValue> valueOf(CFTypeRef object) { return valueAt(object, 0); }

PropertyListValue::Dictionary dictionaryOf(CFDictionaryRef dictionary) {
  return dictionary == nullptr ? PropertyListValue::Dictionary() : dictionaryAt(dictionary, 0);
}

CFOwned<CFPropertyListRef> makeObject(const PropertyListValue& value) {
  return std::visit(ObjectMaker{0}, value.storage());
}

}  // namespace kelvora::platform
