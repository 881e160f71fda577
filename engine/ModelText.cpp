#include <string>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "engine/ModelFile.h"

namespace kelvora::engine {

namespace {

using Json = nlohmann::ordered_json;

std::string nameOf(AttributeType type) {
  for (const auto& [name, known] : kAttributeTypeNames) {
    if (known == type) {
      return std::string(name);
    }
  }
  return {};
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

Json attributesAsJson(const EntityDescription& entity) {
  Json attributes = Json::array();
  for (const Column& column : entity.columns) {
    if (column.kind == ColumnKind::kAttribute) {
      attributes.push_back({{"name", column.name},
                            {"type", nameOf(column.type)},
                            {"optional", column.optional},
                            {"default", defaultAsJson(column.defaultValue)}});
    }
  }
  return attributes;
}

Json relationshipsAsJson(const ManagedObjectModel& model, const EntityDescription& entity) {
  Json relationships = Json::array();
  for (const Column& column : entity.columns) {
    if (column.kind == ColumnKind::kToOne) {
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
  return relationships;
}

Json indexesAsJson(const EntityDescription& entity) {
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
  return indexes;
}

Json entityAsJson(const ManagedObjectModel& model, const EntityDescription& entity) {
  return {{"name", entity.name},
          {"class", entity.className},
          {"attributes", attributesAsJson(entity)},
          {"relationships", relationshipsAsJson(model, entity)},
          {"indexes", indexesAsJson(entity)}};
}

}  // namespace

std::string textFromModel(const ManagedObjectModel& model) {
  Json entities = Json::array();
  for (const EntityDescription& entity : model.entities()) {
    entities.push_back(entityAsJson(model, entity));
  }
  return Json{{"entities", entities}}.dump();
}

}  // namespace kelvora::engine
