// The "registry" member of a machine file.

#include "platforms/recorded/file/MachineFileParts.h"

namespace kelvora::platform {

namespace {

PropertyListValue propertyAt(const JSONPlace& place);

PropertyListValue::Dictionary dictionaryAt(const JSONPlace& place) {
  PropertyListValue::Dictionary dictionary;
  place.eachMember([&](const std::string& name, const JSONPlace& at) {
    dictionary.emplace(name, propertyAt(at));
  });
  return dictionary;
}

// JSON has no bytes: an object whose only member is "data" spells them.
PropertyListValue objectAt(const JSONPlace& place) {
  if (place.value().size() != 1 || !place.value().contains("data")) {
    return dictionaryAt(place);
  }
  PropertyListValue::Data bytes;
  place.member("data", [&](const JSONPlace& at) { bytes = hexadecimalBytesAt(at); });
  return bytes;
}

PropertyListValue propertyAt(const JSONPlace& place) {
  const nlohmann::json& value = place.value();
  if (value.is_object()) {
    return objectAt(place);
  }
  if (value.is_array()) {
    return elementsAt<PropertyListValue>(place, propertyAt);
  }
  if (value.is_string()) {
    return place.text();
  }
  if (value.is_boolean()) {
    return place.boolean();
  }
  if (value.is_number_integer()) {
    return place.integer<std::int64_t>();
  }
  if (value.is_number()) {
    return place.number();
  }
  place.refuse("must be a text, a number, true or false, an array or an object");
}

RecordedRegistryEntry entryAt(const JSONPlace& place) {
  RecordedRegistryEntry entry;
  place.member("name", [&](const JSONPlace& at) { entry.name = at.text(); });
  place.member("properties", [&](const JSONPlace& at) { entry.properties = dictionaryAt(at); });
  place.member("children", [&](const JSONPlace& at) {
    entry.children = elementsAt<RecordedRegistryEntry>(at, entryAt);
  });
  return entry;
}

}  // namespace

std::vector<std::pair<std::string, RecordedRegistryEntry>> registryAt(const JSONPlace& registry) {
  using Service = std::pair<std::string, RecordedRegistryEntry>;
  return elementsAt<Service>(registry, [](const JSONPlace& place) {
    std::string serviceClass;
    place.requiredMember("class", [&](const JSONPlace& at) { serviceClass = at.text(); });
    return Service(std::move(serviceClass), entryAt(place));
  });
}

}  // namespace kelvora::platform
