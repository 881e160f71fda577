#include "KelvoraCore/KVManagedObject.h"

#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

KVSettings& KVManagedObject::settings() const {
  return surroundings_->settings != nullptr ? *surroundings_->settings : KVSettings::shared();
}

Platform& KVManagedObject::platform() const {
  return surroundings_->platform != nullptr ? *surroundings_->platform : Platform::current();
}

}  // namespace kelvora
