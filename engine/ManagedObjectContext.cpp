#include "KelvoraCore/ManagedObjectContext.h"

#include <utility>

#include "engine/ContextState.h"

namespace kelvora {

ManagedObjectContext::ManagedObjectContext(std::shared_ptr<engine::ContextState> state)
    : state_(std::move(state)) {}

ManagedObjectContext::~ManagedObjectContext() { state_->close(); }

ManagedObjectContextPtr ManagedObjectContext::newChild() {
  return engine::makeContext(state_->coordinator(), state_,
                             std::make_unique<engine::PrivateContextQueue>());
}

ManagedObjectContextPtr ManagedObjectContext::parentContext() const {
  return state_->parent() == nullptr ? nullptr : state_->parent()->facade.lock();
}

void ManagedObjectContext::performAndWait(const std::function<void()>& work) {
  state_->queue().performAndWait(work);
}

void ManagedObjectContext::perform(std::function<void()> work) {
  state_->queue().perform(std::move(work));
}

double ManagedObjectContext::stalenessInterval() const { return state_->stalenessInterval(); }

void ManagedObjectContext::setStalenessInterval(double seconds) {
  state_->setStalenessInterval(seconds);
}

ManagedObjectPtr ManagedObjectContext::insertNewObject(std::string_view entity) {
  return state_->insert(entity);
}

void ManagedObjectContext::deleteObject(const ManagedObjectPtr& object) {
  if (const ManagedObjectPtr mine = state_->own(object)) {
    state_->deleteObject(*mine);
  }
}

ManagedObjectPtr ManagedObjectContext::objectFor(const ManagedObjectPtr& object) {
  return state_->own(object);
}

bool ManagedObjectContext::hasChanges() const { return state_->hasChanges(); }

void ManagedObjectContext::refreshAllObjects() { state_->refreshAll(); }

std::optional<ManagedObjectContext::Objects> ManagedObjectContext::objectsOf(
    std::string_view entity) {
  return objectsOf(entity, std::nullopt, std::nullopt);
}

std::optional<ManagedObjectContext::Objects> ManagedObjectContext::objectsOf(
    std::string_view entity, const std::optional<Predicate>& predicate) {
  return objectsOf(entity, predicate, std::nullopt);
}

std::optional<ManagedObjectContext::Objects> ManagedObjectContext::objectsOf(
    std::string_view entity, const std::optional<Predicate>& predicate,
    const std::optional<SortDescriptor>& sortDescriptor) {
  return state_->fetch(entity, predicate ? &*predicate : nullptr,
                       sortDescriptor ? &*sortDescriptor : nullptr, false);
}

ManagedObjectPtr ManagedObjectContext::objectOf(std::string_view entity,
                                                const std::optional<Predicate>& predicate) {
  const auto found = state_->fetch(entity, predicate ? &*predicate : nullptr, nullptr, true);
  return found && !found->empty() ? found->front() : nullptr;
}

void ManagedObjectContext::rollback() { state_->rollback(); }

std::optional<std::string> ManagedObjectContext::save() {
  std::optional<std::string> error;
  performAndWait([&] { error = state_->save(); });
  return error;
}

void ManagedObjectContext::saveRecursively() {
  performAndWait([this] {
    if (state_->hasChanges()) {
      state_->saveThisAndParents();
    }
  });
}

void ManagedObjectContext::saveThisAndParentContexts() {
  performAndWait([this] { state_->saveThisAndParents(); });
}

namespace engine {

ManagedObjectContextPtr makeContext(std::shared_ptr<PersistentStoreCoordinator> coordinator,
                                    std::shared_ptr<ContextState> parent,
                                    std::unique_ptr<ContextQueue> queue) {
  const double staleness = parent == nullptr ? -1 : parent->stalenessInterval();
  auto state =
      std::make_shared<ContextState>(std::move(coordinator), std::move(parent), std::move(queue));
  state->setStalenessInterval(staleness);
  auto context = std::make_shared<ManagedObjectContext>(state);
  state->facade = context;
  return context;
}

}  // namespace engine

}  // namespace kelvora
