#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/CPUReader.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Platform.h"

#include "tools/kelvora/WatchSampler.h"
#include "tools/kelvora/WatchScreen.h"

namespace kelvora::tool {

/// What `kelvora watch` knows of a machine, and what of it the user wants to see. Main thread only.
class WatchModel {
 public:
  /// `platform` must outlive the model. Asks it for its sensor hardware once.
  explicit WatchModel(Platform& platform);

  void setReading(WatchReading reading);
  void setProcesses(std::optional<std::vector<CPUTopProcess>> processes) {
    areProcessesRead_ = true;
    processes_ = std::move(processes);
  }

  /// Only sensors whose name or key holds this, in any case, show; empty for all.
  void setFilter(std::string filter) { filter_ = std::move(filter); }
  /// Whether the user is typing the filter.
  void setTyping(bool isTyping) { isTyping_ = isTyping; }
  /// Whether sensors show that the settings hide.
  void setShowsAll(bool showsAll) { showsAll_ = showsAll; }

  /// The content for a screen in the language and units of the settings. Reads no hardware.
  WatchContent content(KVSettings& settings, const KVLocalized::Texts& texts) const;

 private:
  void addSensors(WatchContent& content, KVSettings& settings,
                  const KVLocalized::Texts& texts) const;
  std::string reasonForNoSensors(std::size_t hidden, const KVLocalized::Texts& texts) const;
  void addProcesses(WatchContent& content, const KVLocalized::Texts& texts) const;

  Platform& platform_;
  bool hasSensorHardware_;
  std::optional<WatchReading> reading_;
  std::optional<std::vector<CPUTopProcess>> processes_;
  bool areProcessesRead_ = false;
  std::string filter_;
  bool isTyping_ = false;
  bool showsAll_ = false;
};

/// The name, value and so on of usage as meters, the most important first.
std::vector<WatchContent::Meter> usageMeters(const UsageSample& usage,
                                             const KVLocalized::Texts& texts);

}  // namespace kelvora::tool
