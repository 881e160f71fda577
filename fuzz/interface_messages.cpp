// Any bytes as the kernel's list of network interfaces: the totals are those of a walk that knows
// only the offsets. Messages are aligned to nothing, cut off, foreign, too short or without length.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <utility>

#include "sysinfo/InterfaceList.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

std::uint64_t littleEndian(Bytes bytes, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = size; i > 0; --i) {
    number = number << 8 | bytes[i - 1];
  }
  return number;
}

std::pair<std::uint64_t, std::uint64_t> expectedTotals(Bytes list) {
  constexpr std::size_t kWholeMessage = 160;
  std::uint64_t received = 0;
  std::uint64_t sent = 0;
  for (std::size_t at = 0; list.size() - at >= 4;) {
    const std::size_t length = littleEndian(list.subspan(at), 2);
    if (length == 0 || length > list.size() - at) {
      break;
    }
    if (list[at + 3] == 18 && length >= kWholeMessage) {
      received += littleEndian(list.subspan(at + 96), 8);
      sent += littleEndian(list.subspan(at + 104), 8);
    }
    at += length;
  }
  return {received, sent};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes list(data, size);
  const auto totals = kelvora::interfaceTotals(std::as_bytes(list));
  if (std::pair(totals.received, totals.sent) != expectedTotals(list)) {
    std::abort();
  }
  return 0;
}
