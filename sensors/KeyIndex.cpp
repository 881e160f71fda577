#include "sensors/KeyIndex.h"

#include <bit>
#include <cstring>
#include <utility>

namespace kelvora {

namespace {

constexpr std::size_t kSMCKeySize = sizeof(std::uint32_t);
constexpr std::size_t kLongestShortKey = 7;
constexpr int kLengthShift = 56;
// Knuth's multiplier, the golden ratio of 2^64: spreads neighbouring codes over the table.
constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15;

}  // namespace

std::optional<KeyIndex::Code> KeyIndex::codeOf(std::string_view key) {
  if (key.size() > kLongestShortKey) {
    return std::nullopt;
  }
  Code bytes = 0;
  if (key.size() == kSMCKeySize) {
    std::uint32_t word = 0;
    std::memcpy(&word, key.data(), sizeof word);
    bytes = word;
  } else {
    for (const char byte : key) {
      bytes = bytes << 8 | static_cast<unsigned char>(byte);
    }
  }
  return bytes | (key.size() + 1) << kLengthShift;
}

// Where the code is, or the free slot where it would be.
std::size_t KeyIndex::slotOf(Code code) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = (code * kSpread) >> (64 - std::countr_zero(slots_.size()));
  while (slots_[slot].code != code && slots_[slot].code != 0) {
    slot = (slot + 1) & mask;
  }
  return slot;
}

KeyMatch KeyIndex::find(std::string_view key) const {
  if (const std::optional<Code> code = codeOf(key)) {
    return slots_[slotOf(*code)].match;
  }
  const auto found = longKeys_.find(std::string(key));
  return found == longKeys_.end() ? KeyMatch{} : found->second;
}

KeyMatch& KeyIndex::at(std::string_view key) {
  const std::optional<Code> code = codeOf(key);
  if (!code) {
    return longKeys_[std::string(key)];
  }
  if (2 * (used_ + 1) > slots_.size()) {
    grow();
  }
  Slot& slot = slots_[slotOf(*code)];
  if (slot.code == 0) {
    slot.code = *code;
    ++used_;
  }
  return slot.match;
}

void KeyIndex::grow() {
  const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(2 * slots_.size()));
  for (const Slot& slot : old) {
    if (slot.code != 0) {
      slots_[slotOf(slot.code)] = slot;
    }
  }
}

}  // namespace kelvora
