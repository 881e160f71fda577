#pragma once

#include <memory>
#include <string>

#include "ports/SMCUserClient.h"

namespace kelvora::platform {

/// The SMC through which the privileged tool writes a key of a fan, e.g. "F0Tg". Each system has a
/// source of its own. What needs rights happens in `openService`: the calls afterwards work
/// without.
///
/// Linux: the files of the kernel's applesmc driver. Where there are none, the recorded Mac that
/// the account has chosen; never with raised rights, because whoever started the tool owns that
/// file. Throws MachineFileError when that file cannot be used.
/// macOS: the SMC of this Mac.
std::unique_ptr<SMCUserClient> fanWritingSMC(const std::string& key);

}  // namespace kelvora::platform
