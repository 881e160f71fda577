#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "engine/ManagedObjectModel.h"
#include "engine/ResolvedPredicate.h"

namespace kelvora::engine {

/// A value for a parameter of a fetch: that of an argument of its predicate, or a fixed one.
struct FetchParameter {
  std::optional<std::size_t> argument;
  ManagedValue value;
};

struct FetchOrder {
  std::vector<std::size_t> path;  ///< to-one columns, one entity after the other
  std::size_t column = 0;         ///< of the entity at the end of the path
  bool ascending = true;
};

/// A SELECT whose rows begin with the id and then every column of the entity.
struct FetchSQL {
  std::string text;
  std::vector<FetchParameter> parameters;
};

/// The SELECT of a fetch; without a predicate all rows. Values are parameters, never text of it.
FetchSQL fetchSQL(const ManagedObjectModel& model, const EntityDescription& entity,
                  const ResolvedPredicate* predicate, const std::optional<FetchOrder>& order,
                  bool firstOnly);

/// The SELECT of a row by its id, parameter 1.
std::string rowSQL(const EntityDescription& entity);

/// The SELECT of the rows whose to-one column leads to parameter 1, unordered. For a column with an
/// index in batches it reads the entered and the recent rows each through their own index.
std::string membersSQL(const EntityDescription& entity, std::size_t column);

/// The same with only the id as a column.
std::string memberIDsSQL(const EntityDescription& entity, std::size_t column);

}  // namespace kelvora::engine
