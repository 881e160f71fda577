#include "tests/support/MemoryUserDefaults.h"

#include <utility>

namespace kelvora::platform {

namespace {

// One of several handles of the same suite.
class SharedSuite : public UserDefaultsSuite {
 public:
  explicit SharedSuite(std::shared_ptr<UserDefaultsSuite> suite) : suite_(std::move(suite)) {}
  std::optional<PropertyListValue> object(std::string_view key) override {
    return suite_->object(key);
  }
  PropertyListValue::Dictionary objects() override { return suite_->objects(); }
  bool setObject(std::string_view key, PropertyListValue value) override {
    return suite_->setObject(key, std::move(value));
  }
  bool removeObject(std::string_view key) override { return suite_->removeObject(key); }
  std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                SuiteWrite reason) override {
    return suite_->changeObject(key, change, reason);
  }

 private:
  std::shared_ptr<UserDefaultsSuite> suite_;
};

}  // namespace

std::unique_ptr<UserDefaultsSuite> MemoryUserDefaults::suite(const std::string& name) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<SnapshotSuite>& suite = suites_[name];
  if (suite == nullptr) {
    suite = std::make_shared<SnapshotSuite>(PropertyListValue::Dictionary());
  }
  return std::make_unique<SharedSuite>(suite);
}

std::optional<PropertyListValue> MemoryUserDefaults::globalObject(std::string_view key) {
  return global_.object(key);
}

void MemoryUserDefaults::setGlobalObject(std::string_view key,
                                         std::optional<PropertyListValue> value) {
  if (value) {
    global_.setObject(key, *std::move(value));
  } else {
    global_.removeObject(key);
  }
}

}  // namespace kelvora::platform
