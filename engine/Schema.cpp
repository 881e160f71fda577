#include "engine/Schema.h"

#include <algorithm>
#include <iomanip>
#include <locale>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <type_traits>

#include "engine/ModelFile.h"

namespace kelvora::engine {

namespace {

// "KVos": marks the file as one of this engine, so that no other database is mistaken for one.
constexpr std::int64_t kApplicationID = 0x4B566F73;

std::string columnType(const Column& column) {
  if (column.kind != ColumnKind::kAttribute) {
    return "INTEGER";
  }
  switch (column.type) {
    case AttributeType::kString:
      return "TEXT";
    case AttributeType::kBinary:
      return "BLOB";
    case AttributeType::kDouble:
      return "REAL";
    default:
      return "INTEGER";
  }
}

std::string textLiteral(const std::string& text) {
  std::string literal = "'";
  for (const char c : text) {
    literal += c;
    if (c == '\'') {
      literal += c;
    }
  }
  return literal + "'";
}

std::string literal(const ManagedValue& value) {
  return std::visit(
      [](const auto& held) -> std::string {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, bool>) {
          return held ? "1" : "0";
        } else if constexpr (std::is_same_v<T, std::string>) {
          return textLiteral(held);
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
          return std::to_string(held);
        } else if constexpr (std::is_same_v<T, double>) {
          std::ostringstream text;
          text.imbue(std::locale::classic());
          text << std::setprecision(17) << held;
          return text.str();
        } else {
          return "NULL";
        }
      },
      value);
}

std::string columnDefinition(const Column& column) {
  return quoted(column.name) + " " + columnType(column) + " DEFAULT " +
         literal(column.defaultValue);
}

std::set<std::string> columnsOf(StoreFile& file, const std::string& table) {
  std::set<std::string> names;
  PreparedStatement query(file.database(), "PRAGMA table_info(" + quoted(table) + ")");
  while (query.step()) {
    names.insert(query.text(1));
  }
  return names;
}

void createTable(StoreFile& file, const EntityDescription& entity) {
  std::string sql = "CREATE TABLE " + quoted(entity.name) + " (_id INTEGER PRIMARY KEY";
  for (const Column& column : entity.columns) {
    sql += ", " + columnDefinition(column);
  }
  if (entity.batchedIndex() != nullptr) {
    sql += ", _recent INTEGER";
  }
  file.execute(sql + ")");
}

void addMissingColumns(StoreFile& file, const EntityDescription& entity,
                       const std::set<std::string>& present) {
  const std::string alter = "ALTER TABLE " + quoted(entity.name) + " ADD COLUMN ";
  for (const Column& column : entity.columns) {
    if (!present.contains(column.name)) {
      file.execute(alter + columnDefinition(column));
    }
  }
  if (entity.batchedIndex() != nullptr && !present.contains("_recent")) {
    file.execute(alter + "_recent INTEGER");
  }
}

std::string indexDefinition(const EntityDescription& entity, const Index& index) {
  std::string sql =
      "CREATE INDEX " + quoted(indexName(entity, index)) + " ON " + quoted(entity.name) + " (";
  for (std::size_t i = 0; i < index.columns.size(); ++i) {
    sql += (i == 0 ? "" : ", ") + quoted(entity.columns[index.columns[i]].name);
  }
  sql += ")";
  return index.batchRows != 0 ? sql + " WHERE _recent IS NULL" : sql;
}

std::map<std::string, std::string> wantedIndexes(const EntityDescription& entity) {
  std::map<std::string, std::string> wanted;
  for (const Index& index : allIndexes(entity)) {
    wanted[indexName(entity, index)] = indexDefinition(entity, index);
  }
  if (const Index* batched = entity.batchedIndex()) {
    wanted[recentIndexName(entity)] =
        "CREATE INDEX " + quoted(recentIndexName(entity)) + " ON " + quoted(entity.name) +
        " (_id, " + quoted(entity.columns[batched->columns[0]].name) + ") WHERE _recent = 1";
  }
  return wanted;
}

void updateIndexes(StoreFile& file, const EntityDescription& entity) {
  std::map<std::string, std::string> wanted = wantedIndexes(entity);
  std::vector<std::string> outdated;
  {
    PreparedStatement query(file.database(),
                            "SELECT name, sql FROM sqlite_master WHERE type = 'index' AND "
                            "tbl_name = ? AND sql IS NOT NULL");
    const ManagedValue table(entity.name);
    query.bind(1, table);
    while (query.step()) {
      const auto found = wanted.find(query.text(0));
      if (found != wanted.end() && found->second == query.text(1)) {
        wanted.erase(found);
      } else {
        outdated.push_back(query.text(0));
      }
    }
  }
  for (const std::string& name : outdated) {
    file.execute("DROP INDEX " + quoted(name));
  }
  for (const auto& [name, sql] : wanted) {
    file.execute(sql);
  }
}

bool isEmptyFile(SQLite::Database& database) {
  PreparedStatement query(database, "SELECT count(*) FROM sqlite_master");
  return query.step() && query.integer(0) == 0;
}

std::string storedModel(SQLite::Database& database) {
  PreparedStatement mark(database, "PRAGMA application_id");
  if (!mark.step() || mark.integer(0) != kApplicationID) {
    throw IncompatibleStore("the file is not a store");
  }
  PreparedStatement query(database, "SELECT value FROM _store WHERE name = 'model'");
  return query.step() ? query.text(0) : std::string();
}

void writeModel(StoreFile& file, const std::string& text) {
  PreparedStatement insert(file.database(), "INSERT OR REPLACE INTO _store VALUES ('model', ?)");
  const ManagedValue value(text);
  insert.bind(1, value);
  insert.step();
}

// The model that wrote the file, if the program's can open it.
std::shared_ptr<const ManagedObjectModel> olderModel(const std::string& stored,
                                                     const ManagedObjectModel& model) {
  auto older = modelFromText(stored);
  if (!older || !isAdditiveChange(*older, model)) {
    throw IncompatibleStore("the file was written with another model");
  }
  return older;
}

// What may have been nil gets its default where it must not be nil any more.
void fillRequired(StoreFile& file, const EntityDescription& was, const EntityDescription& is) {
  for (const Column& column : is.columns) {
    const auto before = was.columnNamed(column.name);
    const bool hasDefault = !std::holds_alternative<std::monostate>(column.defaultValue);
    if (before && was.columns[*before].optional && !column.optional && hasDefault) {
      file.execute("UPDATE " + quoted(is.name) + " SET " + quoted(column.name) + " = " +
                   literal(column.defaultValue) + " WHERE " + quoted(column.name) + " IS NULL");
    }
  }
}

void bringUpToDate(StoreFile& file, const ManagedObjectModel& model, const std::string& text) {
  WriteTransaction transaction(file);
  std::shared_ptr<const ManagedObjectModel> older;
  if (isEmptyFile(file.database())) {
    file.execute("PRAGMA application_id=" + std::to_string(kApplicationID));
    file.execute("CREATE TABLE _store (name TEXT PRIMARY KEY, value) WITHOUT ROWID");
    file.execute("CREATE TABLE _counters (name TEXT PRIMARY KEY, value) WITHOUT ROWID");
  } else {
    older = olderModel(storedModel(file.database()), model);
  }
  for (const EntityDescription& entity : model.entities()) {
    const std::set<std::string> present = columnsOf(file, entity.name);
    if (present.empty()) {
      createTable(file, entity);
    } else {
      addMissingColumns(file, entity, present);
    }
    const auto* was = older == nullptr ? nullptr : older->entityNamed(entity.name);
    if (was != nullptr) {
      fillRequired(file, *was, entity);
    }
    updateIndexes(file, entity);
  }
  writeModel(file, text);
  transaction.commit();
}

}  // namespace

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

