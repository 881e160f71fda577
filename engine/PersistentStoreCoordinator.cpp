#include "engine/PersistentStoreCoordinator.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include <SQLiteCpp/Exception.h>

#include "engine/StoreOpening.h"

namespace kelvora::engine {

namespace {

// Identifies a fetch without the values of its arguments. Empty when an argument is a list, whose
// length is part of the statement.
std::string planKey(const FetchRequest& request) {
  std::string key;
  const auto add = [&key](std::uint64_t value) {
    key.append(reinterpret_cast<const char*>(&value), sizeof(value));
  };
  add(request.entity->number);
  add(request.order ? request.order->column * 2 + (request.order->ascending ? 1 : 0) : ~0ULL);
  const std::size_t steps = request.order ? request.order->path.size() : 0;
  add(steps * 2 + (request.firstOnly ? 1 : 0));
  for (std::size_t i = 0; i < steps; ++i) {
    add(request.order->path[i]);
  }
  if (request.predicate == nullptr) {
    return key;
  }
  add(reinterpret_cast<std::uintptr_t>(request.predicate->root().get()));
  const auto& placeholders = request.predicate->root()->placeholders;
  for (std::size_t i = 0; i < placeholders.size(); ++i) {
    const auto& argument = request.predicate->arguments()[i].storage();
    if (std::holds_alternative<PredicateArgument::List>(argument) ||
        placeholders[i] == PredicateNode::Placeholder::kKey) {
      return {};
    }
    const auto* value = std::get_if<ManagedValue>(&argument);
    key += static_cast<char>(value == nullptr ? -1 : static_cast<int>(value->index()));
  }
  return key;
}

}  // namespace

PersistentStoreCoordinator::PersistentStoreCoordinator(std::shared_ptr<ManagedObjectModel> model,
                                                       EntityClasses classes)
    : model_(std::move(model)), classes_(std::move(classes)) {
  bindClasses();
}

void PersistentStoreCoordinator::bindClasses() {
  for (EntityDescription& entity : model_->entities()) {
    const auto found = classes_.find(entity.className);
    classOfEntity_.push_back(found == classes_.end() ? nullptr : &found->second);
    entity.classColumns.clear();
    for (const std::string& name :
         found == classes_.end() ? std::vector<std::string>() : found->second.names) {
      entity.classColumns.push_back(entity.columnNamed(name));
    }
    rowTexts_.push_back(rowSQL(entity));
  }
}

ManagedObjectPtr PersistentStoreCoordinator::makeObject(ManagedObject::Origin origin) const {
  const EntityClass* entityClass = classOfEntity_[origin.entity->number];
  return entityClass != nullptr ? entityClass->make(std::move(origin))
                                : std::make_shared<ManagedObject>(std::move(origin));
}

std::optional<std::string> PersistentStoreCoordinator::addStore(const std::string& path,
                                                                int busyTimeoutMs,
                                                                StoreAccess access) {
  const std::lock_guard lock(mutex_);
  path_ = path;
  busyTimeoutMs_ = busyTimeoutMs;
  access_ = access;
  open(busyTimeoutMs);
  return file_ == nullptr ? std::optional(problem_) : std::nullopt;
}

void PersistentStoreCoordinator::open(int waitMs) {
  try {
    auto file = openStore(path_, *model_, waitMs, access_);
    file->setBusyTimeout(busyTimeoutMs_);
    saver_ = std::make_unique<SaveTransaction>(*file, *model_);
    file_ = std::move(file);
    noteVersion();
  } catch (const std::exception& error) {
    problem_ = error.what();
    isLocked_ = isLockFailure(error);
  }
}

// Null when there is no store.
StoreFile* PersistentStoreCoordinator::openFile() {
  if (file_ == nullptr && isLocked_) {
    open(0);
  }
  return file_.get();
}

bool PersistentStoreCoordinator::hasStore() const {
  const std::lock_guard lock(mutex_);
  return file_ != nullptr;
}

std::shared_ptr<const PersistentStoreCoordinator::Plan> PersistentStoreCoordinator::makePlan(
    const FetchRequest& request) {
  FetchSQL sql;
  if (request.predicate == nullptr || request.resolved != nullptr) {
    sql = fetchSQL(*model_, *request.entity, request.resolved, request.order, request.firstOnly);
  } else {
    const ResolvedPredicate resolved = resolve(*request.predicate, *model_, *request.entity);
    sql = fetchSQL(*model_, *request.entity, &resolved, request.order, request.firstOnly);
  }
  auto plan = std::make_shared<Plan>();
  plan->statement = file_->statement(sql.text);
  plan->parameters = std::move(sql.parameters);
  plan->root = request.predicate == nullptr ? nullptr : request.predicate->root();
  return plan;
}

std::shared_ptr<const PersistentStoreCoordinator::Plan> PersistentStoreCoordinator::planOf(
    const FetchRequest& request) {
  constexpr std::size_t kMostPlans = 200;
  const std::string key = request.resolved == nullptr ? planKey(request) : std::string();
  if (key.empty()) {
    return makePlan(request);
  }
  const auto found = plans_.find(key);
  if (found != plans_.end()) {
    return found->second;
  }
  if (plans_.size() >= kMostPlans) {
    plans_.clear();
  }
  return plans_[key] = makePlan(request);
}

void PersistentStoreCoordinator::run(PreparedStatement& statement, const EntityDescription& entity,
                                     const RowVisitor& visit) {
  reads_.fetch_add(1, std::memory_order_relaxed);
  bool any = statement.step();
  noteVersion();
  while (any) {
    visit(RowCursor(statement, entity));
    any = statement.step();
  }
}

bool PersistentStoreCoordinator::fetch(const FetchRequest& request, const RowVisitor& visit) {
  const std::lock_guard lock(mutex_);
  if (openFile() == nullptr) {
    return false;
  }
  try {
    const auto plan = planOf(request);
    const StatementRun statement(plan->statement);
    std::vector<ManagedValue> held;
    held.reserve(plan->parameters.size());
    int number = 0;
    for (const FetchParameter& parameter : plan->parameters) {
      if (!parameter.argument) {
        statement->bind(++number, parameter.value);
        continue;
      }
      held.push_back(comparableValue(request.predicate->arguments()[*parameter.argument]));
      statement->bind(++number, held.back());
    }
    run(*statement, *request.entity, visit);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

PersistentStoreCoordinator::RowResult PersistentStoreCoordinator::visitByID(
    const std::string& sql, const EntityDescription& entity, std::int64_t id,
    const RowVisitor& visit) {
  const std::lock_guard lock(mutex_);
  if (openFile() == nullptr) {
    return RowResult::kFailed;
  }
  try {
    const StatementRun statement(file_->statement(sql));
    statement->bind(1, id);
    bool any = false;
    run(*statement, entity, [&](const RowCursor& row) {
      any = true;
      visit(row);
    });
    return any ? RowResult::kFound : RowResult::kMissing;
  } catch (const std::exception&) {
    return RowResult::kFailed;
  }
}

PersistentStoreCoordinator::RowResult PersistentStoreCoordinator::row(
    const EntityDescription& entity, std::int64_t id, const RowVisitor& visit) {
  return visitByID(rowTexts_[entity.number], entity, id, visit);
}

bool PersistentStoreCoordinator::members(const EntityDescription& entity, std::size_t column,
                                         std::int64_t owner, const RowVisitor& visit) {
  return visitByID(membersSQL(entity, column), entity, owner, visit) != RowResult::kFailed;
}

SaveOutcome PersistentStoreCoordinator::save(const std::vector<RowChange>& changes) {
  const std::lock_guard lock(mutex_);
  if (openFile() == nullptr) {
    throw std::runtime_error("there is no store: " + problem_);
  }
  SaveOutcome outcome = saver_->run(changes);
  noteVersion();
  return outcome;
}

std::int64_t PersistentStoreCoordinator::nextObjectID() {
  const std::lock_guard lock(mutex_);
  return ids_.next(file_.get());
}

std::uint64_t PersistentStoreCoordinator::version() {
  const std::lock_guard lock(mutex_);
  if (file_ == nullptr) {
    return 0;
  }
  try {
    version_.store(file_->currentVersion(), std::memory_order_relaxed);
  } catch (const std::exception&) {
    // If the file cannot be read, the values already read remain in use.
  }
  return seenVersion();
}

}  // namespace kelvora::engine
