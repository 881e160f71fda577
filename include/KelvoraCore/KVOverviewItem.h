#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// One line of the overview of a machine, e.g. {"Memory", "16 GB"}.
struct KELVORA_EXPORT KVOverviewItem {
  std::string title;                 ///< in the user's language
  std::optional<std::string> value;  ///< ready to show; none if the machine does not report it
  std::uint64_t type = 0;            ///< for the host; the library leaves it 0

  friend bool operator==(const KVOverviewItem&, const KVOverviewItem&) = default;
};

}  // namespace kelvora
