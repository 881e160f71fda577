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

std::optional<PropertyListValue> SnapshotSuite::setObjectIfAbsent(std::string_view key,
                                                                  PropertyListValue value) {
  const std::lock_guard lock(mutex_);
  return values_.try_emplace(std::string(key), std::move(value)).first->second;
}

}  // namespace kelvora
