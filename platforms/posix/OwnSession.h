#pragma once

namespace kelvora::platform {

/// Makes this process independent of the terminal and the standard descriptors that it was started
/// with: a session of its own, the root as its folder, and the standard descriptors /dev/null.
/// May be called between fork and exec.
void leaveSession();

}  // namespace kelvora::platform
