#include "platforms/recorded/RecordedHID.h"

#include <utility>

namespace kelvora::platform {

namespace {

class Event : public HIDEvent {
 public:
  Event(std::int32_t type, double value) : type_(type), value_(value) {}
  double floatValue(std::int32_t field) const override { return field == type_ << 16 ? value_ : 0; }

 private:
  std::int32_t type_;
  double value_;
};

class Service : public HIDService {
 public:
  explicit Service(const RecordedHIDService& recorded) : recorded_(recorded) {}

  std::optional<std::string> copyProperty(std::string_view name) const override {
    return name == "Product" ? recorded_.product : std::nullopt;
  }

  std::unique_ptr<HIDEvent> copyEvent(std::int64_t type, std::int32_t,
                                      std::int64_t) const override {
    if (!std::in_range<std::int32_t>(type)) {
      return nullptr;
    }
    const auto event = recorded_.events.find(static_cast<std::int32_t>(type));
    if (event == recorded_.events.end()) {
      return nullptr;
    }
    return std::make_unique<Event>(event->first, event->second);
  }

 private:
  const RecordedHIDService& recorded_;
};

class Client : public HIDEventSystemClient {
 public:
  explicit Client(std::shared_ptr<const std::vector<RecordedHIDService>> services)
      : services_(std::move(services)) {}

  void setMatching(const std::map<std::string, std::int32_t>& matching) override {
    matching_ = matching;
  }

  std::optional<std::vector<std::unique_ptr<HIDService>>> copyServices() override {
    std::vector<std::unique_ptr<HIDService>> matches;
    for (const RecordedHIDService& service : *services_) {
      if (matchesAll(service)) {
        matches.push_back(std::make_unique<Service>(service));
      }
    }
    if (matches.empty()) {
      return std::nullopt;
    }
    return matches;
  }

 private:
  bool matchesAll(const RecordedHIDService& service) const {
    return matches("PrimaryUsagePage", service.usagePage) && matches("PrimaryUsage", service.usage);
  }

  bool matches(const char* property, std::int32_t value) const {
    const auto wanted = matching_.find(property);
    return wanted == matching_.end() || wanted->second == value;
  }

  std::shared_ptr<const std::vector<RecordedHIDService>> services_;
  std::map<std::string, std::int32_t> matching_;
};

}  // namespace

RecordedHID::RecordedHID(std::optional<std::vector<RecordedHIDService>> services)
    : services_(std::make_shared<const std::vector<RecordedHIDService>>(
          std::move(services).value_or(std::vector<RecordedHIDService>{}))) {}

std::unique_ptr<HIDEventSystemClient> RecordedHID::createClient() {
  return std::make_unique<Client>(services_);
}

}  // namespace kelvora::platform
