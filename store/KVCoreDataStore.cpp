#include "KelvoraCore/KVCoreDataStore.h"

#include <memory>
#include <utility>

#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/KVUtils.h"

#include "engine/ContextState.h"
#include "engine/ModelFile.h"
#include "engine/PersistentStoreCoordinator.h"
#include "ports/Ports.h"
#include "store/StoreFileName.h"

namespace kelvora {

namespace {

constexpr const char* kModelName = "Database";
constexpr const char* kModelType = "momd";

using Surroundings = std::shared_ptr<const KVManagedObject::Surroundings>;

template <typename T>
std::pair<const std::string, engine::EntityClass> entityClass(const char* className,
                                                              const Surroundings& surroundings) {
  return {className,
          {[surroundings](ManagedObject::Origin origin) {
             return std::make_shared<T>(std::move(origin), surroundings);
           },
           T::attributeNames()}};
}

engine::EntityClasses entityClasses(const Surroundings& surroundings) {
  return {entityClass<KVCategory>("KVCategory", surroundings),
          entityClass<KVSensor>("KVSensor", surroundings),
          entityClass<KVGraphPoint>("KVGraphPoint", surroundings),
          entityClass<KVFanSet>("KVFanSet", surroundings),
          entityClass<KVFanCondition>("KVFanCondition", surroundings)};
}

}  // namespace

KVCoreDataStore::KVCoreDataStore(double stalenessInterval)
    : KVCoreDataStore(stalenessInterval, Platform::current()) {}

KVCoreDataStore::KVCoreDataStore(double stalenessInterval, Platform& platform)
    : KVCoreDataStore(stalenessInterval, platform, Options()) {}

KVCoreDataStore::KVCoreDataStore(double stalenessInterval, Platform& platform, Options options)
    : stalenessInterval_(stalenessInterval),
      platform_(platform),
      options_(options),
      ownSettings_(std::make_unique<KVSettings>(platform)),
      surroundings_(std::make_shared<KVManagedObject::Surroundings>(
          KVManagedObject::Surroundings{ownSettings_.get(), &platform})) {}

KVCoreDataStore::KVCoreDataStore(double stalenessInterval, Platform& platform, KVSettings& settings)
    : KVCoreDataStore(stalenessInterval, platform, settings, Options()) {}

KVCoreDataStore::KVCoreDataStore(double stalenessInterval, Platform& platform, KVSettings& settings,
                                 Options options)
    : stalenessInterval_(stalenessInterval),
      platform_(platform),
      options_(options),
      surroundings_(std::make_shared<KVManagedObject::Surroundings>(
          KVManagedObject::Surroundings{&settings, &platform})) {}

KVCoreDataStore::~KVCoreDataStore() { *surroundings_ = {}; }

std::shared_ptr<const engine::ManagedObjectModel> KVCoreDataStore::managedObjectModel() {
  const std::lock_guard lock(mutex_);
  if (!modelLoaded_) {
    modelLoaded_ = true;
    const auto path = platform_.mainBundle().resourcePath(kModelName, kModelType);
    model_ = path ? engine::modelFromFile(*path) : nullptr;
  }
  return model_;
}

std::shared_ptr<engine::PersistentStoreCoordinator> KVCoreDataStore::persistentStoreCoordinator() {
  const std::lock_guard lock(mutex_);
  if (coordinator_ == nullptr && managedObjectModel() != nullptr) {
    coordinator_ =
        std::make_shared<engine::PersistentStoreCoordinator>(model_, entityClasses(surroundings_));
    const std::string folder = options_.isReadOnly
                                   ? KVUtils::groupContainerLocation(platform_).value_or("")
                                   : applicationDocumentsDirectory();
    if (!folder.empty()) {
      coordinator_->addStore(
          folder + "/" + kStoreFileName, options_.busyTimeoutMs,
          options_.isReadOnly ? engine::StoreAccess::kReadOnly : engine::StoreAccess::kReadWrite);
    }
  }
  return coordinator_;
}

std::string KVCoreDataStore::applicationDocumentsDirectory() {
  return KVUtils::groupContainerPath(platform_).value_or("");
}

ManagedObjectContextPtr KVCoreDataStore::viewContext() {
  const std::lock_guard lock(mutex_);
  if (viewContext_ == nullptr && persistentStoreCoordinator() != nullptr) {
    viewContext_ = engine::makeContext(
        coordinator_, nullptr, std::make_unique<engine::MainContextQueue>(platform_.mainQueue()));
    viewContext_->setStalenessInterval(stalenessInterval_);
  }
  return viewContext_;
}

ManagedObjectContextPtr KVCoreDataStore::newContext() {
  const ManagedObjectContextPtr parent = viewContext();
  if (parent != nullptr) {
    return parent->newChild();
  }
  return engine::makeContext(nullptr, nullptr, std::make_unique<engine::PrivateContextQueue>());
}

void KVCoreDataStore::saveViewContext() {
  if (const ManagedObjectContextPtr context = viewContext()) {
    context->saveRecursively();
  }
}

void KVCoreDataStore::refreshAllObjectsInViewContext() {
  if (const ManagedObjectContextPtr context = viewContext()) {
    context->perform([weak = std::weak_ptr(context)] {
      if (const auto alive = weak.lock()) {
        alive->refreshAllObjects();
      }
    });
  }
}

}  // namespace kelvora
