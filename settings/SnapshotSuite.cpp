#include "settings/SnapshotSuite.h"

#include <utility>

namespace kelvora {

SnapshotSuite::SnapshotSuite(PropertyListValue::Dictionary values) : values_(std::move(values)) {}

std::optional<PropertyListValue> SnapshotSuite::object(std::string_view key) {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(std::string(key));
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

PropertyListValue::Dictionary SnapshotSuite::objects() {
  const std::lock_guard lock(mutex_);
  return values_;
}

bool SnapshotSuite::setObject(std::string_view key, PropertyListValue value) {
  const std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), std::move(value));
  return true;
}

bool SnapshotSuite::removeObject(std::string_view key) {
  const std::lock_guard lock(mutex_);
  values_.erase(std::string(key));
  return true;
}

std::optional<PropertyListValue> SnapshotSuite::changeObject(std::string_view key,
                                                             const Change& change,
                                                             platform::SuiteWrite) {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(std::string(key));
  const auto held = found == values_.end() ? std::nullopt : std::optional(found->second);
  const auto value = change(held);
  if (value) {
    values_.insert_or_assign(std::string(key), *value);
  }
  return value ? value : held;
}

}  // namespace kelvora
