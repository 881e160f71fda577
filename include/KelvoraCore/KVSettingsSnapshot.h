#pragma once

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVSettings.h"

namespace kelvora {

/// The settings as they are at one moment, for a refresh or a report.
///
/// The constructor reads the suite once; every change that was stored before it shows. From then on
/// getters answer from memory, whatever other programs write. Nothing is written to the user's
/// account: defaults and values that are set stay in this object and are not broadcast. Make one at
/// the start of each refresh, and pass it wherever `KVSettings&` is taken. Any thread.
class KELVORA_EXPORT KVSettingsSnapshot : public KVSettings {
 public:
  /// Reads the suite of `settings`, which may be destroyed afterwards.
  explicit KVSettingsSnapshot(KVSettings& settings = KVSettings::shared());

 protected:
  void announce(const KVSetting&, const std::optional<PropertyListValue>&) override {}
};

}  // namespace kelvora
