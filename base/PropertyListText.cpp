#include "base/PropertyListText.h"

#include <string_view>

#include "base/BinaryPropertyList.h"

namespace kelvora {

namespace {

bool holdsNul(std::span<const std::byte> characters, std::size_t width) {
  for (std::size_t at = 0; at + width <= characters.size(); at += width) {
    if (bigEndian(characters.subspan(at, width)) == 0) {
      return true;
    }
  }
  return false;
}

bool objectHoldsNul(const BinaryPropertyList::Object& object) {
  switch (object.kind) {
    case BinaryPropertyList::Kind::kASCIIText:
      return holdsNul(object.payload, 1);
    case BinaryPropertyList::Kind::kUTF16Text:
      return holdsNul(object.payload, 2);
    default:
      return false;
  }
}

bool binaryHoldsNul(const BinaryPropertyList& list) {
  for (std::uint64_t index = 0; index < list.count(); ++index) {
    const auto object = list.object(index);
    if (object && objectHoldsNul(*object)) {
      return true;
    }
  }
  return false;
}

// "&#0;", "&#00;", "&#x0;" and the like.
bool namesNul(std::string_view text) {
  for (std::size_t at = text.find("&#"); at != text.npos; at = text.find("&#", at + 1)) {
    std::size_t digits = at + 2;
    digits += digits < text.size() && (text[digits] == 'x' || text[digits] == 'X') ? 1 : 0;
    const std::size_t end = text.find_first_not_of('0', digits);
    if (end != digits && (end == text.npos || text[end] == ';')) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool propertyListTextHoldsNul(std::span<const std::byte> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (BinaryPropertyList::isBinary(bytes)) {
    return binaryHoldsNul(BinaryPropertyList(bytes));
  }
  return text.find('\0') != text.npos || namesNul(text);
}

}  // namespace kelvora
