#pragma once

#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// How a fetch orders its objects: by one attribute of the fetched entity, or of one that to-one
/// relationships lead to. Texts sort by their UTF-8 bytes. Nil sorts first, also where a
/// relationship leads to no object. Objects of equal value keep the order of their creation.
struct KELVORA_EXPORT SortDescriptor {
  std::string key;  ///< attribute name or key path, e.g. "created", "category.name"
  bool ascending = true;
};

}  // namespace kelvora
