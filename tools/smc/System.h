#pragma once

// What each system does in its own way; each has a source of its own.
namespace kelvora::tool {

/// The environment of the process.
char**& environment();

/// Closes every descriptor from `first` on. False if that cannot be done.
bool closeDescriptorsFrom(int first);

}  // namespace kelvora::tool
