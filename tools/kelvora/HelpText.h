#pragma once

#include <cstddef>
#include <string>

namespace kelvora::tool {

/// The help of a command for a terminal of so many columns: what is wider continues in the next
/// line, below the description of its option. 0 columns is as wide as it takes.
std::string fittedHelp(const std::string& help, std::size_t columns);

}  // namespace kelvora::tool
