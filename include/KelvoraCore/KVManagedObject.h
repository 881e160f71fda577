#pragma once

#include <memory>
#include <utility>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ManagedObject.h"

namespace kelvora {

class KVSettings;
class Platform;

/// A stored object of the product: what it shows follows the settings and the language of the store
/// that it belongs to. Ownership and threads as of ManagedObject.
class KELVORA_EXPORT KVManagedObject : public ManagedObject {
 public:
  /// What the objects of a store share. After the end of the store both are null.
  struct Surroundings {
    KVSettings* settings = nullptr;
    Platform* platform = nullptr;
  };

  /// For KVCoreDataStore, which makes the objects.
  KVManagedObject(Origin origin, std::shared_ptr<const Surroundings> surroundings)
      : ManagedObject(std::move(origin)), surroundings_(std::move(surroundings)) {}

 protected:
  /// The settings and the platform of the object's store; the process's own after the store's end.
  KVSettings& settings() const;
  Platform& platform() const;

 private:
  std::shared_ptr<const Surroundings> surroundings_;
};

}  // namespace kelvora
