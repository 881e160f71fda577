#include "presentation/StringsTables.h"

#include <span>
#include <system_error>
#include <utility>

#include "base/InputFile.h"
#include "base/Log.h"

namespace kelvora {

StringsTables& StringsTables::shared() {
  static StringsTables& tables = *new StringsTables();
  return tables;
}

void StringsTables::read(const std::string& path, const FileVersion& version, Entry& entry) {
  InputFile file(path);
  const std::string bytes = file.readAll();
  std::string failure;
  if (file.error() != 0) {
    failure = std::generic_category().message(file.error());
  } else {
    StringsTableReading reading = parseStringsTable(std::as_bytes(std::span(bytes)));
    entry.table =
        std::make_shared<const StringsTable>(std::move(reading.table).value_or(StringsTable()));
    entry.version = version;
    failure = std::move(reading.failure);
  }
  if (!failure.empty() && failure != entry.failure) {
    log("Localization: " + path + ": " + failure);
  }
  entry.failure = std::move(failure);
}

std::shared_ptr<const StringsTable> StringsTables::tableOf(const std::string& path) {
  const auto version = fileVersion(path);
  if (!version) {
    return std::make_shared<const StringsTable>();
  }
  const std::lock_guard lock(mutex_);
  Entry& entry = entries_[path];
  if (entry.version != version) {
    read(path, *version, entry);
  }
  return entry.table;
}

}  // namespace kelvora
