#pragma once

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <plist/plist.h>

#include "KelvoraCore/PropertyListValue.h"

// The nodes of libplist, with owners and as values.
namespace kelvora {

struct PropertyListNodeFree {
  void operator()(void* node) const { plist_free(node); }
};
/// Owns a node that is in no container, and all below it.
using PropertyListNode = std::unique_ptr<void, PropertyListNodeFree>;

struct PropertyListMemoryFree {
  void operator()(void* memory) const { std::free(memory); }
};
/// Owns memory that libplist has allocated.
template <typename T>
using PropertyListMemory = std::unique_ptr<T, PropertyListMemoryFree>;

/// Instants of property lists count from 2001-01-01 00:00:00 UTC.
inline constexpr std::chrono::system_clock::time_point kPropertyListReferenceDate =
    std::chrono::sys_days(std::chrono::year{2001} / 1 / 1);

/// The nodes of a property list that was read, or why it could not be.
struct PropertyListNodes {
  PropertyListNode root;
  std::string failure;  ///< e.g. "not a property list"; empty when there is a root
};

/// Reads a binary or an XML property list; the bytes show which of the two. Never throws on foreign
/// bytes. Any thread.
PropertyListNodes parsePropertyListNodes(std::span<const std::byte> bytes);

/// The value of a node; none for an array, a dictionary and an archive reference.
std::optional<PropertyListValue> plainValueOfNode(plist_t node);

/// Calls `visit(item)` for each item of an array until it returns false. The array keeps the items.
template <typename Visit>
void visitItems(plist_t array, const Visit& visit) {
  void* start = nullptr;
  plist_array_new_iter(array, &start);
  const PropertyListMemory<void> iterator(start);
  plist_t item = nullptr;
  do {
    plist_array_next_item(array, iterator.get(), &item);
  } while (item != nullptr && visit(item));
}

/// Calls `visit(key, item)` for each entry of a dictionary until it returns false. The dictionary
/// keeps the items.
template <typename Visit>
void visitEntries(plist_t dictionary, const Visit& visit) {
  void* start = nullptr;
  plist_dict_new_iter(dictionary, &start);
  const PropertyListMemory<void> iterator(start);
  plist_t item = nullptr;
  PropertyListMemory<char> key;
  do {
    char* name = nullptr;
    plist_dict_next_item(dictionary, iterator.get(), &name, &item);
    key.reset(name);
  } while (item != nullptr && visit(std::string(key ? key.get() : ""), item));
}

/// A new node with all below it. What is not UTF-8 in a text becomes U+FFFD; a text ends at its
/// first NUL.
PropertyListNode nodeOfValue(const PropertyListValue& value);

std::vector<std::byte> binaryOfNode(plist_t root);
std::vector<std::byte> xmlOfNode(plist_t root);

}  // namespace kelvora
