#include "tests/macos/frameworks/Values.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace kelvora::testing::mac {

bool Number::equals(const Object& other) const {
  const auto& number = dynamic_cast<const Number&>(other);
  if (isFloat || number.isFloat) {
    return asReal() == number.asReal();
  }
  return whole == number.whole && isUnsigned == number.isUnsigned;
}

double Number::asReal() const {
  if (isFloat) {
    return real;
  }
  return isUnsigned ? static_cast<double>(whole)
                    : static_cast<double>(static_cast<std::int64_t>(whole));
}

std::string Number::described() const {
  if (isFloat) {
    return std::to_string(real);
  }
  return isUnsigned ? std::to_string(whole) : std::to_string(static_cast<std::int64_t>(whole));
}

bool Data::equals(const Object& other) const {
  return bytes == dynamic_cast<const Data&>(other).bytes;
}

bool Date::equals(const Object& other) const {
  return time == dynamic_cast<const Date&>(other).time;
}

bool URL::equals(const Object& other) const { return path == dynamic_cast<const URL&>(other).path; }

namespace {

// Writes what a memory of type T holds of a number; whether it holds all of it.
template <typename T>
Boolean writeWhole(const Number& number, void* memory) {
  T value = 0;
  bool isExact = false;
  if (number.isFloat) {
    const double bound = std::ldexp(1.0, std::numeric_limits<T>::digits);
    const bool fits = number.real >= -bound && number.real < bound;
    value = fits ? static_cast<T>(number.real) : T{0};
    isExact = fits && static_cast<double>(value) == number.real;
  } else {
    value = static_cast<T>(number.whole);  // beyond its range: the low bits
    isExact = !number.isUnsigned && value == static_cast<std::int64_t>(number.whole);
  }
  std::memcpy(memory, &value, sizeof value);
  return isExact;
}

Boolean writeReal(const Number& number, void* memory) {
  const double value = number.asReal();
  std::memcpy(memory, &value, sizeof value);
  return number.isFloat || std::abs(value) <= std::ldexp(1.0, 53);
}

template <typename T>
T readFrom(const void* memory) {
  T value;
  std::memcpy(&value, memory, sizeof value);
  return value;
}

Number* wholeNumber(std::int64_t value) {
  return Objects::shared().create<Number>(static_cast<std::uint64_t>(value), false);
}

Number* newNumber(CFNumberType type, const void* value) {
  switch (type) {
    case kCFNumberSInt32Type:
      return wholeNumber(readFrom<SInt32>(value));
    case kCFNumberSInt64Type:
      return wholeNumber(readFrom<SInt64>(value));
    case kCFNumberFloat64Type:
      return Objects::shared().create<Number>(readFrom<double>(value));
  }
  Ledger::misuse("CFNumberCreate", "the double does not know this type");
  return nullptr;
}

}  // namespace

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT(google-build-using-namespace)

const CFBooleanRef kCFBooleanTrue =
    referenceTo<CFBooleanRef>(Objects::shared().createImmortal<Truth>(true));
const CFBooleanRef kCFBooleanFalse =
    referenceTo<CFBooleanRef>(Objects::shared().createImmortal<Truth>(false));

CFTypeID CFBooleanGetTypeID() { return typeID("CFBoolean"); }

Boolean CFBooleanGetValue(CFBooleanRef value) {
  const auto* truth = Objects::shared().get<Truth>("CFBooleanGetValue", value);
  return truth != nullptr && truth->value;
}

CFTypeID CFNumberGetTypeID() { return typeID("CFNumber"); }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
  if (Ledger::shared().counted("CFNumberCreate")) {
    return nullptr;
  }
  return referenceTo<CFNumberRef>(newNumber(type, value));
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  const auto* found = Objects::shared().get<Number>("CFNumberIsFloatType", number);
  return found != nullptr && found->isFloat;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  const auto* found = Objects::shared().get<Number>("CFNumberGetValue", number);
  if (found == nullptr) {
    return false;
  }
  switch (type) {
    case kCFNumberSInt32Type:
      return writeWhole<SInt32>(*found, value);
    case kCFNumberSInt64Type:
      return writeWhole<SInt64>(*found, value);
    case kCFNumberFloat64Type:
      return writeReal(*found, value);
  }
  Ledger::misuse("CFNumberGetValue", "the double does not know this type");
  return false;
}

CFTypeID CFDataGetTypeID() { return typeID("CFData"); }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex count) {
  if (count < 0 || (bytes == nullptr && count > 0)) {
    Ledger::misuse("CFDataCreate", "the bytes are no bytes");
    return nullptr;
  }
  if (Ledger::shared().counted("CFDataCreate")) {
    return nullptr;
  }
  return referenceTo<CFDataRef>(
      Objects::shared().create<Data>(std::vector<UInt8>(bytes, bytes + count)));
}

CFIndex CFDataGetLength(CFDataRef data) {
  const auto* found = Objects::shared().get<Data>("CFDataGetLength", data);
  return found == nullptr ? 0 : static_cast<CFIndex>(found->bytes.size());
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
  const auto* found = Objects::shared().get<Data>("CFDataGetBytePtr", data);
  return found == nullptr ? nullptr : found->bytes.data();
}

CFTypeID CFDateGetTypeID() { return typeID("CFDate"); }

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime time) {
  if (Ledger::shared().counted("CFDateCreate")) {
    return nullptr;
  }
  return referenceTo<CFDateRef>(Objects::shared().create<Date>(time));
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) {
  const auto* found = Objects::shared().get<Date>("CFDateGetAbsoluteTime", date);
  return found == nullptr ? 0 : found->time;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* path, CFIndex count,
                                                 Boolean) {
  if (path == nullptr || count < 0) {
    Ledger::misuse("CFURLCreateFromFileSystemRepresentation", "the path is no path");
    return nullptr;
  }
  if (Ledger::shared().counted("CFURLCreateFromFileSystemRepresentation") || count == 0) {
    return nullptr;
  }
  return referenceTo<CFURLRef>(Objects::shared().create<URL>(
      std::string(reinterpret_cast<const char*>(path), static_cast<std::size_t>(count))));
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean, UInt8* path, CFIndex size) {
  const auto* found = Objects::shared().get<URL>("CFURLGetFileSystemRepresentation", url);
  if (found == nullptr || Ledger::shared().counted("CFURLGetFileSystemRepresentation") ||
      static_cast<CFIndex>(found->path.size()) >= size) {
    return false;
  }
  std::memcpy(path, found->path.c_str(), found->path.size() + 1);
  return true;
}
