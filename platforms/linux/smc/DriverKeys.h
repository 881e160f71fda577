#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platforms/linux/smc/AppleSMCFiles.h"

namespace kelvora::platform {

/// A key as "key_at_index" describes it.
struct DriverKey {
  std::uint32_t name = 0;  ///< packed, e.g. 0x54433050 for "TC0P"
  std::uint32_t type = 0;
  std::uint32_t dataSize = 0;
};

/// The keys by index, for root. Another program may choose a key at any moment: each operation
/// holds the lock; a read counts only if the index is unchanged afterwards; otherwise it is
/// retried.
class DriverKeys {
 public:
  /// `files` outlives the object.
  explicit DriverKeys(AppleSMCFiles& files) : files_(files) {}

  std::uint32_t count();
  /// None if there is no such index, or every attempt was disturbed.
  std::optional<DriverKey> keyAt(unsigned index);
  /// The bytes of the key at an index; none if they cannot be read.
  std::optional<std::string> dataAt(unsigned index);
  /// Whether the SMC itself has a key, e.g. 0x46304d64 for "F0Md"; none if a name cannot be read.
  std::optional<bool> has(std::uint32_t name);

 private:
  template <typename Result, typename Read>
  std::optional<Result> readUndisturbed(unsigned index, Read read);

  AppleSMCFiles& files_;
};

/// Four characters as they travel in an SMC record. The driver prints the characters up to a NUL,
/// then a line end: what is missing was NUL.
std::uint32_t packedLine(std::string_view line);

}  // namespace kelvora::platform
