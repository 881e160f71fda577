#include "platforms/recorded/RecordedRegistry.h"

namespace kelvora::platform {

namespace {

class Entry : public RegistryEntry {
 public:
  explicit Entry(std::shared_ptr<const RecordedRegistryEntry> recorded)
      : recorded_(std::move(recorded)) {}

  std::optional<std::string> name() const override { return recorded_->name; }

  std::optional<PropertyListValue::Dictionary> properties() const override {
    return recorded_->properties;
  }

  std::optional<PropertyListValue> property(std::string_view key) const override {
    const auto found = recorded_->properties.find(std::string(key));
    if (found == recorded_->properties.end()) {
      return std::nullopt;
    }
    return found->second;
  }

  std::vector<std::unique_ptr<RegistryEntry>> children(std::string_view) const override {
    std::vector<std::unique_ptr<RegistryEntry>> entries;
    for (const RecordedRegistryEntry& child : recorded_->children) {
      entries.push_back(
          std::make_unique<Entry>(std::shared_ptr<const RecordedRegistryEntry>(recorded_, &child)));
    }
    return entries;
  }

 private:
  // Shares the ownership of the whole list of services.
  std::shared_ptr<const RecordedRegistryEntry> recorded_;
};

}  // namespace

RecordedRegistry::RecordedRegistry(std::optional<Services> services) {
  if (services) {
    services_ = std::make_shared<const Services>(std::move(*services));
  }
}

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> RecordedRegistry::matchingServices(
    std::string_view serviceClass) {
  if (services_ == nullptr) {
    return std::nullopt;
  }
  std::vector<std::unique_ptr<RegistryEntry>> entries;
  for (const auto& [listedClass, entry] : *services_) {
    if (listedClass == serviceClass) {
      entries.push_back(
          std::make_unique<Entry>(std::shared_ptr<const RecordedRegistryEntry>(services_, &entry)));
    }
  }
  return entries;
}

}  // namespace kelvora::platform
