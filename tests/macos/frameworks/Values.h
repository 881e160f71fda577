#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>

#include "KelvoraCore/PropertyListValue.h"

#include "tests/macos/frameworks/Objects.h"

// The values of Core Foundation. Doubles look into the program's, and make their own.
namespace kelvora::testing::mac {

class String : public Object {
 public:
  explicit String(std::u16string text) : Object("CFString"), units(std::move(text)) {}
  bool equals(const Object& other) const override;
  std::string described() const override { return '"' + utf8() + '"'; }
  /// The text; a surrogate without its partner is U+FFFD.
  std::string utf8() const;

  const std::u16string units;
};

class Number : public Object {
 public:
  explicit Number(double value) : Object("CFNumber"), isFloat(true), real(value) {}
  /// A whole number; one beyond the signed 64 bits keeps `isUnsigned`.
  explicit Number(std::uint64_t bits, bool isBeyondSigned)
      : Object("CFNumber"), whole(bits), isUnsigned(isBeyondSigned) {}
  bool equals(const Object& other) const override;
  std::string described() const override;
  double asReal() const;

  const bool isFloat = false;
  const double real = 0;
  const std::uint64_t whole = 0;
  const bool isUnsigned = false;
};

class Truth : public Object {
 public:
  explicit Truth(bool isTrue) : Object("CFBoolean"), value(isTrue) {}
  std::string described() const override { return value ? "true" : "false"; }

  const bool value;
};

class Data : public Object {
 public:
  explicit Data(std::vector<UInt8> content) : Object("CFData"), bytes(std::move(content)) {}
  bool equals(const Object& other) const override;
  std::string described() const override { return std::to_string(bytes.size()) + " bytes"; }

  const std::vector<UInt8> bytes;
};

class Date : public Object {
 public:
  explicit Date(CFAbsoluteTime seconds) : Object("CFDate"), time(seconds) {}
  bool equals(const Object& other) const override;

  const CFAbsoluteTime time;
};

class URL : public Object {
 public:
  explicit URL(std::string filePath) : Object("CFURL"), path(std::move(filePath)) {}
  bool equals(const Object& other) const override;
  std::string described() const override { return '"' + path + '"'; }

  const std::string path;
};

/// Holds its items.
class Array : public Object {
 public:
  Array() : Object("CFArray") {}
  bool equals(const Object& other) const override;
  std::string described() const override;
  void dispose() override;
  void append(Object& item);

  std::vector<Object*> items;
  bool isMutable = false;
};

/// Holds its keys and values, in the order of their addition.
class Dictionary : public Object {
 public:
  Dictionary() : Object("CFDictionary") {}
  bool equals(const Object& other) const override;
  std::string described() const override;
  void dispose() override;
  Object* find(const Object& key) const;
  /// The value of a text, or null.
  Object* find(std::string_view key) const;
  void set(Object& key, Object& value);

  std::vector<std::pair<Object*, Object*>> pairs;
  bool isMutable = false;
};

/// The UTF-16 of a text; none if it is no valid UTF-8.
std::optional<std::u16string> utf16(std::string_view text);
/// The text that the program passed to a function; none after a misuse.
std::optional<std::string> textArgument(const std::string& function, CFStringRef reference);
/// A text that the program owns.
CFStringRef newString(std::string_view text);
/// An object of a value that the program owns.
CFTypeRef newObject(const PropertyListValue& value);

}  // namespace kelvora::testing::mac
