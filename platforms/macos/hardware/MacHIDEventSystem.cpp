#include "platforms/macos/hardware/MacHIDEventSystem.h"

#include <utility>

#include "platforms/macos/CFValues.h"

namespace kelvora::platform {

namespace {

class Event : public HIDEvent {
 public:
  Event(const HIDFunctions& functions, CFOwned<HIDEventRef> event)
      : functions_(functions), event_(std::move(event)) {}

  double floatValue(std::int32_t field) const override {
    return functions_.eventGetFloatValue(event_.get(), field);
  }

 private:
  const HIDFunctions& functions_;
  CFOwned<HIDEventRef> event_;
};

class Service : public HIDService {
 public:
  Service(const HIDFunctions& functions, CFOwned<HIDServiceRef> service)
      : functions_(functions), service_(std::move(service)) {}

  std::optional<std::string> copyProperty(std::string_view name) const override {
    const auto key = makeText(name);
    if (!key) {
      return std::nullopt;
    }
    const CFOwned<CFTypeRef> value(functions_.serviceCopyProperty(service_.get(), key.get()));
    const CFStringRef text = asText(value.get());
    return text == nullptr ? std::nullopt : std::optional(textOf(text));
  }

  std::unique_ptr<HIDEvent> copyEvent(std::int64_t type, std::int32_t options,
                                      std::int64_t timestamp) const override {
    CFOwned<HIDEventRef> event(
        functions_.serviceCopyEvent(service_.get(), type, options, timestamp));
    return event ? std::make_unique<Event>(functions_, std::move(event)) : nullptr;
  }

 private:
  const HIDFunctions& functions_;
  CFOwned<HIDServiceRef> service_;
};

// A null `client` lists nothing.
class Client : public HIDEventSystemClient {
 public:
  Client(const HIDFunctions& functions, CFOwned<HIDClientRef> client)
      : functions_(functions), client_(std::move(client)) {}

  // Without a dictionary every service would match.
  void setMatching(const std::map<std::string, std::int32_t>& matching) override {
    const auto dictionary =
        makeObject(PropertyListValue::Dictionary(matching.begin(), matching.end()));
    if (!dictionary) {
      client_ = {};
    }
    if (client_) {
      functions_.clientSetMatching(client_.get(), asDictionary(dictionary.get()));
    }
  }

  std::optional<std::vector<std::unique_ptr<HIDService>>> copyServices() override {
    const CFOwned<CFArrayRef> array(client_ ? functions_.clientCopyServices(client_.get())
                                            : nullptr);
    const CFIndex count = array ? CFArrayGetCount(array.get()) : 0;
    if (count == 0) {
      return std::nullopt;
    }
    std::vector<std::unique_ptr<HIDService>> services;
    for (CFIndex index = 0; index < count; ++index) {
      services.push_back(std::make_unique<Service>(functions_, serviceAt(array.get(), index)));
    }
    return services;
  }

 private:
  static CFOwned<HIDServiceRef> serviceAt(CFArrayRef array, CFIndex index) {
    const void* service = CFArrayGetValueAtIndex(array, index);
    // The functions take references to what they do not change as mutable ones.
    return CFOwned<HIDServiceRef>::retained(static_cast<HIDServiceRef>(const_cast<void*>(service)));
  }

  const HIDFunctions& functions_;
  CFOwned<HIDClientRef> client_;
};

}  // namespace

std::unique_ptr<HIDEventSystemClient> MacHIDEventSystem::createClient() {
  if (!functions_.areAllFound()) {
    return std::make_unique<Client>(functions_, CFOwned<HIDClientRef>());
  }
  CFOwned<HIDClientRef> client(functions_.clientCreate(kCFAllocatorDefault));
  return client ? std::make_unique<Client>(functions_, std::move(client)) : nullptr;
}

}  // namespace kelvora::platform
