#include "KelvoraCore/Platform.h"

namespace kelvora {

MachineFileError::MachineFileError(const std::string& file, const std::string& place,
                                   const std::string& fault)
    : std::runtime_error(file + ": " + (place.empty() ? "" : place + ": ") + fault),
      file_(file),
      place_(place),
      fault_(fault) {}

}  // namespace kelvora
