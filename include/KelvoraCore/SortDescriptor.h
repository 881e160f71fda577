#pragma once

#include <string>

namespace kelvora {

/// How a fetch orders its objects: by one attribute of the fetched entity. Texts sort by their
/// UTF-8 bytes, nil first; objects of equal value keep the order of their creation.
struct SortDescriptor {
  std::string key;  ///< attribute name, e.g. "created"
  bool ascending = true;
};

}  // namespace kelvora
