#pragma once

namespace kelvora::tool {

/// Replaces what a process inherits from whoever started it by what the tool is written for:
/// no environment (HOME and XDG_DATA_HOME without raised rights), default signals, no timers,
/// limits of its own, working directory "/", the standard descriptors open and no other. False if
/// that cannot be done.
bool enterKnownState();

}  // namespace kelvora::tool
