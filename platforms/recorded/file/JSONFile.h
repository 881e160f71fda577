#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platforms/recorded/file/JSONPlace.h"

namespace kelvora::platform {

/// Parses a text as JSON. Throws MachineFileError, which names the file `name` and the line and
/// column of the fault.
nlohmann::json parsedJSON(std::string_view json, const std::string& name);

/// Checks the members "format", which must be `name`, and "version" of a file. Throws
/// MachineFileError.
void requireFormat(const JSONPlace& root, std::string_view name);

}  // namespace kelvora::platform
