#pragma once

#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVOverviewItem.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

class ZDSystemDevice;

/// Shows the inventory of a machine as a list of titles and values. Any thread.
class KELVORA_EXPORT KVOverviewManager {
 public:
  /// The process's manager of `ZDSystemDevice::device()`, created on the first call. Never
  /// destroyed.
  static KVOverviewManager& shared();

  /// A manager of `ZDSystemDevice::device()`, which is gathered by the first
  /// `buildOverviewItems`, not here.
  KVOverviewManager();
  /// A manager of another inventory, with titles in the language of `settings` from the resources
  /// of `platform`. All three must outlive the object.
  explicit KVOverviewManager(const ZDSystemDevice& device,
                             KVSettings& settings = KVSettings::shared(),
                             Platform& platform = Platform::current());

  /// The lines of the inventory, e.g. {"Model Identifier", "MacBookPro18,3"}, built again by each
  /// call, so that titles are in the language of that moment. Always in this order: model
  /// identifier, model number, model year, serial number, macOS, processor, cores, threads, each
  /// graphics processor, memory, disk, battery health, battery cycles. Without a model number its
  /// line is left out; every other line is there, with 0, -1 or "Unknown" for what the machine does
  /// not report, e.g. "macOS Unknown (0.0.0)", and with no value for the serial number and for a
  /// graphics processor without a name; if its cores are known, that is "(null) (8 cores)".
  ///
  /// A title that the language's table lacks is its key. On a system other than macOS the fifth
  /// line is {"Operating System", "Debian GNU/Linux 12 (bookworm)"}. The first call of the process
  /// may gather the inventory, which takes seconds. Logs nothing itself.
  std::vector<KVOverviewItem> buildOverviewItems() const;

 private:
  const ZDSystemDevice* device_ = nullptr;  // null: the shared one
  KVSettings& settings_;
  Platform& platform_;
};

}  // namespace kelvora
