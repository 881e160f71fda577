#pragma once

#include <mutex>

#include "ports/UserDefaults.h"

namespace kelvora {

/// A suite of its own in memory, made from the values of another at one moment. Any thread.
class SnapshotSuite : public platform::UserDefaultsSuite {
 public:
  explicit SnapshotSuite(PropertyListValue::Dictionary values);

  std::optional<PropertyListValue> object(std::string_view key) override;
  PropertyListValue::Dictionary objects() override;
  bool setObject(std::string_view key, PropertyListValue value) override;
  bool removeObject(std::string_view key) override;
  std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                platform::SuiteWrite reason) override;

 private:
  std::mutex mutex_;
  PropertyListValue::Dictionary values_;
};

}  // namespace kelvora
