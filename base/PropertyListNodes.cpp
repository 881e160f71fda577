#include "base/PropertyListNodes.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <variant>

#include "base/BinaryPropertyList.h"
#include "base/PropertyListExtent.h"
#include "base/PropertyListText.h"
#include "base/UTF8Text.h"

namespace kelvora {

namespace {

PropertyListNodes withoutRoot(std::string why) { return {nullptr, std::move(why)}; }

PropertyListValue textOfNode(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text == nullptr ? std::string() : std::string(text, length);
}

PropertyListValue dataOfNode(plist_t node) {
  std::uint64_t length = 0;
  const char* bytes = plist_get_data_ptr(node, &length);
  const auto view = std::as_bytes(std::span(bytes, bytes == nullptr ? 0 : length));
  return PropertyListValue::Data(view.begin(), view.end());
}

PropertyListValue dateOfNode(plist_t node) {
  std::int32_t seconds = 0;
  std::int32_t microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  return kPropertyListReferenceDate + std::chrono::seconds(seconds) +
         std::chrono::microseconds(microseconds);
}

PropertyListValue numberOfNode(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  return static_cast<std::int64_t>(number);
}

PropertyListValue realOfNode(plist_t node) {
  double real = 0;
  plist_get_real_val(node, &real);
  return real;
}

PropertyListValue truthOfNode(plist_t node) {
  std::uint8_t truth = 0;
  plist_get_bool_val(node, &truth);
  return truth != 0;
}

// Turns values into nodes; a node belongs to the container it is put into.
struct NodeMaker {
  plist_t operator()(bool truth) const { return plist_new_bool(truth ? 1 : 0); }
  plist_t operator()(std::int64_t number) const {
    return plist_new_uint(static_cast<std::uint64_t>(number));
  }
  plist_t operator()(double real) const { return plist_new_real(real); }
  plist_t operator()(const std::string& text) const {
    return plist_new_string(validUTF8(text).c_str());
  }
  plist_t operator()(const PropertyListValue::Data& data) const {
    return plist_new_data(reinterpret_cast<const char*>(data.data()), data.size());
  }
  plist_t operator()(PropertyListValue::Date date) const {
    const auto elapsed =
        std::chrono::floor<std::chrono::microseconds>(date - kPropertyListReferenceDate);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(elapsed);
    using Limits = std::numeric_limits<std::int32_t>;
    const auto kept = std::clamp<std::int64_t>(seconds.count(), Limits::min(), Limits::max());
    return plist_new_date(static_cast<std::int32_t>(kept),
                          static_cast<std::int32_t>((elapsed - seconds).count()));
  }
  plist_t operator()(const PropertyListValue::Array& values) const {
    plist_t array = plist_new_array();
    for (const PropertyListValue& value : values) {
      plist_array_append_item(array, std::visit(*this, value.storage()));
    }
    return array;
  }
  plist_t operator()(const PropertyListValue::Dictionary& values) const {
    plist_t dictionary = plist_new_dict();
    for (const auto& [key, value] : values) {
      plist_dict_set_item(dictionary, validUTF8(key).c_str(), std::visit(*this, value.storage()));
    }
    return dictionary;
  }
};

std::vector<std::byte> taken(char* text, std::uint32_t length) {
  const PropertyListMemory<char> owner(text);
  const auto bytes = std::as_bytes(std::span<const char>(text, length));
  return {bytes.begin(), bytes.end()};
}

}  // namespace

PropertyListNodes parsePropertyListNodes(std::span<const std::byte> bytes) {
  if (bytes.empty()) {
    return withoutRoot("empty");
  }
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    return withoutRoot("too large");
  }
  if (propertyListTextHoldsNul(bytes)) {
    return withoutRoot("holds a text with a NUL");
  }
  if (propertyListUnfoldsTooFar(bytes)) {
    return withoutRoot("unfolds to far more than its bytes");
  }
  // Not plist_from_memory: its arguments differ by version, and newer ones also read other formats.
  const auto parse = BinaryPropertyList::isBinary(bytes) ? plist_from_bin : plist_from_xml;
  plist_t root = nullptr;
  parse(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()),
        &root);
  return root == nullptr ? withoutRoot("not a property list")
                         : PropertyListNodes{PropertyListNode(root), {}};
}

std::optional<PropertyListValue> plainValueOfNode(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
      return truthOfNode(node);
    case PLIST_UINT:
      return numberOfNode(node);
    case PLIST_REAL:
      return realOfNode(node);
    case PLIST_STRING:
      return textOfNode(node);
    case PLIST_DATA:
      return dataOfNode(node);
    case PLIST_DATE:
      return dateOfNode(node);
    default:
      return std::nullopt;
  }
}

PropertyListNode nodeOfValue(const PropertyListValue& value) {
  return PropertyListNode(std::visit(NodeMaker{}, value.storage()));
}

std::vector<std::byte> binaryOfNode(plist_t root) {
  char* text = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(root, &text, &length);
  return taken(text, length);
}

std::vector<std::byte> xmlOfNode(plist_t root) {
  char* text = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root, &text, &length);
  return taken(text, length);
}

}  // namespace kelvora
