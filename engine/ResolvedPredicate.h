#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "KelvoraCore/Predicate.h"

#include "engine/ManagedObjectModel.h"
#include "engine/PredicateSyntax.h"

namespace kelvora::engine {

/// Values are comparable within a class, and nil with everything.
enum class ValueClass : std::uint8_t { kNil, kNumber, kText, kDate, kData, kObject };

/// An operand whose names are columns and whose placeholders are values.
struct ResolvedExpression {
  enum class Kind : std::uint8_t { kValue, kProperty, kSelf, kBitAnd, kBitOr, kList };
  Kind kind = Kind::kValue;
  ValueClass valueClass = ValueClass::kNil;
  bool whole = false;                   ///< a number that bit operators take
  ManagedValue value;                   ///< booleans as whole numbers, objects as ids
  std::optional<std::size_t> argument;  ///< the argument that gives the value
  std::vector<std::size_t> path;        ///< to-one columns, one entity after the other
  std::size_t column = 0;               ///< of the entity at the end of the path
  std::vector<ResolvedExpression> operands;
};

struct ResolvedPredicate {
  NodeKind kind = NodeKind::kTrue;
  std::vector<ResolvedPredicate> children;
  Comparison comparison = Comparison::kEqual;
  TextOperation textOperation = TextOperation::kEqual;
  TextOptions options;
  std::vector<ResolvedExpression> sides;  ///< two
};

/// Fits a predicate to an entity. Throws PredicateError when it names what the entity does not have
/// or compares what cannot be compared.
ResolvedPredicate resolve(const Predicate& predicate, const ManagedObjectModel& model,
                          const EntityDescription& entity);

/// The value of an argument as predicates compare it; nil for a list.
ManagedValue comparableValue(const PredicateArgument& argument);
/// A stored value as predicates compare it: booleans as whole numbers, a not-a-number as nil.
ManagedValue comparableValue(ManagedValue value);

/// The property that a key path leads to. Throws PredicateError when there is none.
ResolvedExpression resolveKeyPath(std::string_view keyPath, const ManagedObjectModel& model,
                                  const EntityDescription& entity, std::size_t position = 0);

/// The columns that are read of objects behind to-one relationships, one bit each, by the path from
/// the fetched entity to the objects.
using ColumnsByPath = std::map<std::vector<std::size_t>, std::uint64_t>;

/// Adds what a property reads of the objects on its path.
void addColumnsBehind(const std::vector<std::size_t>& path, std::size_t column,
                      ColumnsByPath& columns);
/// The same of a whole predicate.
ColumnsByPath columnsBehind(const ResolvedPredicate& predicate);

/// Holds for the rows whose path leads to one of these objects.
ResolvedPredicate leadsTo(const std::vector<std::size_t>& path,
                          const std::vector<std::int64_t>& ids);

}  // namespace kelvora::engine
