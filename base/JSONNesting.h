#pragma once

#include <cstddef>
#include <string_view>

namespace kelvora {

/// Returns how deep the brackets of a JSON text nest, e.g. 2 for `[{}]`; brackets inside texts do
/// not count. Needs no memory: a hostile file can be refused before a parser, which recurses or
/// allocates for each level, sees it. The result is only a bound if `json` is not JSON.
std::size_t deepestNesting(std::string_view json);

}  // namespace kelvora
