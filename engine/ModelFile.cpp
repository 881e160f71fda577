#include "engine/ModelFile.h"

#include <array>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

namespace kelvora::engine {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<std::pair<std::string_view, AttributeType>, 7> kTypeNames{{
    {"String", AttributeType::kString},
    {"Date", AttributeType::kDate},
    {"Binary", AttributeType::kBinary},
    {"Double", AttributeType::kDouble},
    {"Int16", AttributeType::kInt16},
    {"Int64", AttributeType::kInt64},
    {"Boolean", AttributeType::kBoolean},
}};

constexpr std::size_t kMostColumns = 64;

[[noreturn]] void refuse(const std::string& what) { throw std::runtime_error(what); }

AttributeType typeNamed(const std::string& name) {
  for (const auto& [known, type] : kTypeNames) {
    if (known == name) {
      return type;
    }
  }
  refuse("unknown attribute type \"" + name + "\"");
}

std::string nameOf(AttributeType type) {
  for (const auto& [name, known] : kTypeNames) {
    if (known == type) {
      return std::string(name);
    }
  }
  return {};
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

// Names become SQL identifiers and key paths; a leading underscore is the engine's own.
std::string checkedName(const Json& item) {
  auto name = item.at("name").get<std::string>();
  const bool plain = !name.empty() && name.find_first_not_of(
                                          "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                          "0123456789_") == std::string::npos;
  if (!plain || name[0] == '_' || (name[0] >= '0' && name[0] <= '9')) {
    refuse("not a name: \"" + name + "\"");
  }
  return name;
}

ManagedValue defaultOf(const Json& attribute, AttributeType type) {
  const auto found = attribute.find("default");
  if (found == attribute.end() || found->is_null()) {
    return {};
  }
  ManagedValue value;
  if (found->is_boolean()) {
    value = found->get<bool>();
  } else if (found->is_number_integer()) {
    value = found->get<std::int64_t>();
  } else if (found->is_number()) {
    value = found->get<double>();
  } else {
    value = found->get<std::string>();
  }
  auto typed = valueOfType(type, std::move(value));
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

Index indexFrom(const EntityDescription& entity, const Json& item) {
  Index index;
  const Json& names = item.is_object() ? item.at("columns") : item;
  for (const Json& name : names) {
    const auto column = entity.columnNamed(name.get<std::string>());
    if (!column) {
      refuse("no property \"" + name.get<std::string>() + "\" to index");
    }
    index.columns.push_back(*column);
    if (const auto order = entity.columns[*column].orderColumn) {
      index.columns.push_back(*order);
    }
  }
  index.batchRows = item.is_object() ? item.value("batchRows", std::size_t{0}) : 0;
  if (index.columns.empty() ||
      (index.batchRows != 0 && entity.columns[index.columns[0]].kind != ColumnKind::kToOne)) {
    refuse("an index in batches begins with a to-one relationship");
  }
  return index;
}

void checkNamesDiffer(const Draft& draft) {
  std::set<std::string> entities;
  for (const EntityDescription& entity : draft.entities) {
    std::set<std::string> properties;
    bool differ = entities.insert(entity.name).second;
    for (const Column& column : entity.columns) {
      differ = differ && properties.insert(column.name).second;
    }
    for (const Relationship& relationship : draft.relationships[entity.number]) {
      differ = differ && (!relationship.toMany || properties.insert(relationship.name).second);
    }
    if (!differ) {
      refuse("a name stands twice in or beside \"" + entity.name + "\"");
    }
  }
}

std::shared_ptr<ManagedObjectModel> modelFromJson(const Json& json) {
  Draft draft;
  for (const Json& item : json.at("entities")) {
    EntityDescription entity;
    entity.name = checkedName(item);
    entity.className = item.value("class", entity.name);
    entity.number = draft.entities.size();
    for (const Json& attribute : item.value("attributes", Json::array())) {
      entity.columns.push_back(attributeFrom(attribute));
    }
    draft.relationships.emplace_back();
    for (const Json& relationship : item.value("relationships", Json::array())) {
      draft.relationships.back().push_back(relationshipFrom(relationship));
    }
    draft.entities.push_back(std::move(entity));
  }
  for (std::size_t entity = 0; entity < draft.entities.size(); ++entity) {
    addToOneColumns(draft, entity);
  }
  checkNamesDiffer(draft);
  for (std::size_t entity = 0; entity < draft.entities.size(); ++entity) {
    addToMany(draft, entity);
  }
  std::size_t number = 0;
  for (const Json& item : json.at("entities")) {
    EntityDescription& entity = draft.entities[number++];
    for (const Json& index : item.value("indexes", Json::array())) {
      entity.indexes.push_back(indexFrom(entity, index));
    }
  }
  return std::make_shared<ManagedObjectModel>(std::move(draft.entities));
}

Json defaultAsJson(const ManagedValue& value) {
  return std::visit(
      [](const auto& held) -> Json {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, std::int64_t> ||
                      std::is_same_v<T, double> || std::is_same_v<T, std::string>) {
          return held;
        } else {
          return nullptr;
        }
      },
      value);
}

Json entityAsJson(const ManagedObjectModel& model, const EntityDescription& entity) {
  Json attributes = Json::array();
  Json relationships = Json::array();
  for (const Column& column : entity.columns) {
    if (column.kind == ColumnKind::kAttribute) {
      attributes.push_back({{"name", column.name},
                            {"type", nameOf(column.type)},
                            {"optional", column.optional},
                            {"default", defaultAsJson(column.defaultValue)}});
    } else if (column.kind == ColumnKind::kToOne) {
      const EntityDescription& destination = model.entity(column.destination);
      relationships.push_back({{"name", column.name},
                               {"destination", destination.name},
                               {"inverse", destination.toMany[column.inverse.value()].name}});
    }
  }
  for (const ToMany& toMany : entity.toMany) {
    const EntityDescription& destination = model.entity(toMany.destination);
    relationships.push_back(
        {{"name", toMany.name},
         {"destination", destination.name},
         {"inverse", destination.columns[toMany.inverseColumn].name},
         {"toMany", true},
         {"ordered", toMany.ordered},
         {"deleteRule", toMany.deleteRule == DeleteRule::kCascade ? "cascade" : "nullify"}});
  }
  Json indexes = Json::array();
  for (const Index& index : entity.indexes) {
    Json names = Json::array();
    for (const std::size_t column : index.columns) {
      if (entity.columns[column].kind != ColumnKind::kOrder) {
        names.push_back(entity.columns[column].name);
      }
    }
    indexes.push_back({{"columns", names}, {"batchRows", index.batchRows}});
  }
  return {{"name", entity.name},
          {"class", entity.className},
          {"attributes", attributes},
          {"relationships", relationships},
          {"indexes", indexes}};
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
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file && problem != nullptr) {
    *problem = "cannot read " + path;
  }
  return file ? modelFromText(text.str(), problem) : nullptr;
}

std::string textFromModel(const ManagedObjectModel& model) {
  Json entities = Json::array();
  for (const EntityDescription& entity : model.entities()) {
    entities.push_back(entityAsJson(model, entity));
  }
  return Json{{"entities", entities}}.dump();
}

}  // namespace kelvora::engine
