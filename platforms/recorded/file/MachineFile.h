#pragma once

#include <string>
#include <string_view>

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::platform {

/// Reads a machine file. Throws MachineFileError when it cannot be read, is not JSON, has a wrong
/// format, a version above 1, or a member of the wrong kind. Unknown members are ignored.
RecordedMachine readMachineFile(const std::string& path);

/// The text of a machine file. Throws MachineFileError when it cannot be read or is too large.
std::string machineFileText(const std::string& path);

/// The machine of a text; error messages call it `name`.
RecordedMachine parseMachine(std::string_view json, const std::string& name);

}  // namespace kelvora::platform
