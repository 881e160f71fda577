#include "base/PropertyListFile.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "base/InputFile.h"
#include "base/PropertyListNodes.h"
#include "base/UTF8Text.h"

namespace kelvora {

namespace {

PropertyListReading refused(std::string why) { return {std::nullopt, std::move(why)}; }

PropertyListReading valueOfNode(plist_t node, int level);

PropertyListReading valueOfArray(plist_t node, int level) {
  PropertyListValue::Array values;
  PropertyListReading reading;
  visitItems(node, [&](plist_t item) {
    reading = valueOfNode(item, level + 1);
    if (reading.value) {
      values.push_back(*std::move(reading.value));
    }
    return reading.failure.empty();
  });
  return reading.failure.empty() ? PropertyListReading{std::move(values), {}} : reading;
}

PropertyListReading valueOfDictionary(plist_t node, int level) {
  PropertyListValue::Dictionary values;
  PropertyListReading reading;
  visitEntries(node, [&](const std::string& key, plist_t item) {
    reading = valueOfNode(item, level + 1);
    if (reading.value) {
      values.insert_or_assign(key, *std::move(reading.value));
    }
    return reading.failure.empty();
  });
  return reading.failure.empty() ? PropertyListReading{std::move(values), {}} : reading;
}

PropertyListReading valueOfNode(plist_t node, int level) {
  if (level > kDeepestPropertyListLevel) {
    return refused("nested too deeply");
  }
  switch (plist_get_node_type(node)) {
    case PLIST_ARRAY:
      return valueOfArray(node, level);
    case PLIST_DICT:
      return valueOfDictionary(node, level);
    default:
      break;
  }
  auto value = plainValueOfNode(node);
  return value ? PropertyListReading{std::move(value), {}}
               : refused("holds a value that is no property-list value");
}

}  // namespace

PropertyListReading parsePropertyList(std::span<const std::byte> bytes) {
  const PropertyListNodes nodes = parsePropertyListNodes(bytes);
  return nodes.root == nullptr ? refused(nodes.failure) : valueOfNode(nodes.root.get(), 0);
}

PropertyListReading readPropertyListFile(const std::string& path, std::size_t mostBytes) {
  std::error_code error;
  const std::filesystem::file_status facts = std::filesystem::status(path, error);
  if (std::filesystem::exists(facts) && !std::filesystem::is_regular_file(facts)) {
    return refused("not a file");
  }
  InputFile file(path);
  const std::string bytes = file.readAll(mostBytes);
  if (bytes.size() > mostBytes) {
    return refused("larger than " + std::to_string(mostBytes / 1024) + " KB");
  }
  return file.error() != 0 ? refused(std::generic_category().message(file.error()))
                           : parsePropertyList(std::as_bytes(std::span(bytes)));
}

std::vector<std::byte> serializePropertyList(const PropertyListValue& value,
                                             PropertyListFormat format) {
  const PropertyListNode root = nodeOfValue(value);
  return format == PropertyListFormat::kBinary ? binaryOfNode(root.get()) : xmlOfNode(root.get());
}

std::vector<std::byte> propertyListWith(std::span<const std::byte> dictionary,
                                        const std::string& key,
                                        const std::optional<PropertyListValue>& value) {
  PropertyListNode root = parsePropertyListNodes(dictionary).root;
  if (root == nullptr) {
    root.reset(plist_new_dict());
  }
  const std::string name = validUTF8(key);
  // A binary list of another program may hold a key twice.
  while (plist_dict_get_item(root.get(), name.c_str()) != nullptr) {
    plist_dict_remove_item(root.get(), name.c_str());
  }
  if (value) {
    plist_dict_set_item(root.get(), name.c_str(), nodeOfValue(*value).release());
  }
  return binaryOfNode(root.get());
}

}  // namespace kelvora
