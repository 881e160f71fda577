#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

/// A value of a keyed archive: a small tree. A plain value: copies are deep, any thread may read
/// one.
class ArchiveValue {
 public:
  using Null = std::monostate;
  using Date = std::chrono::system_clock::time_point;
  using Data = std::vector<std::byte>;
  using Array = std::vector<ArchiveValue>;
  using Dictionary = std::map<std::string, ArchiveValue>;
  /// An object of a class of the product, e.g. "KVNotification", with named values.
  struct Object {
    using Fields = std::initializer_list<std::pair<std::string, ArchiveValue>>;
    explicit Object(std::string name, Fields fields = {});

    std::string className;
    std::vector<std::string> names;  ///< in the order in which they are written
    std::vector<ArchiveValue> values;

    void add(std::string name, ArchiveValue value);
    /// The value of that name; null when the object has none.
    const ArchiveValue* value(std::string_view name) const;
    friend bool operator==(const Object&, const Object&) = default;
  };
  using Storage = std::variant<Null, bool, std::int64_t, double, std::string, Date, Data, Array,
                               Dictionary, Object>;

  ArchiveValue() = default;
  /// A value of one of these kinds, converted implicitly so that trees can be written in place.
  ArchiveValue(Storage value) : storage_(std::move(value)) {}
  ArchiveValue(bool value) : storage_(value) {}
  ArchiveValue(std::int64_t value) : storage_(value) {}
  ArchiveValue(double value) : storage_(value) {}
  ArchiveValue(const char* text) : storage_(std::string(text)) {}
  ArchiveValue(std::string text) : storage_(std::move(text)) {}
  ArchiveValue(Date date) : storage_(date) {}
  ArchiveValue(Data bytes) : storage_(std::move(bytes)) {}
  ArchiveValue(Array values) : storage_(std::move(values)) {}
  ArchiveValue(Dictionary values) : storage_(std::move(values)) {}
  ArchiveValue(Object object) : storage_(std::move(object)) {}

  /// The value as a T of `Storage`, or null when it is of another kind. Owned by this value.
  template <typename T>
  const T* as() const {
    return std::get_if<T>(&storage_);
  }

  /// The value with its kind, for std::visit. Owned by this value.
  const Storage& storage() const { return storage_; }

  friend bool operator==(const ArchiveValue&, const ArchiveValue&) = default;

 private:
  Storage storage_;
};

/// The same value for an archive.
ArchiveValue archiveValueOf(const PropertyListValue& value);
/// The same value for a property list; none when it holds a null or an object of a class.
std::optional<PropertyListValue> propertyListValueOf(const ArchiveValue& value);
/// The same number for a property list, whether a boolean, a whole or a decimal one; none for
/// anything else.
std::optional<PropertyListValue> numberOf(const ArchiveValue& value);

}  // namespace kelvora
