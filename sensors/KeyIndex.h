#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kelvora {

/// What a catalogue says of one key. The numbers are the owner's; `kNone` is none.
struct KeyMatch {
  static constexpr std::uint32_t kNone = UINT32_MAX;
  std::uint32_t exact = kNone;
  std::uint32_t pattern = kNone;
};

/// A table of keys made for short ones: nearly all keys of a reading have four characters and are
/// found without touching a text. Reading it is safe on any threads.
class KeyIndex {
 public:
  /// The match of a key, made empty when the key is new. Valid until the next call.
  KeyMatch& at(std::string_view key);
  /// The match of a key, or an empty one.
  KeyMatch find(std::string_view key) const;

 private:
  // A short key as a number: its bytes below its length. 0 is no key.
  using Code = std::uint64_t;
  struct Slot {
    Code code = 0;
    KeyMatch match;
  };

  static std::optional<Code> codeOf(std::string_view key);
  std::size_t slotOf(Code code) const;
  void grow();

  std::vector<Slot> slots_ = std::vector<Slot>(64);  // a power of two, at most half of it in use
  std::size_t used_ = 0;
  std::unordered_map<std::string, KeyMatch> longKeys_;
};

}  // namespace kelvora
