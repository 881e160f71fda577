#include "base/PropertyListExtent.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/BinaryPropertyList.h"

namespace kelvora {

namespace {

constexpr int kMostLevels = 500;  // libplist reads by recursion

// What an object unfolds to, itself included.
struct Extent {
  std::uint64_t values = 1;
  std::uint64_t bytes = 0;
  int levels = 1;
};

class Measure {
 public:
  explicit Measure(std::span<const std::byte> bytes)
      : list_(bytes),
        most_{bytes.size() + 65536, 16 * bytes.size() + (1 << 20), kMostLevels},
        known_(list_.count()) {}

  bool isTooFar() { return !extentOf(list_.root(), 1); }

 private:
  // None when it is too far. An object that is not inside the bytes has no parts: libplist refuses
  // it itself.
  std::optional<Extent> extentOf(std::uint64_t index, int level) {
    if (index >= list_.count()) {
      return Extent{};
    }
    if (level > most_.levels) {
      return std::nullopt;
    }
    std::optional<Extent>& known = known_[index];
    if (!known) {
      known = measured(list_.object(index).value_or(BinaryPropertyList::Object{}), level);
    }
    return known && level + known->levels - 1 <= most_.levels ? known : std::nullopt;
  }

  std::optional<Extent> measured(const BinaryPropertyList::Object& object, int level) {
    if (object.kind != BinaryPropertyList::Kind::kArray &&
        object.kind != BinaryPropertyList::Kind::kDictionary) {
      return Extent{1, object.payload.size(), 1};
    }
    Extent whole;
    const std::size_t width = list_.referenceWidth();
    for (std::size_t at = 0; at + width <= object.payload.size() && width > 0; at += width) {
      const auto part = extentOf(bigEndian(object.payload.subspan(at, width)), level + 1);
      if (!part) {
        return std::nullopt;
      }
      whole.values += part->values;
      whole.bytes += part->bytes;
      whole.levels = std::max(whole.levels, part->levels + 1);
      if (whole.values > most_.values || whole.bytes > most_.bytes) {
        return std::nullopt;
      }
    }
    return whole;
  }

  BinaryPropertyList list_;
  Extent most_;
  std::vector<std::optional<Extent>> known_;
};

}  // namespace

bool propertyListUnfoldsTooFar(std::span<const std::byte> bytes) {
  return BinaryPropertyList::isBinary(bytes) && Measure(bytes).isTooFar();
}

}  // namespace kelvora
