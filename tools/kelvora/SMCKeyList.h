#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelvora::tool {

/// One key of the SMC as it was read.
struct SMCKeyEntry {
  std::uint32_t index = 0;
  std::string key;   ///< e.g. "TC0P"; UTF-8
  std::string type;  ///< e.g. "sp78", blanks and all
  std::uint32_t size = 0;
  std::uint8_t attributes = 0;
  std::vector<std::uint8_t> bytes;  ///< as many as the key holds, at most 32
  std::optional<double> value;      ///< none where the type is not known
};

struct SMCKeyList {
  std::uint32_t count = 0;       ///< what the SMC reports ("#KEY")
  std::uint32_t unreadable = 0;  ///< indices below `count` that gave no key
  std::vector<SMCKeyEntry> entries;
};

/// How many keys the current platform's SMC reports ("#KEY"), e.g. 1250; 0 when it cannot be opened
/// or does not say.
std::uint32_t smcKeyCount();

/// Reads every key of the current platform's SMC by index; an empty list when the SMC cannot be
/// opened.
SMCKeyList readSMCKeys();

}  // namespace kelvora::tool
