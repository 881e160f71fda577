#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "KelvoraCore/ManagedValue.h"

#include "engine/ManagedObjectModel.h"
#include "engine/StoreFile.h"

namespace kelvora::engine {

/// Places in ordered relationships are whole numbers with gaps between them. An appended object
/// gets a provisional place above all others. The save, which knows all places in use, replaces it.
inline constexpr std::int64_t kFirstProvisionalOrder = std::int64_t{1} << 62;
inline constexpr std::int64_t kOrderGap = std::int64_t{1} << 20;

struct RowChange {
  enum class Kind : std::uint8_t { kInsert, kUpdate, kDelete };
  const EntityDescription* entity = nullptr;
  std::int64_t id = 0;
  Kind kind = Kind::kInsert;
  std::uint64_t columns = 0;                          ///< one bit per changed column, of an update
  const std::vector<ManagedValue>* values = nullptr;  ///< one per column; null for a deletion

  bool writes(std::size_t column) const {
    return kind == Kind::kInsert || (columns >> column & 1) != 0;
  }
};

/// What is wrong when a change leaves nil where the model requires a value; none when all is well.
std::optional<std::string> missingValue(const RowChange& change);

struct SaveOutcome {
  struct Placed {
    std::size_t change;
    std::size_t column;
    std::int64_t order;
  };
  std::vector<Placed> placed;     ///< provisional orders that became final
  std::vector<std::size_t> gone;  ///< changes whose row another program deleted
};

/// Writes the changes of one save. Whatever other processes did meanwhile, afterwards no
/// relationship leads to a missing row.
class SaveTransaction {
 public:
  SaveTransaction(StoreFile& file, const ManagedObjectModel& model);

  /// Writes all changes in one transaction. Throws std::exception when that fails, and then has
  /// changed nothing.
  /// Deletions come after the other changes; otherwise the order is that of the list.
  SaveOutcome run(const std::vector<RowChange>& changes);

 private:
  void placeProvisional(const std::vector<RowChange>& changes);
  void write(std::size_t number, const RowChange& change);
  void insert(std::size_t number, const RowChange& change);
  void update(std::size_t number, const RowChange& change);
  void deleteRow(const EntityDescription& entity, std::int64_t id);
  struct Row {
    const EntityDescription* entity;
    std::int64_t id;
  };
  void releaseMembers(const ToMany& toMany, std::int64_t owner, std::vector<Row>& doomed);
  // Whether the row may be written, after clearing references to rows that are gone.
  bool checkTargets(std::size_t number, const RowChange& change);
  bool rowExists(const EntityDescription& entity, std::int64_t id);
  const ManagedValue& valueOf(std::size_t number, const RowChange& change, std::size_t column);
  void enterBatches();
  std::int64_t recentRows(const EntityDescription& entity);

  struct EntityStatements {
    std::shared_ptr<PreparedStatement> insert;
    std::shared_ptr<PreparedStatement> exists;
  };
  EntityStatements& statementsOf(const EntityDescription& entity) {
    return statements_[entity.number];
  }

  StoreFile& file_;
  const ManagedObjectModel& model_;
  std::vector<EntityStatements> statements_;                  // by entity, once used
  std::unordered_map<std::size_t, std::int64_t> recentRows_;  // by entity, once counted

  // Of the run.
  SaveOutcome outcome_;
  std::map<std::pair<std::size_t, std::size_t>, ManagedValue> overridden_;  // by change, column
  std::vector<std::unordered_set<std::int64_t>> present_;                   // ids by entity
  std::unordered_map<std::size_t, std::int64_t> inserted_;  // by entity, of those with batches
};

}  // namespace kelvora::engine
