// The "smc" and "hid" members of a machine file.
#include <algorithm>
#include <charconv>

#include "KelvoraCore/SMCRecords.h"

#include "base/HexadecimalText.h"
#include "base/Latin1.h"
#include "platforms/recorded/file/MachineFileParts.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kMostPayloadBytes = sizeof(SMCParamRecord::bytes);

std::uint32_t fourCharacterCodeAt(const JSONPlace& place) {
  const std::string& text = place.text();
  if (std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) > 0xc3; })) {
    place.refuse(JSONPlace::quoted(text) + " has a character beyond U+00FF");
  }
  const std::string codes = latin1OfUTF8(text);
  if (codes.size() != 4) {
    place.refuse(JSONPlace::quoted(text) + " is not four characters");
  }
  return SMCPackedKey(codes);
}

// A data type may end in NUL ("ui8\0" on real machines), a key holds none.
std::uint32_t keyAt(const JSONPlace& place) {
  const std::uint32_t key = fourCharacterCodeAt(place);
  for (const int shift : {0, 8, 16, 24}) {
    if ((key >> shift & 0xff) == 0) {
      place.refuse("a key has no NUL character");
    }
  }
  return key;
}

std::vector<std::byte> payloadAt(const JSONPlace& place) {
  auto bytes = hexadecimalBytesAt(place);
  if (bytes.size() > kMostPayloadBytes) {
    place.refuse("is " + std::to_string(bytes.size()) + " bytes, more than 32");
  }
  return bytes;
}

RecordedSMCKey smcKeyAt(const JSONPlace& place) {
  RecordedSMCKey key;
  place.requiredMember("key", [&](const JSONPlace& at) { key.key = keyAt(at); });
  place.member("type", [&](const JSONPlace& at) { key.type = fourCharacterCodeAt(at); });
  place.member("attributes",
               [&](const JSONPlace& at) { key.attributes = at.integer<std::uint8_t>(); });
  place.member("bytes", [&](const JSONPlace& at) { key.bytes = payloadAt(at); });
  place.member("result", [&](const JSONPlace& at) { key.result = at.integer<std::uint8_t>(); });
  place.member("status", [&](const JSONPlace& at) { key.status = at.integer<std::uint32_t>(); });
  return key;
}

std::int32_t eventType(const std::string& name, const JSONPlace& place) {
  std::int32_t type = 0;
  const char* end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data(), end, type);
  // An event's field is the type shifted left by 16 bits.
  if (error != std::errc{} || stop != end || type < 0 || type > 0x7fff) {
    place.refuse(JSONPlace::quoted(name) + " is not an event type");
  }
  return type;
}

RecordedHIDService hidServiceAt(const JSONPlace& place) {
  RecordedHIDService service;
  place.requiredMember(
      "usagePage", [&](const JSONPlace& at) { service.usagePage = at.integer<std::int32_t>(); });
  place.requiredMember("usage",
                       [&](const JSONPlace& at) { service.usage = at.integer<std::int32_t>(); });
  place.member("product", [&](const JSONPlace& at) { service.product = at.text(); });
  place.member("events", [&](const JSONPlace& events) {
    events.eachMember([&](const std::string& name, const JSONPlace& at) {
      service.events[eventType(name, at)] = at.number();
    });
  });
  return service;
}

}  // namespace

std::vector<std::byte> hexadecimalBytesAt(const JSONPlace& place) {
  const std::string& text = place.text();
  std::vector<std::byte> bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const auto byte = hexadecimalByte(std::string_view(text).substr(i, 2));
    if (!byte) {
      place.refuse(JSONPlace::quoted(text) + " is not hexadecimal");
    }
    bytes.push_back(static_cast<std::byte>(*byte));
  }
  if (text.size() % 2 != 0) {
    place.refuse(JSONPlace::quoted(text) + " has an odd number of hexadecimal digits");
  }
  return bytes;
}

std::vector<RecordedSMCKey> smcKeysAt(const JSONPlace& keys) {
  return elementsAt<RecordedSMCKey>(keys, smcKeyAt);
}

std::vector<RecordedHIDService> hidServicesAt(const JSONPlace& services) {
  return elementsAt<RecordedHIDService>(services, hidServiceAt);
}

}  // namespace kelvora::platform
