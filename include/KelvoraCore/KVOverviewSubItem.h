#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVColor.h"

namespace kelvora {

/// A gauge of the overview, e.g. how much of the memory is used. The host makes it and shows it;
/// the library makes none. A plain value: copies share icon and colour.
struct KELVORA_EXPORT KVOverviewSubItem {
  /// A gauge without a name, an icon and a colour, at 0%.
  KVOverviewSubItem() = default;
  /// A gauge of these five fields, e.g. (kMemoryGauge, "Memory", 0.456, icon, colour).
  KVOverviewSubItem(std::uint64_t gaugeType, std::string gaugeName, double fraction,
                    std::shared_ptr<void> icon, std::shared_ptr<const KVColor> gaugeColor)
      : type(gaugeType),
        name(std::move(gaugeName)),
        value(fraction),
        iconImage(std::move(icon)),
        color(std::move(gaugeColor)) {}

  /// The value in percent, cut to a whole number: 0.456 gives "45%", 0.999 gives "99%". A value
  /// beyond 32 bits gives the largest or the least number of 32 bits, not-a-number "0%".
  std::string valueDisplay() const;

  std::uint64_t type = 0;  ///< a number whose meaning is the host's
  std::string name;
  double value = 0;                 ///< a fraction: 1.0 is 100 per cent
  std::shared_ptr<void> iconImage;  ///< an image of the host's own; the library does not use it
  std::shared_ptr<const KVColor> color;
};

}  // namespace kelvora
