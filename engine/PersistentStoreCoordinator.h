#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "KelvoraCore/ManagedObject.h"
#include "KelvoraCore/Predicate.h"

#include "engine/FetchSQL.h"
#include "engine/ManagedObjectModel.h"
#include "engine/ObjectIDs.h"
#include "engine/SaveTransaction.h"
#include "engine/StoreFile.h"

namespace kelvora::engine {

/// How the objects of an entity are made, and the names that their class reads.
struct EntityClass {
  std::function<ManagedObjectPtr(ManagedObject::Origin)> make;
  std::vector<std::string> names;
};

/// By the class names of the model; entities whose class is missing get plain ManagedObjects.
using EntityClasses = std::map<std::string, EntityClass>;

/// The current row of a fetch. Valid during the visit only.
class RowCursor {
 public:
  RowCursor(const PreparedStatement& statement, const EntityDescription& entity)
      : statement_(statement), entity_(entity) {}
  std::int64_t id() const { return statement_.integer(0); }
  ManagedValue value(std::size_t column) const {
    return statement_.value(static_cast<int>(column) + 1, entity_.columns[column]);
  }

 private:
  const PreparedStatement& statement_;
  const EntityDescription& entity_;
};

struct FetchRequest {
  const EntityDescription* entity = nullptr;
  const Predicate* predicate = nullptr;
  const ResolvedPredicate* resolved = nullptr;  ///< instead of `predicate`; without arguments
  std::optional<FetchOrder> order;
  bool firstOnly = false;
};

/// Owns the model and the store file. Every context of a store reads and saves through it. Any
/// thread; one at a time uses the file.
class PersistentStoreCoordinator {
 public:
  using RowVisitor = std::function<void(const RowCursor&)>;

  PersistentStoreCoordinator(std::shared_ptr<ManagedObjectModel> model, EntityClasses classes);

  const ManagedObjectModel& model() const { return *model_; }
  ManagedObjectPtr makeObject(ManagedObject::Origin origin) const;

  /// Opens the file at a path as the store, creating or migrating it; waits for other programs'
  /// locks up to the busy time-out. Returns none on success, else what is wrong; then there is no
  /// store and every save fails with that reason. Where a lock outlasted the time-out, each later
  /// access tries once more without waiting.
  /// For reading only, nothing is created or migrated, and every save fails.
  std::optional<std::string> addStore(const std::string& path, int busyTimeoutMs,
                                      StoreAccess access = StoreAccess::kReadWrite);
  bool hasStore() const;

  /// Visits the rows of a fetch in its order. Returns false when there is no store or it fails. The
  /// visitor runs under the lock of the coordinator and must not call it.
  bool fetch(const FetchRequest& request, const RowVisitor& visit);
  enum class RowResult : std::uint8_t { kFound, kMissing, kFailed };
  /// Visits the row with an id.
  RowResult row(const EntityDescription& entity, std::int64_t id, const RowVisitor& visit);
  /// Visits the rows whose to-one column leads to an object, in no order. Returns false when it
  /// fails.
  bool members(const EntityDescription& entity, std::size_t column, std::int64_t owner,
               const RowVisitor& visit);

  /// Writes changes in one transaction. Throws std::exception when that fails; then nothing of it
  /// is in the file.
  SaveOutcome save(const std::vector<RowChange>& changes);

  /// An id that no other object of this file has or had, also across processes. Never waits for
  /// another program.
  std::int64_t nextObjectID();

  /// A number that grows with every commit to the file by any process; looks at the file.
  std::uint64_t version();
  /// The same number as of the last access.
  std::uint64_t seenVersion() const { return version_.load(std::memory_order_relaxed); }

  /// How many statements have read rows so far, for tests.
  std::uint64_t reads() const { return reads_.load(std::memory_order_relaxed); }

 private:
  struct Plan {
    std::shared_ptr<PreparedStatement> statement;
    std::vector<FetchParameter> parameters;
    std::shared_ptr<const PredicateNode> root;  // kept, since its address is part of the key
  };

  void bindClasses();
  std::shared_ptr<const Plan> planOf(const FetchRequest& request);
  std::shared_ptr<const Plan> makePlan(const FetchRequest& request);
  void run(PreparedStatement& statement, const EntityDescription& entity, const RowVisitor& visit);
  RowResult visitByID(const std::string& sql, const EntityDescription& entity, std::int64_t id,
                      const RowVisitor& visit);
  void open(int waitMs);
  StoreFile* openFile();
  void noteVersion() { version_.store(file_->seenVersion(), std::memory_order_relaxed); }

  std::shared_ptr<ManagedObjectModel> model_;
  EntityClasses classes_;
  std::vector<const EntityClass*> classOfEntity_;
  std::vector<std::string> rowTexts_;

  mutable std::mutex mutex_;  // guards what follows
  std::string path_;
  int busyTimeoutMs_ = 0;
  StoreAccess access_ = StoreAccess::kReadWrite;
  std::string problem_ = "no file was opened";  // while there is no store
  bool isLocked_ = false;                       // the reason is another program's lock
  std::unique_ptr<StoreFile> file_;
  std::unique_ptr<SaveTransaction> saver_;
  std::unordered_map<std::string, std::shared_ptr<const Plan>> plans_;
  ObjectIDs ids_;
  std::atomic<std::uint64_t> version_{0};
  std::atomic<std::uint64_t> reads_{0};
};

}  // namespace kelvora::engine
