#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "KelvoraCore/ManagedValue.h"

#include "engine/ResolvedPredicate.h"

namespace kelvora::engine {

/// The values that a predicate reads.
class PropertySource {
 public:
  virtual ~PropertySource() = default;
  virtual std::int64_t id() const = 0;
  /// The value of a column after following to-one columns; nil where the path ends early. Of a
  /// to-one column the id.
  virtual ManagedValue property(const std::vector<std::size_t>& path, std::size_t column) const = 0;
};

/// Whether the predicate holds; the same result as SQL has for the stored row.
bool holds(const ResolvedPredicate& predicate, const PropertySource& source);

/// Negative, 0 or positive, as SQLite orders two values of one class: nil first, numbers exactly
/// whatever their width, texts and data by their bytes.
int compareValues(const ManagedValue& a, const ManagedValue& b);

}  // namespace kelvora::engine
