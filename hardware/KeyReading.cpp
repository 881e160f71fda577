#include "hardware/KeyReading.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <span>
#include <string>
#include <utility>

#include "KelvoraCore/Platform.h"

#include "base/HexadecimalText.h"
#include "hardware/SMCConnection.h"

namespace kelvora {

namespace {

// A real SMC has some hundred to some thousand; a faulty one may claim any number.
constexpr std::uint32_t kMostKeys = 65'536;

// Empty when the key cannot be read; the SMC gives a key that it does not know the size 0.
std::string bytesOf(SMCConnection& connection, std::string_view key) {
  SMCValueRecord value;
  const auto status = connection.readKey(SMCPackedKey(key), value);
  const auto bytes = std::as_bytes(std::span(value.bytes));
  return status == platform::kKernelSuccess
             ? hexadecimalText(bytes.first(std::min<std::size_t>(value.dataSize, bytes.size())))
             : "";
}

// Returns the result of `work` on a connection; without an SMC every call on it fails.
template <typename Work>
auto withConnection(Platform& platform, Work work) {
  SMCConnection connection(platform.smc());
  connection.openSilently();
  auto result = work(connection);
  connection.close();
  return result;
}

std::string bytesOf(Platform& platform, std::string_view key) {
  return withConnection(platform,
                        [key](SMCConnection& connection) { return bytesOf(connection, key); });
}

bool isAt(SMCConnection& connection, std::uint32_t index, std::string_view key) {
  SMCParamRecord request;
  request.command = SMCCommandKeyAtIndex;
  request.data32 = index;
  SMCParamRecord reply;
  return connection.call(SMCSelector, request, reply) == platform::kKernelSuccess &&
         reply.result == SMCResultSuccess && reply.key == SMCPackedKey(key);
}

std::uint32_t numberOfKeys(SMCConnection& connection) {
  return static_cast<std::uint32_t>(std::strtoul(bytesOf(connection, "#KEY").c_str(), nullptr, 16));
}

}  // namespace

bool isReadable(Platform& platform, std::string_view key) {
  return !bytesOf(platform, key).empty();
}

bool isUnknown(Platform& platform, std::string_view key) {
  return withConnection(platform, [key](SMCConnection& connection) {
    SMCKeyInfo info{};
    const auto status = connection.getKeyInfo(SMCPackedKey(key), info);
    return status == platform::kKernelSuccess && info.dataSize == 0;
  });
}

bool isListed(Platform& platform, std::string_view key) {
  return withConnection(platform, [key](SMCConnection& connection) {
    const std::uint32_t count = std::min(numberOfKeys(connection), kMostKeys);
    for (std::uint32_t index = 0; index < count; ++index) {
      if (isAt(connection, index, key)) {
        return true;
      }
    }
    return false;
  });
}

bool readsAs(Platform& platform, std::string_view key, std::string_view value) {
  const auto isSameDigit = [](unsigned char read, unsigned char digit) {
    return read == std::tolower(digit);
  };
  const std::string bytes = bytesOf(platform, key);
  return !bytes.empty() && std::ranges::equal(bytes, value, isSameDigit);
}

std::vector<std::string> nonzeroKeys(Platform& platform, std::vector<std::string> keys) {
  return withConnection(platform, [&keys](SMCConnection& connection) {
    std::erase_if(keys, [&connection](const std::string& key) {
      return bytesOf(connection, key).find_first_not_of('0') == std::string::npos;
    });
    return std::move(keys);
  });
}

}  // namespace kelvora
