#include "engine/PreparedStatement.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>

namespace kelvora::engine {

namespace {

std::int64_t nanoseconds(ManagedDate date) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(date.time_since_epoch()).count();
}

ManagedDate dateOf(std::int64_t nanosecondsSince1970) {
  return ManagedDate(std::chrono::duration_cast<ManagedDate::duration>(
      std::chrono::nanoseconds(nanosecondsSince1970)));
}

// SQLite stores a not-a-number as NULL. In a required attribute NULL can mean nothing else.
ManagedValue valueOfNull(const Column& property) {
  const bool wasNumber = property.kind == ColumnKind::kAttribute &&
                         property.type == AttributeType::kDouble && !property.optional;
  return wasNumber ? ManagedValue(std::numeric_limits<double>::quiet_NaN()) : ManagedValue();
}

}  // namespace

PreparedStatement::PreparedStatement(SQLite::Database& database, const std::string& sql) {
  const int code =
      sqlite3_prepare_v3(database.getHandle(), sql.c_str(), static_cast<int>(sql.size() + 1),
                         SQLITE_PREPARE_PERSISTENT, &handle_, nullptr);
  if (code != SQLITE_OK) {
    throw SQLite::Exception(database.getHandle(), code);
  }
}

PreparedStatement::~PreparedStatement() { sqlite3_finalize(handle_); }

void PreparedStatement::check(int code) const {
  if (code != SQLITE_OK) {
    throw SQLite::Exception(sqlite3_db_handle(handle_), code);
  }
}

void PreparedStatement::bind(int parameter, std::int64_t number) {
  check(sqlite3_bind_int64(handle_, parameter, number));
}

void PreparedStatement::bind(int parameter, const ManagedValue& value) {
  check(std::visit(
      [&](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return sqlite3_bind_null(handle_, parameter);
        } else if constexpr (std::is_same_v<T, double>) {
          return sqlite3_bind_double(handle_, parameter, held);
        } else if constexpr (std::is_same_v<T, std::string>) {
          return sqlite3_bind_text64(handle_, parameter, held.data(), held.size(), SQLITE_STATIC,
                                     SQLITE_UTF8);
        } else if constexpr (std::is_same_v<T, ManagedDate>) {
          return sqlite3_bind_int64(handle_, parameter, nanoseconds(held));
        } else if constexpr (std::is_same_v<T, ManagedData>) {
          // A null pointer would bind NULL for no bytes.
          return held.empty() ? sqlite3_bind_zeroblob(handle_, parameter, 0)
                              : sqlite3_bind_blob64(handle_, parameter, held.data(), held.size(),
                                                    SQLITE_STATIC);
        } else {
          return sqlite3_bind_int64(handle_, parameter, held);
        }
      },
      value));
}

bool PreparedStatement::step() {
  const int code = sqlite3_step(handle_);
  if (code == SQLITE_ROW) {
    return true;
  }
  if (code != SQLITE_DONE) {
    throw SQLite::Exception(sqlite3_db_handle(handle_), code);
  }
  return false;
}

void PreparedStatement::reset() {
  sqlite3_reset(handle_);
  sqlite3_clear_bindings(handle_);
}

std::string PreparedStatement::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
  const auto length = static_cast<std::size_t>(sqlite3_column_bytes(handle_, column));
  return bytes == nullptr ? std::string() : std::string(bytes, length);
}

ManagedValue PreparedStatement::value(int column, const Column& property) const {
  if (isNull(column)) {
    return valueOfNull(property);
  }
  if (property.kind != ColumnKind::kAttribute) {
    return integer(column);
  }
  switch (property.type) {
    case AttributeType::kString:
      return text(column);
    case AttributeType::kDate:
      return dateOf(integer(column));
    case AttributeType::kDouble:
      return sqlite3_column_double(handle_, column);
    case AttributeType::kBoolean:
      return integer(column) != 0;
    case AttributeType::kInt16:
    case AttributeType::kInt64:
      return integer(column);
    case AttributeType::kBinary:
      break;
  }
  const void* bytes = sqlite3_column_blob(handle_, column);
  ManagedData data(static_cast<std::size_t>(sqlite3_column_bytes(handle_, column)));
  if (!data.empty()) {
    std::memcpy(data.data(), bytes, data.size());
  }
  return data;
}

}  // namespace kelvora::engine
