#include "KelvoraCore/KVSettingsSnapshot.h"

#include "ports/UserDefaults.h"
#include "settings/SnapshotSuite.h"

namespace kelvora {

KVSettingsSnapshot::KVSettingsSnapshot(KVSettings& settings)
    : KVSettings(settings.platform_, std::make_unique<SnapshotSuite>(settings.suite_->objects())) {}

}  // namespace kelvora
