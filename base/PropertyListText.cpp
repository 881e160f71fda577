#include "base/PropertyListText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace kelvora {

namespace {

// Layout of "bplist00": objects, a table of their offsets, and a trailer of 32 bytes: six unused,
// the width of a table entry, the width of a reference, then as 64-bit big-endian numbers the count
// of objects, the index of the root and the table's offset.
constexpr std::string_view kMagic = "bplist";
constexpr std::size_t kTrailerBytes = 32;
constexpr std::byte kASCIIText{0x50};
constexpr std::byte kUTF16Text{0x60};
constexpr unsigned kLengthFollows = 0xF;

using Bytes = std::span<const std::byte>;

std::uint64_t bigEndian(Bytes bytes) {
  std::uint64_t number = 0;
  for (const std::byte byte : bytes) {
    number = number << 8U | std::to_integer<std::uint64_t>(byte);
  }
  return number;
}

// `count` bytes at `offset`; none when they do not all lie inside.
std::optional<Bytes> part(Bytes bytes, std::uint64_t offset, std::uint64_t count) {
  if (offset > bytes.size() || count > bytes.size() - offset) {
    return std::nullopt;
  }
  return bytes.subspan(offset, count);
}

bool holdsNul(Bytes characters, std::size_t width) {
  for (std::size_t at = 0; at + width <= characters.size(); at += width) {
    if (bigEndian(characters.subspan(at, width)) == 0) {
      return true;
    }
  }
  return false;
}

bool objectHoldsNul(Bytes bytes, std::uint64_t offset) {
  const auto marker = part(bytes, offset, 1);
  const std::byte kind = marker ? marker->front() & std::byte{0xF0} : std::byte{0};
  if (kind != kASCIIText && kind != kUTF16Text) {
    return false;
  }
  std::uint64_t length = std::to_integer<std::uint64_t>(marker->front() & std::byte{0x0F});
  std::uint64_t start = offset + 1;
  if (length == kLengthFollows) {
    const auto sizeMarker = part(bytes, start, 1);
    const unsigned exponent =
        sizeMarker ? std::to_integer<unsigned>(sizeMarker->front()) & 0x0FU : 0;
    const auto number = part(bytes, start + 1, std::uint64_t{1} << exponent);
    if (!number) {
      return false;
    }
    length = bigEndian(*number);
    start += 1 + number->size();
  }
  const std::size_t width = kind == kUTF16Text ? 2 : 1;
  const auto text = length > bytes.size() ? std::nullopt : part(bytes, start, length * width);
  return text && holdsNul(*text, width);
}

bool binaryHoldsNul(Bytes bytes) {
  if (bytes.size() < kTrailerBytes) {
    return false;
  }
  const Bytes trailer = bytes.last(kTrailerBytes);
  const std::uint64_t entryWidth = std::to_integer<std::uint64_t>(trailer[6]);
  const std::uint64_t count = bigEndian(trailer.subspan(8, 8));
  const std::uint64_t table = bigEndian(trailer.subspan(24, 8));
  if (entryWidth == 0 || entryWidth > 8 || count > bytes.size()) {
    return false;
  }
  for (std::uint64_t index = 0; index < count; ++index) {
    const auto entry = part(bytes, table + index * entryWidth, entryWidth);
    if (entry && objectHoldsNul(bytes, bigEndian(*entry))) {
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
  if (text.starts_with(kMagic)) {
    return binaryHoldsNul(bytes);
  }
  return text.find('\0') != text.npos || namesNul(text);
}

}  // namespace kelvora
