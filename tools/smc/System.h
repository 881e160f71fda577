#pragma once

// What each system does in its own way; each has a source of its own.
namespace kelvora::tool {

/// Whether the process has more rights than who started it (set-user-id, say). The kernel knows;
/// nobody else can change the answer.
bool hasRaisedRights();

/// The environment of the process.
char**& environment();

/// Closes every descriptor from `first` on. False if that cannot be done.
bool closeDescriptorsFrom(int first);

}  // namespace kelvora::tool
