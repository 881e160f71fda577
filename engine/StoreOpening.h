#pragma once

#include <memory>
#include <string>

#include "engine/ManagedObjectModel.h"
#include "engine/StoreFile.h"

namespace kelvora::engine {

/// Opens the store file at `path` with the tables of a model, creating or migrating it. Waits for
/// other programs' locks up to the busy time-out, and tries again after other failures for a
/// quarter of a second at most. Throws IncompatibleStore at once, else the last SQLite::Exception.
/// For reading only the file must exist with the tables of this very model, else it throws
/// IncompatibleStore. A file that still has no tables after that quarter of a second is an empty
/// store then.
std::unique_ptr<StoreFile> openStore(const std::string& path, const ManagedObjectModel& model,
                                     int busyTimeoutMs, StoreAccess access);

/// Whether a failure means that another program has the file locked.
bool isLockFailure(const std::exception& failure);

}  // namespace kelvora::engine
