#pragma once

#include <string>

namespace kelvora::tool {

/// The last line that the sources of the library have logged; empty if there was none. In this
/// program such a line is a part of its one message, and nothing is written where it is logged.
const std::string& lastLoggedLine();

}  // namespace kelvora::tool
