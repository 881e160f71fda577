#include "tests/macos/frameworks/HID.h"

#include <map>
#include <utility>

#include "platforms/macos/hardware/HIDFunctions.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

HIDSystem& HIDSystem::shared() {
  static HIDSystem system;
  return system;
}

namespace {

class Client : public Object {
 public:
  Client() : Object("IOHIDEventSystemClient"), thread(std::this_thread::get_id()) {}
  void dispose() override { isGone = true; }

  std::map<std::string, std::int64_t> matching;
  const std::thread::id thread;
  bool isGone = false;
};

// A service works while its client lives.
class Service : public Object {
 public:
  Service(const Client& itsClient, const platform::RecordedHIDService& service)
      : Object("IOHIDServiceClient"), client(itsClient), recorded(service) {}
  std::string described() const override { return recorded.product.value_or("a service"); }

  const Client& client;
  const platform::RecordedHIDService recorded;
};

class Event : public Object {
 public:
  Event(std::int32_t eventType, double number)
      : Object("IOHIDEvent"), type(eventType), value(number) {}

  const std::int32_t type;
  const double value;
};

Client* clientOf(const std::string& function, const void* reference) {
  auto* client = Objects::shared().get<Client>(function, reference);
  if (client != nullptr && client->thread != std::this_thread::get_id()) {
    Ledger::misuse(function, "a client belongs to its creator's thread");
  }
  return client;
}

Service* serviceOf(const std::string& function, const void* reference) {
  auto* service = Objects::shared().get<Service>(function, reference);
  if (service != nullptr && service->client.isGone) {
    Ledger::misuse(function, "a service is used after its client is gone");
    return nullptr;
  }
  return service;
}

bool matches(const Client& client, const char* property, std::int32_t value) {
  const auto wanted = client.matching.find(property);
  return wanted == client.matching.end() || wanted->second == value;
}

std::map<std::string, std::int64_t> wholeNumbersOf(const Dictionary& dictionary) {
  std::map<std::string, std::int64_t> numbers;
  for (const auto& [key, value] : dictionary.pairs) {
    const auto* name = dynamic_cast<const String*>(key);
    const auto* number = dynamic_cast<const Number*>(value);
    if (name == nullptr || number == nullptr || number->isFloat) {
      Ledger::misuse("IOHIDEventSystemClientSetMatching", "a pair is no text and whole number");
    } else {
      numbers[name->utf8()] = static_cast<std::int64_t>(number->whole);
    }
  }
  return numbers;
}

}  // namespace

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT(google-build-using-namespace)
using kelvora::platform::HIDClientRef;
using kelvora::platform::HIDEventRef;
using kelvora::platform::HIDServiceRef;

// No header declares these: the program looks them up by name.
extern "C" {

HIDClientRef IOHIDEventSystemClientCreate(CFAllocatorRef) {
  if (Ledger::shared().called("IOHIDEventSystemClientCreate")) {
    return nullptr;
  }
  return referenceTo<HIDClientRef>(Objects::shared().create<Client>());
}

void IOHIDEventSystemClientSetMatching(HIDClientRef client, CFDictionaryRef matching) {
  Ledger::shared().called("IOHIDEventSystemClientSetMatching", described(matching));
  auto* found = clientOf("IOHIDEventSystemClientSetMatching", client);
  const auto* dictionary =
      Objects::shared().get<Dictionary>("IOHIDEventSystemClientSetMatching", matching);
  if (found != nullptr && dictionary != nullptr) {
    found->matching = wholeNumbersOf(*dictionary);
  }
}

CFArrayRef IOHIDEventSystemClientCopyServices(HIDClientRef client) {
  const bool fails = Ledger::shared().called("IOHIDEventSystemClientCopyServices");
  const auto* found = clientOf("IOHIDEventSystemClientCopyServices", client);
  if (fails || found == nullptr) {
    return nullptr;
  }
  auto* array = Objects::shared().createHeld<Array>();
  for (const auto& service : HIDSystem::shared().services) {
    if (matches(*found, "PrimaryUsagePage", service.usagePage) &&
        matches(*found, "PrimaryUsage", service.usage)) {
      Object* item = Objects::shared().createHeld<Service>(*found, service);
      array->append(*item);
      Objects::shared().drop(*item);
    }
  }
  if (array->items.empty() && !HIDSystem::shared().listsEmptyArrays) {
    Objects::shared().drop(*array);
    return nullptr;
  }
  Objects::shared().handOver(*array);
  return referenceTo<CFArrayRef>(array);
}

CFTypeRef IOHIDServiceClientCopyProperty(HIDServiceRef service, CFStringRef key) {
  const auto* found = serviceOf("IOHIDServiceClientCopyProperty", service);
  const auto name = textArgument("IOHIDServiceClientCopyProperty", key);
  if (found == nullptr || !name) {
    return nullptr;
  }
  if (Ledger::shared().called("IOHIDServiceClientCopyProperty", found->described(), *name)) {
    return nullptr;
  }
  if (*name == "PrimaryUsage") {
    return newObject(found->recorded.usage);
  }
  return *name == "Product" && found->recorded.product ? newString(*found->recorded.product)
                                                       : nullptr;
}

HIDEventRef IOHIDServiceClientCopyEvent(HIDServiceRef service, std::int64_t type,
                                        std::int32_t options, std::int64_t timestamp) {
  const auto* found = serviceOf("IOHIDServiceClientCopyEvent", service);
  if (found == nullptr || Ledger::shared().called("IOHIDServiceClientCopyEvent", found->described(),
                                                  type, options, timestamp)) {
    return nullptr;
  }
  for (const auto& [eventType, value] : found->recorded.events) {
    if (eventType == type) {
      return referenceTo<HIDEventRef>(Objects::shared().create<Event>(eventType, value));
    }
  }
  return nullptr;
}

double IOHIDEventGetFloatValue(HIDEventRef event, std::int32_t field) {
  Ledger::shared().called("IOHIDEventGetFloatValue", field);
  const auto* found = Objects::shared().get<Event>("IOHIDEventGetFloatValue", event);
  return found != nullptr && field == found->type << 16 ? found->value : 0;
}

}  // extern "C"
