#include "base/PropertyListFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <system_error>
#include <utility>
#include <variant>

#include <plist/plist.h>

#include "base/PropertyListText.h"
#include "base/UTF8Text.h"

namespace kelvora {

namespace {

constexpr int kDeepestLevel = 100;

struct NodeFree {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeFree>;

struct MemoryFree {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Memory = std::unique_ptr<T, MemoryFree>;

// Instants of property lists count from 2001-01-01 00:00:00 UTC.
constexpr std::chrono::system_clock::time_point kReferenceDate =
    std::chrono::sys_days(std::chrono::year{2001} / 1 / 1);

PropertyListReading refused(std::string why) { return {std::nullopt, std::move(why)}; }

PropertyListReading valueOfNode(plist_t node, int level);

PropertyListReading valueOfArray(plist_t node, int level) {
  PropertyListValue::Array values;
  void* start = nullptr;
  plist_array_new_iter(node, &start);
  const Memory<void> iterator(start);
  while (true) {
    plist_t item = nullptr;
    plist_array_next_item(node, iterator.get(), &item);
    if (item == nullptr) {
      return {std::move(values), {}};
    }
    PropertyListReading reading = valueOfNode(item, level + 1);
    if (!reading.value) {
      return reading;
    }
    values.push_back(std::move(*reading.value));
  }
}

PropertyListReading valueOfDictionary(plist_t node, int level) {
  PropertyListValue::Dictionary values;
  void* start = nullptr;
  plist_dict_new_iter(node, &start);
  const Memory<void> iterator(start);
  while (true) {
    plist_t item = nullptr;
    char* name = nullptr;
    plist_dict_next_item(node, iterator.get(), &name, &item);
    const Memory<char> key(name);
    if (item == nullptr) {
      return {std::move(values), {}};
    }
    PropertyListReading reading = valueOfNode(item, level + 1);
    if (!reading.value) {
      return reading;
    }
    values.insert_or_assign(key ? key.get() : "", std::move(*reading.value));
  }
}

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
  return kReferenceDate + std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds);
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

PropertyListReading valueOfNode(plist_t node, int level) {
  if (level > kDeepestLevel) {
    return refused("nested too deeply");
  }
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
      return {truthOfNode(node), {}};
    case PLIST_UINT:
      return {numberOfNode(node), {}};
    case PLIST_REAL:
      return {realOfNode(node), {}};
    case PLIST_STRING:
      return {textOfNode(node), {}};
    case PLIST_DATA:
      return {dataOfNode(node), {}};
    case PLIST_DATE:
      return {dateOfNode(node), {}};
    case PLIST_ARRAY:
      return valueOfArray(node, level);
    case PLIST_DICT:
      return valueOfDictionary(node, level);
    default:
      return refused("holds a value that is no property-list value");
  }
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
    const auto elapsed = std::chrono::floor<std::chrono::microseconds>(date - kReferenceDate);
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

}  // namespace

PropertyListReading parsePropertyList(std::span<const std::byte> bytes) {
  if (bytes.empty()) {
    return refused("empty");
  }
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    return refused("too large");
  }
  if (propertyListTextHoldsNul(bytes)) {
    return refused("holds a text with a NUL");
  }
  plist_t root = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::uint32_t>(bytes.size()), &root);
  const Node owner(root);
  return root == nullptr ? refused("not a property list") : valueOfNode(root, 0);
}

PropertyListReading readPropertyListFile(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"),
                                                             &std::fclose);
  if (!file) {
    return refused(std::generic_category().message(errno));
  }
  std::vector<std::byte> bytes;
  std::array<std::byte, 16384> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get())) {
    bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
  }
  return std::ferror(file.get()) != 0 ? refused(std::generic_category().message(errno))
                                      : parsePropertyList(bytes);
}

std::vector<std::byte> serializePropertyList(const PropertyListValue& value,
                                             PropertyListFormat format) {
  const Node root(std::visit(NodeMaker{}, value.storage()));
  char* text = nullptr;
  std::uint32_t length = 0;
  if (format == PropertyListFormat::kBinary) {
    plist_to_bin(root.get(), &text, &length);
  } else {
    plist_to_xml(root.get(), &text, &length);
  }
  const Memory<char> owner(text);
  const auto bytes = std::as_bytes(std::span<const char>(text, length));
  return {bytes.begin(), bytes.end()};
}

}  // namespace kelvora
