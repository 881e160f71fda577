#include "base/BinaryPropertyList.h"

#include <string_view>

namespace kelvora {

namespace {

using Bytes = BinaryPropertyList::Bytes;
using Kind = BinaryPropertyList::Kind;

// Layout: "bplist00", objects, a table of their offsets, and a trailer of 32 bytes: six unused, the
// width of a table entry, the width of a reference, then as 64-bit big-endian numbers the count of
// objects, the index of the root and the table's offset.
constexpr std::string_view kMagic = "bplist";
constexpr std::size_t kTrailerBytes = 32;
constexpr std::uint64_t kLengthFollows = 0xF;

// `count` bytes at `offset`; none when they do not all lie inside.
std::optional<Bytes> part(Bytes bytes, std::uint64_t offset, std::uint64_t count) {
  if (offset > bytes.size() || count > bytes.size() - offset) {
    return std::nullopt;
  }
  return bytes.subspan(offset, count);
}

Kind kindOf(std::byte marker) {
  switch (std::to_integer<unsigned>(marker) >> 4U) {
    case 0x4:
      return Kind::kData;
    case 0x5:
      return Kind::kASCIIText;
    case 0x6:
      return Kind::kUTF16Text;
    case 0xA:
    case 0xC:  // a set, which libplist reads as an array
      return Kind::kArray;
    case 0xD:
      return Kind::kDictionary;
    default:
      return Kind::kPlain;
  }
}

struct Length {
  std::uint64_t count;
  std::uint64_t start;  // where the payload begins
};

// The count in the marker at `offset`, or in the number that follows it.
std::optional<Length> lengthAt(Bytes bytes, std::uint64_t offset) {
  const std::uint64_t inMarker = std::to_integer<std::uint64_t>(bytes[offset] & std::byte{0x0F});
  if (inMarker != kLengthFollows) {
    return Length{inMarker, offset + 1};
  }
  const auto marker = part(bytes, offset + 1, 1);
  const unsigned exponent = marker ? std::to_integer<unsigned>(marker->front()) & 0x0FU : 0;
  const auto number = part(bytes, offset + 2, std::uint64_t{1} << exponent);
  return number ? std::optional(Length{bigEndian(*number), offset + 2 + number->size()})
                : std::nullopt;
}

std::size_t widthOf(Kind kind, std::size_t referenceWidth) {
  switch (kind) {
    case Kind::kUTF16Text:
      return 2;
    case Kind::kArray:
      return referenceWidth;
    case Kind::kDictionary:
      return 2 * referenceWidth;
    default:
      return 1;
  }
}

}  // namespace

std::uint64_t bigEndian(Bytes bytes) {
  std::uint64_t number = 0;
  for (const std::byte byte : bytes) {
    number = number << 8U | std::to_integer<std::uint64_t>(byte);
  }
  return number;
}

bool BinaryPropertyList::isBinary(Bytes bytes) {
  return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size())
      .starts_with(kMagic);
}

BinaryPropertyList::BinaryPropertyList(Bytes bytes) : bytes_(bytes) {
  if (bytes.size() < kTrailerBytes) {
    return;
  }
  const Bytes trailer = bytes.last(kTrailerBytes);
  entryWidth_ = std::to_integer<std::size_t>(trailer[6]);
  referenceWidth_ = std::to_integer<std::size_t>(trailer[7]);
  root_ = bigEndian(trailer.subspan(16, 8));
  table_ = bigEndian(trailer.subspan(24, 8));
  const std::uint64_t count = bigEndian(trailer.subspan(8, 8));
  count_ = entryWidth_ == 0 || entryWidth_ > 8 || count > bytes.size() ? 0 : count;
}

std::optional<BinaryPropertyList::Object> BinaryPropertyList::object(std::uint64_t index) const {
  const auto entry = part(bytes_, table_ + index * entryWidth_, entryWidth_);
  const std::uint64_t offset = entry ? bigEndian(*entry) : bytes_.size();
  const auto marker = part(bytes_, offset, 1);
  if (index >= count_ || !marker) {
    return std::nullopt;
  }
  const Kind kind = kindOf(marker->front());
  if (kind == Kind::kPlain) {
    return Object{};
  }
  const auto length = lengthAt(bytes_, offset);
  if (!length || length->count > bytes_.size()) {
    return std::nullopt;
  }
  const auto payload = part(bytes_, length->start, length->count * widthOf(kind, referenceWidth_));
  return payload ? std::optional(Object{kind, *payload}) : std::nullopt;
}

}  // namespace kelvora
