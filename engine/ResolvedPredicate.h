#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "KelvoraCore/Predicate.h"

#include "engine/ManagedObjectModel.h"
#include "engine/PredicateSyntax.h"

namespace kelvora::engine {

/// What can be compared with what; nil with everything.
enum class ValueClass : std::uint8_t { kNil, kNumber, kText, kDate, kData, kObject };

/// An operand whose names are columns and whose placeholders are values.
struct ResolvedExpression {
  enum class Kind : std::uint8_t { kValue, kProperty, kSelf, kBitAnd, kBitOr, kList };
  Kind kind = Kind::kValue;
  ValueClass valueClass = ValueClass::kNil;
  bool whole = false;                   ///< a number that bit operators take
  ManagedValue value;                   ///< booleans as whole numbers, objects as ids
  std::optional<std::size_t> argument;  ///< where the value comes from
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

/// Entities other than the fetched one whose values decide.
std::vector<std::size_t> entitiesOnPaths(const ResolvedPredicate& predicate,
                                         const ManagedObjectModel& model,
                                         const EntityDescription& entity);
std::vector<std::size_t> entitiesOnPath(const std::vector<std::size_t>& path,
                                        const ManagedObjectModel& model,
                                        const EntityDescription& entity);

}  // namespace kelvora::engine
