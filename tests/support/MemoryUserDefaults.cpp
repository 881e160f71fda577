#include "tests/support/MemoryUserDefaults.h"

#include <utility>

namespace kelvora::platform {

struct MemoryUserDefaults::Domain {
  std::mutex mutex;
  PropertyListValue::Dictionary values;

  std::optional<PropertyListValue> object(std::string_view key) {
    const std::lock_guard lock(mutex);
    const auto found = values.find(std::string(key));
    if (found == values.end()) {
      return std::nullopt;
    }
    return found->second;
  }

  std::optional<PropertyListValue> change(std::string_view key,
                                          const UserDefaultsSuite::Change& change) {
    const std::lock_guard lock(mutex);
    const auto found = values.find(std::string(key));
    const auto held = found == values.end() ? std::nullopt : std::optional(found->second);
    const auto value = change(held);
    if (value) {
      values.insert_or_assign(std::string(key), *value);
    }
    return value ? value : held;
  }

  PropertyListValue::Dictionary all() {
    const std::lock_guard lock(mutex);
    return values;
  }

  void set(std::string_view key, std::optional<PropertyListValue> value) {
    const std::lock_guard lock(mutex);
    if (value) {
      values.insert_or_assign(std::string(key), std::move(*value));
    } else {
      values.erase(std::string(key));
    }
  }
};

namespace {

template <typename Domain>
class Suite : public UserDefaultsSuite {
 public:
  explicit Suite(std::shared_ptr<Domain> domain) : domain_(std::move(domain)) {}
  std::optional<PropertyListValue> object(std::string_view key) override {
    return domain_->object(key);
  }
  PropertyListValue::Dictionary objects() override { return domain_->all(); }
  bool setObject(std::string_view key, PropertyListValue value) override {
    domain_->set(key, std::move(value));
    return true;
  }
  bool removeObject(std::string_view key) override {
    domain_->set(key, std::nullopt);
    return true;
  }
  std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                SuiteWrite) override {
    return domain_->change(key, change);
  }

 private:
  std::shared_ptr<Domain> domain_;
};

}  // namespace

MemoryUserDefaults::MemoryUserDefaults() : global_(std::make_shared<Domain>()) {}

MemoryUserDefaults::~MemoryUserDefaults() = default;

std::unique_ptr<UserDefaultsSuite> MemoryUserDefaults::suite(const std::string& name) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<Domain>& domain = domains_[name];
  if (domain == nullptr) {
    domain = std::make_shared<Domain>();
  }
  return std::make_unique<Suite<Domain>>(domain);
}

std::optional<PropertyListValue> MemoryUserDefaults::globalObject(std::string_view key) {
  return global_->object(key);
}

void MemoryUserDefaults::setGlobalObject(std::string_view key,
                                         std::optional<PropertyListValue> value) {
  global_->set(key, std::move(value));
}

}  // namespace kelvora::platform
