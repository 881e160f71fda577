#include "platforms/macos/hardware/MacIORegistry.h"

#include <utility>

#include "base/UTF8Text.h"
#include "platforms/macos/CFValues.h"
#include "platforms/macos/hardware/MatchingServices.h"

namespace kelvora::platform {

namespace {

using Entries = std::vector<std::unique_ptr<RegistryEntry>>;

Entries entriesOf(const IOOwned& iterator);

class Entry : public RegistryEntry {
 public:
  explicit Entry(IOOwned entry) : entry_(std::move(entry)) {}

  std::optional<std::string> name() const override {
    io_name_t name = {};
    if (IORegistryEntryGetName(entry_.get(), name) != KERN_SUCCESS) {
      return std::nullopt;
    }
    return validUTF8(name);
  }

  std::optional<PropertyListValue::Dictionary> properties() const override {
    CFOwned<CFMutableDictionaryRef> properties;
    const kern_return_t status = IORegistryEntryCreateCFProperties(
        entry_.get(), properties.out(), kCFAllocatorDefault, kNilOptions);
    if (status != KERN_SUCCESS || !properties) {
      return std::nullopt;
    }
    return dictionaryOf(properties.get());
  }

  std::optional<PropertyListValue> property(std::string_view key) const override {
    const auto name = makeText(key);
    if (!name) {
      return std::nullopt;
    }
    const CFOwned<CFTypeRef> value(IORegistryEntryCreateCFProperty(
        entry_.get(), name.get(), kCFAllocatorDefault, kNilOptions));
    return valueOf(value.get());
  }

  std::vector<std::unique_ptr<RegistryEntry>> children(std::string_view plane) const override {
    IOOwned iterator;
    const kern_return_t status =
        IORegistryEntryGetChildIterator(entry_.get(), std::string(plane).c_str(), iterator.out());
    return status == KERN_SUCCESS ? entriesOf(iterator) : Entries();
  }

 private:
  IOOwned entry_;
};

// None of a null iterator.
Entries entriesOf(const IOOwned& iterator) {
  Entries entries;
  while (iterator) {
    IOOwned entry(IOIteratorNext(iterator.get()));
    if (!entry) {
      break;
    }
    entries.push_back(std::make_unique<Entry>(std::move(entry)));
  }
  return entries;
}

}  // namespace

std::optional<Entries> MacIORegistry::matchingServices(std::string_view serviceClass) {
  IOOwned iterator;
  if (findMatchingServices(std::string(serviceClass).c_str(), iterator.out()) != kKernelSuccess) {
    return std::nullopt;
  }
  return entriesOf(iterator);
}

}  // namespace kelvora::platform
