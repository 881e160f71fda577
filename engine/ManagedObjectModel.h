#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KelvoraCore/ManagedValue.h"

namespace kelvora::engine {

enum class AttributeType : std::uint8_t {
  kString,
  kDate,
  kBinary,
  kDouble,
  kInt16,
  kInt64,
  kBoolean,
};

/// By the names that a model file uses.
inline constexpr std::array<std::pair<std::string_view, AttributeType>, 7> kAttributeTypeNames{{
    {"String", AttributeType::kString},
    {"Date", AttributeType::kDate},
    {"Binary", AttributeType::kBinary},
    {"Double", AttributeType::kDouble},
    {"Int16", AttributeType::kInt16},
    {"Int64", AttributeType::kInt64},
    {"Boolean", AttributeType::kBoolean},
}};

enum class DeleteRule : std::uint8_t { kNullify, kCascade };

/// What a column of an entity's table holds.
enum class ColumnKind : std::uint8_t {
  kAttribute,
  kToOne,  ///< the id of the object at the other end
  kOrder,  ///< the place among the members of an ordered relationship; follows its kToOne column
};

/// One column of an entity's table. Columns are numbered: attributes first, then each to-one
/// relationship and, where its inverse is ordered, its order.
struct Column {
  std::string name;  ///< of the property; "_category_order" for an order
  ColumnKind kind = ColumnKind::kAttribute;
  AttributeType type = AttributeType::kInt64;  ///< of an attribute
  bool optional = true;
  ManagedValue defaultValue;
  std::size_t destination = 0;             ///< entity number, of a to-one
  std::optional<std::size_t> inverse;      ///< number of the to-many at the other end
  std::optional<std::size_t> orderColumn;  ///< where the inverse is ordered
};

struct ToMany {
  std::string name;
  std::size_t destination = 0;    ///< entity number
  std::size_t inverseColumn = 0;  ///< the to-one column of the destination
  bool ordered = false;
  DeleteRule deleteRule = DeleteRule::kNullify;
};

struct Index {
  std::vector<std::size_t> columns;  ///< of a to-one with an order: both
  /// 0 for an index that is always up to date; else new rows are entered in batches of this many.
  std::size_t batchRows = 0;
};

class EntityDescription {
 public:
  std::string name;
  std::string className;
  std::size_t number = 0;
  std::vector<Column> columns;
  std::vector<ToMany> toMany;
  std::vector<Index> indexes;

  std::optional<std::size_t> columnNamed(std::string_view name) const;
  std::optional<std::size_t> toManyNamed(std::string_view name) const;
  /// The index in batches; null if the entity has no such index. An entity has at most one.
  const Index* batchedIndex() const;
  std::vector<ManagedValue> defaultValues() const;

  /// Column of each name that the entity's class registered with; filled when classes are bound.
  std::vector<std::optional<std::size_t>> classColumns;
};

/// The indexes of an entity's table: those of the model, and one for each to-one relationship
/// without.
std::vector<Index> allIndexes(const EntityDescription& entity);
/// Name of an index in the file, e.g. "Sensor_key".
std::string indexName(const EntityDescription& entity, const Index& index);
/// Name of the index that lists the rows of an entity that are not yet entered in its batched
/// index.
std::string recentIndexName(const EntityDescription& entity);

/// The entities of a store. Immutable once it is in use; any thread.
class ManagedObjectModel {
 public:
  explicit ManagedObjectModel(std::vector<EntityDescription> entities);
  const std::vector<EntityDescription>& entities() const { return entities_; }
  std::vector<EntityDescription>& entities() { return entities_; }
  const EntityDescription& entity(std::size_t number) const { return entities_[number]; }
  /// Null when there is no such entity.
  const EntityDescription* entityNamed(std::string_view name) const;

 private:
  std::vector<EntityDescription> entities_;
};

/// Whether a file that was written with `older` opens with `newer`: every stored property has the
/// same name and type there. Defaults, optionality, delete rules and indexes may differ.
bool isAdditiveChange(const ManagedObjectModel& older, const ManagedObjectModel& newer);

/// The value as an attribute of a type holds it: nil for any, whole numbers for Double too, 0 and 1
/// for Boolean, booleans for whole numbers, whole numbers of Int16 only in its range. None when it
/// is of another type.
std::optional<ManagedValue> valueOfType(AttributeType type, ManagedValue value);

/// The whole number that a value is; none for nil.
std::optional<std::int64_t> wholeNumber(const ManagedValue& value);
/// The value of an order column: 0 where none was stored.
inline std::int64_t orderOf(const ManagedValue& value) { return wholeNumber(value).value_or(0); }
/// The value of a number; nil for none.
ManagedValue numberOrNil(std::optional<std::int64_t> number);

}  // namespace kelvora::engine
