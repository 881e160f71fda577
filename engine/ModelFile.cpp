#include "engine/ModelFile.h"

#include <algorithm>
#include <limits>
#include <set>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "base/InputFile.h"

namespace kelvora::engine {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostColumns = 64;

[[noreturn]] void refuse(const std::string& what) { throw std::runtime_error(what); }

AttributeType typeNamed(const std::string& name) {
  for (const auto& [known, type] : kAttributeTypeNames) {
    if (known == name) {
      return type;
    }
  }
  refuse("unknown attribute type \"" + name + "\"");
}

DeleteRule ruleNamed(const std::string& name) {
  if (name == "cascade") {
    return DeleteRule::kCascade;
  }
  if (name != "nullify") {
    refuse("unknown delete rule \"" + name + "\"");
  }
  return DeleteRule::kNullify;
}

// A member that is a list; empty when it is absent.
const Json& listIn(const Json& item, const char* key) {
  static const Json kNone = Json::array();
  const auto found = item.find(key);
  if (found != item.end() && !found->is_array()) {
    refuse("\"" + std::string(key) + "\" is not a list");
  }
  return found == item.end() ? kNone : *found;
}

// As SQLite compares names.
std::string lowerCase(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return name;
}

// Names become SQL identifiers and key paths; a leading underscore is the engine's own, and
// "sqlite_" that of SQLite.
std::string checkedName(const Json& item) {
  auto name = item.at("name").get<std::string>();
  const bool plain = !name.empty() && name.find_first_not_of(
                                          "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                          "0123456789_") == std::string::npos;
  if (!plain || name[0] == '_' || (name[0] >= '0' && name[0] <= '9') ||
      lowerCase(name).starts_with("sqlite_")) {
    refuse("not a name: \"" + name + "\"");
  }
  return name;
}

ManagedValue valueOf(const Json& json) {
  if (json.is_boolean()) {
    return json.get<bool>();
  }
  if (json.is_number()) {
    // A whole number beyond the widest attribute is a decimal one, which only Double takes.
    const bool beyond = json.is_number_unsigned() &&
                        json.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max();
    return json.is_number_integer() && !beyond ? ManagedValue(json.get<std::int64_t>())
                                               : ManagedValue(json.get<double>());
  }
  auto text = json.get<std::string>();
  if (text.find('\0') != std::string::npos) {
    refuse("a default with a zero byte");
  }
  return text;
}

ManagedValue defaultOf(const Json& attribute, AttributeType type) {
  const auto found = attribute.find("default");
  if (found == attribute.end() || found->is_null()) {
    return {};
  }
  auto typed = valueOfType(type, valueOf(*found));
  if (!typed) {
    refuse("the default of \"" + attribute.at("name").get<std::string>() + "\" is of another type");
  }
  return *std::move(typed);
}

Column attributeFrom(const Json& item) {
  Column column;
  column.name = checkedName(item);
  column.type = typeNamed(item.at("type").get<std::string>());
  column.optional = item.value("optional", true);
  column.defaultValue = defaultOf(item, column.type);
  return column;
}

struct Relationship {
  std::string name;
  std::string destination;
  std::string inverse;
  bool toMany = false;
  bool ordered = false;
  DeleteRule deleteRule = DeleteRule::kNullify;
};

Relationship relationshipFrom(const Json& item) {
  return {checkedName(item),
          item.at("destination").get<std::string>(),
          item.at("inverse").get<std::string>(),
          item.value("toMany", false),
          item.value("ordered", false),
          ruleNamed(item.value("deleteRule", "nullify"))};
}

struct Draft {
  std::vector<EntityDescription> entities;
  std::vector<std::vector<Relationship>> relationships;

  std::size_t numberOf(const std::string& entity) const {
    for (const EntityDescription& known : entities) {
      if (known.name == entity) {
        return known.number;
      }
    }
    refuse("no entity \"" + entity + "\"");
  }
  const Relationship& relationship(std::size_t entity, const std::string& name) const {
    for (const Relationship& known : relationships[entity]) {
      if (known.name == name) {
        return known;
      }
    }
    refuse("no relationship \"" + name + "\" in \"" + entities[entity].name + "\"");
  }
};

// Every relationship is one to-many with one to-one as its inverse: the row of the to-one side
// carries the id, so there is one place where a relationship is stored.
void checkInverse(const Draft& draft, std::size_t entity, const Relationship& relationship) {
  const std::size_t destination = draft.numberOf(relationship.destination);
  const Relationship& inverse = draft.relationship(destination, relationship.inverse);
  if (inverse.toMany == relationship.toMany || inverse.inverse != relationship.name ||
      inverse.destination != draft.entities[entity].name) {
    refuse("\"" + relationship.name + "\" and \"" + inverse.name + "\" are not inverse");
  }
  if (!relationship.toMany &&
      (relationship.ordered || relationship.deleteRule == DeleteRule::kCascade)) {
    refuse("order and cascade belong to the to-many side of \"" + relationship.name + "\"");
  }
}

void addToOneColumns(Draft& draft, std::size_t entity) {
  std::vector<Column>& columns = draft.entities[entity].columns;
  for (const Relationship& relationship : draft.relationships[entity]) {
    checkInverse(draft, entity, relationship);
    if (relationship.toMany) {
      continue;
    }
    Column column;
    column.name = relationship.name;
    column.kind = ColumnKind::kToOne;
    column.destination = draft.numberOf(relationship.destination);
    const bool ordered = draft.relationship(column.destination, relationship.inverse).ordered;
    if (ordered) {
      column.orderColumn = columns.size() + 1;
    }
    columns.push_back(column);
    if (ordered) {
      Column order;
      order.name = "_" + relationship.name + "_order";
      order.kind = ColumnKind::kOrder;
      columns.push_back(order);
    }
  }
  if (columns.size() > kMostColumns) {
    refuse("more than 64 columns in \"" + draft.entities[entity].name + "\"");
  }
}

void addToMany(Draft& draft, std::size_t entity) {
  for (const Relationship& relationship : draft.relationships[entity]) {
    if (!relationship.toMany) {
      continue;
    }
    EntityDescription& destination = draft.entities[draft.numberOf(relationship.destination)];
    const std::size_t column = destination.columnNamed(relationship.inverse).value();
    destination.columns[column].inverse = draft.entities[entity].toMany.size();
    draft.entities[entity].toMany.push_back({relationship.name, destination.number, column,
                                             relationship.ordered, relationship.deleteRule});
  }
}

std::size_t batchRowsOf(const Json& item) {
  constexpr std::size_t kMostRows = 1000000000;
  const auto found = item.find("batchRows");
  if (found == item.end()) {
    return 0;
  }
  if (!found->is_number_unsigned() || found->get<std::size_t>() > kMostRows) {
    refuse("\"batchRows\" is not a number of rows");
  }
  return found->get<std::size_t>();
}

Index indexFrom(const EntityDescription& entity, const Json& item) {
  Index index;
  for (const Json& element : item.is_array() ? item : listIn(item, "columns")) {
    const auto name = element.get<std::string>();
    const auto column = entity.columnNamed(name);
    if (!column || entity.columns[*column].kind == ColumnKind::kOrder) {
      refuse("no property \"" + name + "\" to index");
    }
    index.columns.push_back(*column);
    if (const auto order = entity.columns[*column].orderColumn) {
      index.columns.push_back(*order);
    }
  }
  index.batchRows = item.is_array() ? 0 : batchRowsOf(item);
  if (index.columns.empty()) {
    refuse("an index without columns in \"" + entity.name + "\"");
  }
  if (index.batchRows != 0 && (entity.batchedIndex() != nullptr ||
                               entity.columns[index.columns[0]].kind != ColumnKind::kToOne)) {
    refuse("one index in batches at most, and it begins with a to-one relationship");
  }
  return index;
}

// A set of names that refuses one that SQLite takes for another.
class DistinctNames {
 public:
  void add(const std::string& name) {
    if (!names_.insert(lowerCase(name)).second) {
      refuse("the name \"" + name + "\" exists twice");
    }
  }

 private:
  std::set<std::string> names_;
};

void checkPropertyNames(const Draft& draft) {
  for (const EntityDescription& entity : draft.entities) {
    DistinctNames names;
    for (const Column& column : entity.columns) {
      names.add(column.name);
    }
    for (const Relationship& relationship : draft.relationships[entity.number]) {
      if (relationship.toMany) {
        names.add(relationship.name);
      }
    }
  }
}

// Tables and indexes share the names of a file.
void checkTableNames(const std::vector<EntityDescription>& entities) {
  DistinctNames names;
  for (const EntityDescription& entity : entities) {
    names.add(entity.name);
    for (const Index& index : allIndexes(entity)) {
      names.add(indexName(entity, index));
    }
    if (entity.batchedIndex() != nullptr) {
      names.add(recentIndexName(entity));
    }
  }
}

Draft draftFrom(const Json& entities) {
  Draft draft;
  for (const Json& item : entities) {
    EntityDescription entity;
    entity.name = checkedName(item);
    entity.className = item.value("class", entity.name);
    entity.number = draft.entities.size();
    for (const Json& attribute : listIn(item, "attributes")) {
      entity.columns.push_back(attributeFrom(attribute));
    }
    draft.relationships.emplace_back();
    for (const Json& relationship : listIn(item, "relationships")) {
      draft.relationships.back().push_back(relationshipFrom(relationship));
    }
    draft.entities.push_back(std::move(entity));
  }
  return draft;
}

std::shared_ptr<ManagedObjectModel> modelFromJson(const Json& json) {
  json.at("entities");
  const Json& items = listIn(json, "entities");
  Draft draft = draftFrom(items);
  for (std::size_t entity = 0; entity < draft.entities.size(); ++entity) {
    addToOneColumns(draft, entity);
  }
  checkPropertyNames(draft);
  for (std::size_t entity = 0; entity < draft.entities.size(); ++entity) {
    addToMany(draft, entity);
  }
  for (EntityDescription& entity : draft.entities) {
    for (const Json& index : listIn(items[entity.number], "indexes")) {
      entity.indexes.push_back(indexFrom(entity, index));
    }
  }
  checkTableNames(draft.entities);
  return std::make_shared<ManagedObjectModel>(std::move(draft.entities));
}

}  // namespace

std::shared_ptr<ManagedObjectModel> modelFromText(std::string_view text, std::string* problem) {
  try {
    return modelFromJson(Json::parse(text));
  } catch (const std::exception& error) {
    if (problem != nullptr) {
      *problem = error.what();
    }
    return nullptr;
  }
}

std::shared_ptr<ManagedObjectModel> modelFromFile(const std::string& path, std::string* problem) {
  InputFile file(path);
  const std::string text = file.readAll();
  if (file.error() == 0) {
    return modelFromText(text, problem);
  }
  if (problem != nullptr) {
    *problem = "cannot read " + path;
  }
  return nullptr;
}

}  // namespace kelvora::engine
