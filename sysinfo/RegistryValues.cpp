#include "sysinfo/RegistryValues.h"

#include <cstddef>

#include "ports/IORegistry.h"

namespace kelvora {

std::optional<std::string> getIOName(const platform::RegistryEntry& entry) { return entry.name(); }

std::optional<PropertyListValue::Dictionary> getIOProperties(const platform::RegistryEntry& entry) {
  return entry.properties();
}

const PropertyListValue::Data* dataProperty(const PropertyListValue::Dictionary& properties,
                                            const std::string& key) {
  const auto found = properties.find(key);
  return found == properties.end() ? nullptr : found->second.as<PropertyListValue::Data>();
}

std::string textOfData(const PropertyListValue::Data& data) {
  std::string text;
  for (const std::byte byte : data) {
    if (byte == std::byte{0}) {
      break;
    }
    text += static_cast<char>(byte);
  }
  return text;
}

std::int32_t int32OfData(const PropertyListValue::Data& data) {
  std::uint32_t number = 0;
  if (data.size() < sizeof number) {
    return 0;
  }
  for (std::size_t index = sizeof number; index > 0; --index) {
    number = number << 8U | std::to_integer<std::uint32_t>(data[index - 1]);
  }
  return static_cast<std::int32_t>(number);
}

}  // namespace kelvora
