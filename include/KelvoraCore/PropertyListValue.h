#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// A value of a property list: what settings, notification user infos and I/O registry properties
/// are made of. A plain value: copies are deep, any thread may read one.
class KELVORA_EXPORT PropertyListValue {
 public:
  using Data = std::vector<std::byte>;
  using Date = std::chrono::system_clock::time_point;
  using Array = std::vector<PropertyListValue>;
  using Dictionary = std::map<std::string, PropertyListValue>;
  using Storage =
      std::variant<bool, std::int64_t, double, std::string, Data, Date, Array, Dictionary>;

  /// A value of that kind, converted implicitly so that literals can be written in place:
  /// `{{"unit", 1}, {"name", "CPU"}}`. Texts are UTF-8.
  PropertyListValue(bool value) : storage_(value) {}
  PropertyListValue(int value) : storage_(std::int64_t{value}) {}
  PropertyListValue(std::int64_t value) : storage_(value) {}
  PropertyListValue(double value) : storage_(value) {}
  PropertyListValue(const char* text) : storage_(std::string(text)) {}
  PropertyListValue(std::string text) : storage_(std::move(text)) {}
  PropertyListValue(Data bytes) : storage_(std::move(bytes)) {}
  PropertyListValue(Date date) : storage_(date) {}
  PropertyListValue(Array values) : storage_(std::move(values)) {}
  PropertyListValue(Dictionary values) : storage_(std::move(values)) {}

  /// The value as a T of `Storage`, or null when it is of another kind. Owned by this value.
  template <typename T>
  const T* as() const {
    return std::get_if<T>(&storage_);
  }

  /// The value with its kind, for std::visit. Owned by this value.
  const Storage& storage() const { return storage_; }

  /// The value as a whole number, as the system's number and text objects convert: a boolean gives
  /// 0 or 1, a number is cut toward zero (saturating, not-a-number gives 0), a text gives its
  /// leading decimal number ("412 cycles" gives 412), anything else 0.
  std::int64_t integerValue() const;

  /// The value as a floating-point number by the same rules ("12.5" gives 12.5), else 0.
  double doubleValue() const;

  /// The value as a truth value: numbers other than 0, and texts that begin with Y, y, T, t or a
  /// non-zero digit (after blanks, a sign and zeros), are true; anything else is false.
  bool boolValue() const;

  friend bool operator==(const PropertyListValue&, const PropertyListValue&) = default;

 private:
  Storage storage_;
};

}  // namespace kelvora
