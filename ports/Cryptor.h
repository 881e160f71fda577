#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

// CommonCrypto's cryptor, with its numbers and statuses (KelvoraCore/SMCCipher.h). A program has
// one implementation: the system's library on macOS, OpenSSL's on Linux.
namespace kelvora::platform {

/// What to create. Nothing is owned; all of it is read only while the cryptor is created.
struct CryptorRequest {
  bool encrypts = true;
  std::uint32_t algorithm = 0;
  std::uint32_t options = 0;
  std::span<const std::byte> key;
  const std::byte* vector = nullptr;  ///< a block's bytes, or null for all zeros
};

/// Enciphers or deciphers one message: any number of updates, then `finish`. Destruction wipes its
/// copy of the key. One thread at a time.
class Cryptor {
 public:
  virtual ~Cryptor() = default;
  /// How many bytes an update with so much input and `finish` write at most.
  virtual std::size_t outputLength(std::size_t inputLength) const = 0;
  /// Processes input into `output`, which has `outputLength(input.size())` bytes. `written` is how
  /// many of them it wrote. Returns a status.
  virtual std::int32_t update(std::span<const std::byte> input, std::span<std::byte> output,
                              std::size_t& written) = 0;
  /// Writes what is left into the rest of that buffer. Returns a status.
  virtual std::int32_t finish(std::span<std::byte> output, std::size_t& written) = 0;
};

/// The outcome of a creation: a cryptor, or the reason for the failure.
struct CryptorCreation {
  std::unique_ptr<Cryptor> cryptor;  ///< null when the creation failed
  std::int32_t status = 0;
};

/// Creates a cryptor. Any thread; failures are not logged.
CryptorCreation createCryptor(const CryptorRequest& request);

/// Overwrites bytes with zeros, even if the compiler can see that they are never read again.
void wipe(std::span<std::byte> bytes);

}  // namespace kelvora::platform
