#pragma once

#include <string>
#include <vector>

namespace kelvora {
class Platform;
}

namespace kelvora::platform {

/// A recorded Mac that comes with the program.
struct NamedMachineFile {
  std::string name;  ///< e.g. "iMac19,1"
  std::string path;
};

/// Those in the folder "machines" of the program's resources, sorted by name.
std::vector<NamedMachineFile> machineFiles(Platform& host);

/// The one that `machine` names in any case, else the file `machine`, whose name is its absolute
/// path. Throws MachineFileError when there is neither.
NamedMachineFile machineFileOf(const std::string& machine, Platform& host);

}  // namespace kelvora::platform
