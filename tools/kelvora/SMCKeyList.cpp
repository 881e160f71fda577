#include "tools/kelvora/SMCKeyList.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SMCText.h"

namespace kelvora::tool {

namespace {

// No SMC holds so many keys: one that claims more than it answers is given up after as many
// consecutive failures.
constexpr std::uint32_t kUnansweredIndicesAtMost = 65'536;

std::uint32_t keyCount() {
  SMCValueRecord record;
  if (SMCReadKey("#KEY", &record) != 0) {
    return 0;
  }
  const double count = SMCConvertValueToNumber(record);
  constexpr double kMost = std::numeric_limits<std::uint32_t>::max();
  return count > 0 ? static_cast<std::uint32_t>(std::min(count, kMost)) : 0;
}

SMCKeyEntry entryOf(std::uint32_t index, const SMCValueRecord& record) {
  SMCKeyEntry entry;
  entry.index = index;
  entry.key = textFromSMC(std::string_view(record.key, 4));
  entry.type = textFromSMC(std::string_view(record.dataType, 4));
  entry.size = record.dataSize;
  SMCKeyInfo info;
  if (SMCGetKeyInfo(SMCPackedKey({record.key, 4}), &info) == 0) {
    entry.attributes = info.dataAttributes;
  }
  entry.bytes.assign(record.bytes,
                     record.bytes + std::min<std::size_t>(record.dataSize, sizeof record.bytes));
  const float value = SMCConvertValueToNumber(record);
  if (value != -1.0F) {
    entry.value = value;
  }
  return entry;
}

}  // namespace

std::uint32_t smcKeyCount() {
  if (SMCOpen() != 0) {
    return 0;
  }
  const std::uint32_t count = keyCount();
  SMCClose();
  return count;
}

SMCKeyList readSMCKeys() {
  SMCKeyList list;
  if (SMCOpen() != 0) {
    return list;
  }
  list.count = keyCount();
  std::uint32_t unanswered = 0;
  for (std::uint32_t index = 0; index < list.count && unanswered < kUnansweredIndicesAtMost;
       ++index) {
    SMCValueRecord record;
    if (SMCReadKeyByIndex(index, &record) == 0) {
      list.entries.push_back(entryOf(index, record));
      unanswered = 0;
    } else {
      ++unanswered;
    }
  }
  list.unreadable = list.count - static_cast<std::uint32_t>(list.entries.size());
  SMCClose();
  return list;
}

}  // namespace kelvora::tool