void prepareSchema(StoreFile& file, const ManagedObjectModel& model) {
  const std::string text = textFromModel(model);
  if (!isEmptyFile(file.database())) {
    const std::string stored = storedModel(file.database());
    if (stored == text) {
      return;
    }
    olderModel(stored, model);
  }
  bringUpToDate(file, model, text);
}

void requireCompatible(SQLite::Database& database, const ManagedObjectModel& model) {
  if (!isEmptyFile(database)) {
    olderModel(storedModel(database), model);
  }
}

bool isOlder(SQLite::Database& database, const ManagedObjectModel& model) {
  return !isEmptyFile(database) && storedModel(database) != textFromModel(model);
}

void requireEqual(SQLite::Database& database, const ManagedObjectModel& model) {
  if (isEmptyFile(database)) {
    throw UnwrittenStore("nothing has been written to the file yet");
  }
  if (isOlder(database, model)) {
    throw IncompatibleStore("the file was not written with this model");
  }
}

std::int64_t readCounter(StoreFile& file, const std::string& name) {
  const StatementRun query(file.statement("SELECT value FROM _counters WHERE name = ?"));
  const ManagedValue text(name);
  query->bind(1, text);
  return query->step() ? query->integer(0) : 0;
}

void writeCounter(StoreFile& file, const std::string& name, std::int64_t value) {
  const StatementRun write(file.statement("INSERT OR REPLACE INTO _counters VALUES (?, ?)"));
  const ManagedValue text(name);
  write->bind(1, text);
  write->bind(2, value);
  write->step();
}

}  // namespace kelvora::engine
