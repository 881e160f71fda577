#include "engine/SaveTransaction.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <tuple>

#include "KelvoraCore/ManagedObjectContext.h"

#include "engine/FetchSQL.h"
#include "engine/ObjectIDs.h"
#include "engine/Schema.h"

namespace kelvora::engine {

namespace {

std::string insertSQL(const EntityDescription& entity) {
  const bool batched = entity.batchedIndex() != nullptr;
  std::string names = "_id";
  std::string values = "?1";
  for (std::size_t i = 0; i < entity.columns.size(); ++i) {
    names += ", " + quoted(entity.columns[i].name);
    values += ", ?" + std::to_string(i + 2);
  }
  return "INSERT INTO " + quoted(entity.name) + " (" + names + (batched ? ", _recent" : "") +
         ") VALUES (" + values + (batched ? ", 1)" : ")");
}

std::string updateSQL(const EntityDescription& entity, std::uint64_t columns) {
  std::string sql = "UPDATE " + quoted(entity.name) + " SET ";
  int parameter = 2;
  for (std::size_t i = 0; i < entity.columns.size(); ++i) {
    if ((columns >> i & 1) != 0) {
      sql += (parameter == 2 ? "" : ", ") + quoted(entity.columns[i].name) + " = ?" +
             std::to_string(parameter);
      ++parameter;
    }
  }
  return sql + " WHERE _id = ?1";
}

}  // namespace

std::optional<std::string> missingValue(const RowChange& change) {
  for (std::size_t i = 0; i < change.entity->columns.size(); ++i) {
    const Column& column = change.entity->columns[i];
    if (change.values != nullptr && change.writes(i) && !column.optional &&
        column.kind == ColumnKind::kAttribute &&
        std::holds_alternative<std::monostate>((*change.values)[i])) {
      return column.name + " of " + change.entity->name + " is required";
    }
  }
  return std::nullopt;
}

SaveTransaction::SaveTransaction(StoreFile& file, const ManagedObjectModel& model)
    : file_(file), model_(model), statements_(model.entities().size()) {}

SaveOutcome SaveTransaction::run(const std::vector<RowChange>& changes) {
  outcome_ = {};
  overridden_.clear();
  present_.assign(model_.entities().size(), {});
  inserted_.clear();
  WriteTransaction transaction(file_);
  if (file_.hasMoved()) {
    throw std::runtime_error(ManagedObjectContext::kStoreMovedError);
  }
  noteBlocks(file_, changes);
  placeProvisional(changes);
  for (const RowChange& change : changes) {
    if (change.kind == RowChange::Kind::kInsert) {
      present_[change.entity->number].insert(change.id);
    }
  }
  for (std::size_t i = 0; i < changes.size(); ++i) {
    write(i, changes[i]);
  }
  for (const RowChange& change : changes) {
    if (change.kind == RowChange::Kind::kDelete) {
      deleteRow(*change.entity, change.id);
    }
  }
  const auto countedBefore = recentRows_;
  try {
    enterBatches();
    transaction.commit();
  } catch (...) {
    recentRows_ = countedBefore;
    throw;
  }
  return std::move(outcome_);
}

void SaveTransaction::placeProvisional(const std::vector<RowChange>& changes) {
  std::vector<std::tuple<std::int64_t, std::size_t, std::size_t>> provisional;
  for (std::size_t number = 0; number < changes.size(); ++number) {
    const RowChange& change = changes[number];
    for (std::size_t i = 0; change.values != nullptr && i < change.entity->columns.size(); ++i) {
      if (change.entity->columns[i].kind != ColumnKind::kOrder) {
        continue;
      }
      const auto* order = std::get_if<std::int64_t>(&(*change.values)[i]);
      if (change.writes(i) && order != nullptr && *order >= kFirstProvisionalOrder) {
        provisional.emplace_back(*order, number, i);
      }
    }
  }
  if (provisional.empty()) {
    return;
  }
  std::sort(provisional.begin(), provisional.end());
  std::int64_t given = readCounter(file_, "order");
  for (const auto& [order, number, column] : provisional) {
    const std::int64_t place = ++given * kOrderGap;
    overridden_.insert_or_assign(overridden_.end(), {number, column}, place);
    outcome_.placed.push_back({number, column, place});
  }
  writeCounter(file_, "order", given);
}

void SaveTransaction::write(std::size_t number, const RowChange& change) {
  if (change.kind == RowChange::Kind::kDelete) {
    return;
  }
  if (const auto missing = missingValue(change)) {
    throw std::runtime_error(*missing);
  }
  if (!checkTargets(number, change)) {
    outcome_.gone.push_back(number);
    deleteRow(*change.entity, change.id);  // also a new one: others may lead to it already
    return;
  }
  if (change.kind == RowChange::Kind::kInsert) {
    insert(number, change);
  } else {
    update(number, change);
  }
}

const ManagedValue& SaveTransaction::valueOf(std::size_t number, const RowChange& change,
                                             std::size_t column) {
  if (!overridden_.empty()) {
    const auto found = overridden_.find({number, column});
    if (found != overridden_.end()) {
      return found->second;
    }
  }
  return (*change.values)[column];
}

void SaveTransaction::insert(std::size_t number, const RowChange& change) {
  std::shared_ptr<PreparedStatement>& statement = statementsOf(*change.entity).insert;
  if (statement == nullptr) {
    statement = file_.statement(insertSQL(*change.entity));
  }
  const StatementRun run(statement);
  run->bind(1, change.id);
  for (std::size_t i = 0; i < change.entity->columns.size(); ++i) {
    run->bind(static_cast<int>(i) + 2, valueOf(number, change, i));
  }
  run->step();
  if (change.entity->batchedIndex() != nullptr) {
    ++inserted_[change.entity->number];
  }
}

void SaveTransaction::update(std::size_t number, const RowChange& change) {
  const StatementRun run(file_.statement(updateSQL(*change.entity, change.columns)));
  run->bind(1, change.id);
  int parameter = 2;
  for (std::size_t i = 0; i < change.entity->columns.size(); ++i) {
    if ((change.columns >> i & 1) != 0) {
      run->bind(parameter++, valueOf(number, change, i));
    }
  }
  run->step();
  if (file_.database().getChanges() == 0) {
    outcome_.gone.push_back(number);
  }
}

bool SaveTransaction::checkTargets(std::size_t number, const RowChange& change) {
  for (std::size_t i = 0; i < change.entity->columns.size(); ++i) {
    const Column& column = change.entity->columns[i];
    const auto* target = std::get_if<std::int64_t>(&(*change.values)[i]);
    if (column.kind != ColumnKind::kToOne || !change.writes(i) || target == nullptr) {
      continue;
    }
    const EntityDescription& destination = model_.entity(column.destination);
    if (rowExists(destination, *target)) {
      continue;
    }
    if (destination.toMany[column.inverse.value()].deleteRule == DeleteRule::kCascade) {
      return false;
    }
    overridden_[{number, i}] = ManagedValue();
  }
  return true;
}

bool SaveTransaction::rowExists(const EntityDescription& entity, std::int64_t id) {
  std::unordered_set<std::int64_t>& present = present_[entity.number];
  if (present.contains(id)) {
    return true;
  }
  std::shared_ptr<PreparedStatement>& statement = statementsOf(entity).exists;
  if (statement == nullptr) {
    statement = file_.statement("SELECT 1 FROM " + quoted(entity.name) + " WHERE _id = ?");
  }
  const StatementRun run(statement);
  run->bind(1, id);
  const bool exists = run->step();
  if (exists) {
    present.insert(id);
  }
  return exists;
}

// Also deletes or releases the rows that lead to it, even those that this process never saw.
void SaveTransaction::deleteRow(const EntityDescription& entity, std::int64_t id) {
  std::vector<Row> doomed{{&entity, id}};
  while (!doomed.empty()) {
    const Row row = doomed.back();
    doomed.pop_back();
    present_[row.entity->number].erase(row.id);
    {
      const StatementRun run(
          file_.statement("DELETE FROM " + quoted(row.entity->name) + " WHERE _id = ?"));
      run->bind(1, row.id);
      run->step();
    }
    for (const ToMany& toMany : row.entity->toMany) {
      releaseMembers(toMany, row.id, doomed);
    }
  }
}

void SaveTransaction::releaseMembers(const ToMany& toMany, std::int64_t owner,
                                     std::vector<Row>& doomed) {
  const EntityDescription& members = model_.entity(toMany.destination);
  std::vector<std::int64_t> ids;
  {
    const StatementRun run(file_.statement(memberIDsSQL(members, toMany.inverseColumn)));
    run->bind(1, owner);
    while (run->step()) {
      ids.push_back(run->integer(0));
    }
  }
  for (const std::int64_t member : ids) {
    if (toMany.deleteRule == DeleteRule::kCascade) {
      doomed.push_back({&members, member});
      continue;
    }
    const StatementRun run(
        file_.statement(updateSQL(members, std::uint64_t{1} << toMany.inverseColumn)));
    run->bind(1, member);
    run->bind(2, ManagedValue());
    run->step();
  }
}

std::int64_t SaveTransaction::recentRows(const EntityDescription& entity) {
  const auto found = recentRows_.find(entity.number);
  if (found != recentRows_.end()) {
    return found->second;
  }
  const StatementRun run(file_.statement("SELECT count(*) FROM " + quoted(entity.name) +
                                         " INDEXED BY " + quoted(recentIndexName(entity)) +
                                         " WHERE _recent = 1"));
  return run->step() ? run->integer(0) : 0;
}

void SaveTransaction::enterBatches() {
  for (const auto& [number, count] : inserted_) {
    const EntityDescription& entity = model_.entity(number);
    // A count that is taken now includes the rows of this save.
    const bool counted = recentRows_.contains(number);
    std::int64_t recent = recentRows(entity) + (counted ? count : 0);
    if (recent >= static_cast<std::int64_t>(entity.batchedIndex()->batchRows)) {
      const StatementRun enter(file_.statement("UPDATE " + quoted(entity.name) +
                                               " SET _recent = NULL WHERE _recent = 1"));
      enter->step();
      recent = 0;
    }
    recentRows_[number] = recent;
  }
}

}  // namespace kelvora::engine
