#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "engine/ManagedObjectModel.h"
#include "engine/StoreFile.h"

namespace kelvora::engine {

/// The file was written by something else, or by a later model.
class IncompatibleStore : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Makes a file hold the tables of a model: creates them in an empty file, adds what is new to the
/// file of an older model (old rows get the defaults), changes nothing in a file of the same model.
/// One transaction; programs that open the file at the same time do it once. Throws
/// IncompatibleStore or SQLite::Exception.
void prepareSchema(StoreFile& file, const ManagedObjectModel& model);

/// A name as SQL takes it: "group" in quotes.
std::string quoted(const std::string& name);
/// Name of the index that lists the rows of an entity that are not yet entered in its batched
/// index.
std::string recentIndexName(const EntityDescription& entity);
std::string indexName(const EntityDescription& entity, const Index& index);
/// The indexes of a table: those of the model, and one for each to-one relationship without.
std::vector<Index> allIndexes(const EntityDescription& entity);

/// Counters of the file, each starting at 0: "session", one per process that inserts, and "order",
/// one per object that was appended to an ordered relationship.
std::int64_t readCounter(StoreFile& file, const std::string& name);
void writeCounter(StoreFile& file, const std::string& name, std::int64_t value);

}  // namespace kelvora::engine
