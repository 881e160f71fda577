#include "base/ArchiveValue.h"

#include <algorithm>
#include <iterator>

namespace kelvora {

namespace {

struct ToArchive {
  template <typename T>
  ArchiveValue operator()(const T& value) const {
    return value;
  }
  ArchiveValue operator()(const PropertyListValue::Array& values) const {
    ArchiveValue::Array items;
    std::ranges::transform(values, std::back_inserter(items), &archiveValueOf);
    return items;
  }
  ArchiveValue operator()(const PropertyListValue::Dictionary& values) const {
    ArchiveValue::Dictionary items;
    for (const auto& [key, value] : values) {
      items.emplace(key, archiveValueOf(value));
    }
    return items;
  }
};

struct ToPropertyList {
  using Result = std::optional<PropertyListValue>;
  template <typename T>
  Result operator()(const T& value) const {
    return value;
  }
  Result operator()(ArchiveValue::Null) const { return std::nullopt; }
  Result operator()(const ArchiveValue::Object&) const { return std::nullopt; }
  Result operator()(const ArchiveValue::Array& values) const {
    PropertyListValue::Array items;
    for (const ArchiveValue& value : values) {
      auto item = propertyListValueOf(value);
      if (!item) {
        return std::nullopt;
      }
      items.push_back(*std::move(item));
    }
    return items;
  }
  Result operator()(const ArchiveValue::Dictionary& values) const {
    PropertyListValue::Dictionary items;
    for (const auto& [key, value] : values) {
      auto item = propertyListValueOf(value);
      if (!item) {
        return std::nullopt;
      }
      items.emplace(key, *std::move(item));
    }
    return items;
  }
};

}  // namespace

ArchiveValue::Object::Object(std::string name, Fields fields) : className(std::move(name)) {
  for (const auto& [fieldName, value] : fields) {
    add(fieldName, value);
  }
}

void ArchiveValue::Object::add(std::string name, ArchiveValue value) {
  names.push_back(std::move(name));
  values.push_back(std::move(value));
}

const ArchiveValue* ArchiveValue::Object::value(std::string_view name) const {
  const auto found = std::ranges::find(names, name);
  return found == names.end() ? nullptr : &values[static_cast<std::size_t>(found - names.begin())];
}

ArchiveValue archiveValueOf(const PropertyListValue& value) {
  return std::visit(ToArchive{}, value.storage());
}

std::optional<PropertyListValue> propertyListValueOf(const ArchiveValue& value) {
  return std::visit(ToPropertyList{}, value.storage());
}

std::optional<PropertyListValue> numberOf(const ArchiveValue& value) {
  const bool isNumber = value.as<bool>() != nullptr || value.as<std::int64_t>() != nullptr ||
                        value.as<double>() != nullptr;
  return isNumber ? propertyListValueOf(value) : std::nullopt;
}

}  // namespace kelvora
