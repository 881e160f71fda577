#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kelvora {

/// The bytes as one big-endian number; of more than eight bytes the last eight.
std::uint64_t bigEndian(std::span<const std::byte> bytes);

/// The table of objects of a binary property list ("bplist00"), for checks before libplist sees the
/// list. Refers to the bytes, copies nothing, and allows any bytes. Any thread.
class BinaryPropertyList {
 public:
  using Bytes = std::span<const std::byte>;
  enum class Kind : std::uint8_t {
    kPlain,      ///< without parts, e.g. a number or a date
    kData,       ///< bytes
    kASCIIText,  ///< characters of one byte
    kUTF16Text,  ///< characters of two bytes
    kArray,      ///< references to the items
    kDictionary  ///< references to the keys, then to the values
  };
  struct Object {
    Kind kind = Kind::kPlain;
    Bytes payload;  ///< the bytes, characters or references; empty for a plain object
  };

  static bool isBinary(Bytes bytes);

  explicit BinaryPropertyList(Bytes bytes);

  /// How many objects the table has; 0 when it is not usable.
  std::uint64_t count() const { return count_; }
  /// The index of the root, which may be behind the last object.
  std::uint64_t root() const { return root_; }
  /// Bytes of a reference, 0 to 255.
  std::size_t referenceWidth() const { return referenceWidth_; }
  /// None when the object does not lie inside the bytes.
  std::optional<Object> object(std::uint64_t index) const;

 private:
  Bytes bytes_;
  std::uint64_t count_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t table_ = 0;
  std::size_t entryWidth_ = 0;
  std::size_t referenceWidth_ = 0;
};

}  // namespace kelvora
