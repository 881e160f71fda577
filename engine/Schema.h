#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "engine/ManagedObjectModel.h"
#include "engine/StoreFile.h"

namespace kelvora::engine {

/// The file was written by another kind of program, or with a model that this one cannot open.
class IncompatibleStore : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The file has no tables yet. A program that creates a store leaves it so for a moment, or for
/// ever when it is killed then.
class UnwrittenStore : public IncompatibleStore {
 public:
  using IncompatibleStore::IncompatibleStore;
};

/// Gives a file the tables of a model. Creates them in an empty file, adds what is new to the file
/// of an older model (old rows get the defaults), and changes nothing in a file of the same model.
/// One transaction; of programs that open the file at the same time only one does it. Throws
/// IncompatibleStore or SQLite::Exception.
void prepareSchema(StoreFile& file, const ManagedObjectModel& model);

/// Throws what `prepareSchema` would throw for an open file that was written with another model.
/// Only reads.
void requireCompatible(SQLite::Database& database, const ManagedObjectModel& model);

/// Whether an open file that is compatible has the tables of another model. Only reads.
bool isOlder(SQLite::Database& database, const ManagedObjectModel& model);

/// Throws UnwrittenStore for a file without tables, and IncompatibleStore unless it has the tables
/// of this very model. Only reads.
void requireEqual(SQLite::Database& database, const ManagedObjectModel& model);

/// A name in quotes, as SQL needs it for a word like "group".
std::string quoted(const std::string& name);

/// Counters of the file, each starting at 0: "block", the last block of ids in use, and "order",
/// one per object that was appended to an ordered relationship.
std::int64_t readCounter(StoreFile& file, const std::string& name);
void writeCounter(StoreFile& file, const std::string& name, std::int64_t value);

}  // namespace kelvora::engine
