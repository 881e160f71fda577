#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <plist/plist.h>

#include "base/PropertyListNodes.h"

// Keyed archives that a test writes down as text.
namespace kelvora::testing {

/// A copy of a node in which each dictionary {"CF$UID": 3} is the reference 3.
inline plist_t nodeWithReferences(plist_t node) {
  if (plist_get_node_type(node) == PLIST_ARRAY) {
    plist_t array = plist_new_array();
    visitItems(node, [&](plist_t item) {
      plist_array_append_item(array, nodeWithReferences(item));
      return true;
    });
    return array;
  }
  if (plist_get_node_type(node) != PLIST_DICT) {
    return plist_copy(node);
  }
  if (plist_t number = plist_dict_get_item(node, "CF$UID")) {
    std::uint64_t index = 0;
    plist_get_uint_val(number, &index);
    return plist_new_uid(index);
  }
  plist_t dictionary = plist_new_dict();
  visitEntries(node, [&](const std::string& key, plist_t item) {
    plist_dict_set_item(dictionary, key.c_str(), nodeWithReferences(item));
    return true;
  });
  return dictionary;
}

/// An XML property list as a binary one, with references where the text has "@3@".
inline std::vector<std::byte> archiveOfXML(std::string_view text) {
  std::string xml = "<plist>";
  bool isReference = false;
  for (const char character : text) {
    if (character != '@') {
      xml += character;
      continue;
    }
    xml += isReference ? "</integer></dict>" : "<dict><key>CF$UID</key><integer>";
    isReference = !isReference;
  }
  xml += "</plist>";
  const PropertyListNodes nodes = parsePropertyListNodes(std::as_bytes(std::span(xml)));
  const PropertyListNode root(nodeWithReferences(nodes.root.get()));
  return binaryOfNode(root.get());
}

/// An archive of these objects behind "$null", of which the first is the root.
inline std::vector<std::byte> archiveOfObjects(const std::string& objects) {
  return archiveOfXML(
      "<dict><key>$version</key><integer>100000</integer>"
      "<key>$archiver</key><string>NSKeyedArchiver</string>"
      "<key>$top</key><dict><key>root</key>@1@</dict>"
      "<key>$objects</key><array><string>$null</string>" +
      objects + "</array></dict>");
}

}  // namespace kelvora::testing
