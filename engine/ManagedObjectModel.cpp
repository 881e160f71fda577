#include "engine/ManagedObjectModel.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace kelvora::engine {

namespace {

template <typename Items>
std::optional<std::size_t> indexNamed(const Items& items, std::string_view name) {
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i].name == name) {
      return i;
    }
  }
  return std::nullopt;
}

std::optional<ManagedValue> wholeInRange(const ManagedValue& value, std::int64_t lowest,
                                         std::int64_t highest) {
  if (const auto* flag = std::get_if<bool>(&value)) {
    return std::optional<ManagedValue>(std::in_place, std::int64_t{*flag ? 1 : 0});
  }
  const auto* number = std::get_if<std::int64_t>(&value);
  if (number == nullptr || *number < lowest || *number > highest) {
    return std::nullopt;
  }
  return value;
}

std::optional<ManagedValue> flagOf(const ManagedValue& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) {
    return *number == 0 || *number == 1 ? std::optional<ManagedValue>(std::in_place, *number == 1)
                                        : std::nullopt;
  }
  return std::holds_alternative<bool>(value) ? std::optional(value) : std::nullopt;
}

std::optional<ManagedValue> decimal(const ManagedValue& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) {
    return std::optional<ManagedValue>(std::in_place, static_cast<double>(*number));
  }
  return std::holds_alternative<double>(value) ? std::optional(value) : std::nullopt;
}

template <typename T>
std::optional<ManagedValue> exactly(ManagedValue value) {
  return std::holds_alternative<T>(value) ? std::optional(std::move(value)) : std::nullopt;
}

bool sameColumn(const ManagedObjectModel& older, const Column& was, const ManagedObjectModel& newer,
                const Column& is) {
  return was.kind == is.kind && was.type == is.type &&
         was.orderColumn.has_value() == is.orderColumn.has_value() &&
         (was.kind != ColumnKind::kToOne ||
          older.entity(was.destination).name == newer.entity(is.destination).name);
}

}  // namespace

std::optional<std::size_t> EntityDescription::columnNamed(std::string_view columnName) const {
  return indexNamed(columns, columnName);
}

std::optional<std::size_t> EntityDescription::toManyNamed(std::string_view toManyName) const {
  return indexNamed(toMany, toManyName);
}

const Index* EntityDescription::batchedIndex() const {
  const auto found = std::find_if(indexes.begin(), indexes.end(),
                                  [](const Index& index) { return index.batchRows != 0; });
  return found == indexes.end() ? nullptr : &*found;
}

std::vector<ManagedValue> EntityDescription::defaultValues() const {
  std::vector<ManagedValue> values;
  values.reserve(columns.size());
  for (const Column& column : columns) {
    values.push_back(column.defaultValue);
  }
  return values;
}

std::string recentIndexName(const EntityDescription& entity) { return entity.name + "__recent"; }

std::string indexName(const EntityDescription& entity, const Index& index) {
  std::string name = entity.name;
  for (const std::size_t column : index.columns) {
    if (entity.columns[column].kind != ColumnKind::kOrder) {
      name += "_" + entity.columns[column].name;
    }
  }
  return name;
}

std::vector<Index> allIndexes(const EntityDescription& entity) {
  std::vector<Index> indexes = entity.indexes;
  for (std::size_t i = 0; i < entity.columns.size(); ++i) {
    const Column& column = entity.columns[i];
    const bool covered = std::any_of(indexes.begin(), indexes.end(), [i](const Index& index) {
      return index.columns.front() == i;
    });
    if (column.kind == ColumnKind::kToOne && !covered) {
      Index index;
      index.columns.push_back(i);
      if (column.orderColumn) {
        index.columns.push_back(*column.orderColumn);
      }
      indexes.push_back(index);
    }
  }
  return indexes;
}

ManagedObjectModel::ManagedObjectModel(std::vector<EntityDescription> entities)
    : entities_(std::move(entities)) {}

const EntityDescription* ManagedObjectModel::entityNamed(std::string_view name) const {
  const auto number = indexNamed(entities_, name);
  return number ? &entities_[*number] : nullptr;
}

std::optional<ManagedValue> valueOfType(AttributeType type, ManagedValue value) {
  if (std::holds_alternative<std::monostate>(value)) {
    return value;
  }
  switch (type) {
    case AttributeType::kString:
      return exactly<std::string>(std::move(value));
    case AttributeType::kDate:
      return exactly<ManagedDate>(std::move(value));
    case AttributeType::kBinary:
      return exactly<ManagedData>(std::move(value));
    case AttributeType::kDouble:
      return decimal(value);
    case AttributeType::kBoolean:
      return flagOf(value);
    case AttributeType::kInt16:
      return wholeInRange(value, std::numeric_limits<std::int16_t>::min(),
                          std::numeric_limits<std::int16_t>::max());
    case AttributeType::kInt64:
      return wholeInRange(value, std::numeric_limits<std::int64_t>::min(),
                          std::numeric_limits<std::int64_t>::max());
  }
  return std::nullopt;
}

std::optional<std::int64_t> wholeNumber(const ManagedValue& value) {
  const auto* number = std::get_if<std::int64_t>(&value);
  return number == nullptr ? std::nullopt : std::optional(*number);
}

ManagedValue numberOrNil(std::optional<std::int64_t> number) {
  ManagedValue value;
  if (number) {
    value = *number;
  }
  return value;
}

bool isAdditiveChange(const ManagedObjectModel& older, const ManagedObjectModel& newer) {
  for (const EntityDescription& was : older.entities()) {
    const EntityDescription* is = newer.entityNamed(was.name);
    if (is == nullptr) {
      return false;
    }
    for (const Column& column : was.columns) {
      const auto found = is->columnNamed(column.name);
      if (!found || !sameColumn(older, column, newer, is->columns[*found])) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace kelvora::engine
