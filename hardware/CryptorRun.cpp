#include "hardware/CryptorRun.h"

namespace kelvora {

std::optional<SMCEncryption::Data> runCryptor(platform::Cryptor& cryptor,
                                              std::span<const std::byte> data,
                                              std::int32_t& status) {
  SMCEncryption::Data buffer(cryptor.outputLength(data.size()));
  std::size_t updated = 0;
  std::size_t finished = 0;
  status = cryptor.update(data, buffer, updated);
  if (status == kSMCCipherSuccess) {
    status = cryptor.finish(std::span(buffer).subspan(updated), finished);
  }
  const std::size_t length = status == kSMCCipherSuccess ? updated + finished : 0;
  platform::wipe(std::span(buffer).subspan(length));
  if (status != kSMCCipherSuccess) {
    return std::nullopt;
  }
  buffer.resize(length);
  return buffer;
}

}  // namespace kelvora
