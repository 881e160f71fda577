#include "presentation/StringsTables.h"

#include <fstream>
#include <iterator>
#include <span>
#include <system_error>
#include <utility>

#include "base/Log.h"

namespace kelvora {

namespace {

StringsTable readTable(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  StringsTableReading reading = parseStringsTable(std::as_bytes(std::span(bytes)));
  if (!reading.table) {
    log("Localization: " + path + ": " + reading.failure);
  }
  return std::move(reading.table).value_or(StringsTable());
}

}  // namespace

StringsTables& StringsTables::shared() {
  static StringsTables& tables = *new StringsTables();
  return tables;
}

std::shared_ptr<const StringsTable> StringsTables::tableOf(const std::string& path) {
  std::error_code error;
  const auto changed = std::filesystem::last_write_time(path, error);
  if (error || !std::filesystem::is_regular_file(path, error)) {
    return std::make_shared<const StringsTable>();
  }
  const std::lock_guard lock(mutex_);
  Entry& entry = entries_[path];
  if (!entry.table || entry.changed != changed) {
    entry = {changed, std::make_shared<const StringsTable>(readTable(path))};
  }
  return entry.table;
}

}  // namespace kelvora
