#include "KelvoraCore/ManagedObject.h"

#include <utility>

#include "KelvoraCore/ManagedObjectContext.h"

#include "engine/ContextState.h"

namespace kelvora {

using engine::ColumnKind;

namespace {

std::optional<std::size_t> columnOf(const engine::EntityDescription& entity, std::string_view name,
                                    ColumnKind kind) {
  const auto column = entity.columnNamed(name);
  return column && entity.columns[*column].kind == kind ? column : std::nullopt;
}

template <typename T, typename R>
R valueOr(const ManagedValue& value, R otherwise) {
  const T* held = std::get_if<T>(&value);
  return held == nullptr ? otherwise : static_cast<R>(*held);
}

}  // namespace

ManagedObject::ManagedObject(Origin origin)
    : context_(std::move(origin.context)),
      entity_(origin.entity),
      id_(origin.id),
      values_(origin.entity->columns.size()) {}

ManagedObject::~ManagedObject() { context_->forget(*this); }

const std::string& ManagedObject::entityName() const { return entity_->name; }

ManagedObjectContextPtr ManagedObject::managedObjectContext() const {
  return context_->facade.lock();
}

// Reading may fill the object from the store: a matter of its context, not of who reads.
ManagedValue ManagedObject::readColumn(std::optional<std::size_t> column) const {
  return column ? context_->read(const_cast<ManagedObject&>(*this), *column) : ManagedValue();
}

bool ManagedObject::writeColumn(std::optional<std::size_t> column, ManagedValue value) {
  auto typed =
      column ? engine::valueOfType(entity_->columns[*column].type, std::move(value)) : std::nullopt;
  const bool fits = typed.has_value();
  if (fits) {
    context_->write(*this, *column, *std::move(typed));
  }
  return fits;
}

ManagedValue ManagedObject::attribute(std::string_view name) const {
  return readColumn(columnOf(*entity_, name, ColumnKind::kAttribute));
}

bool ManagedObject::setAttribute(std::string_view name, ManagedValue value) {
  return writeColumn(columnOf(*entity_, name, ColumnKind::kAttribute), std::move(value));
}

ManagedObjectPtr ManagedObject::related(std::string_view relationship) const {
  const auto column = columnOf(*entity_, relationship, ColumnKind::kToOne);
  return column ? context_->related(const_cast<ManagedObject&>(*this), *column) : nullptr;
}

bool ManagedObject::setRelated(std::string_view relationship, const ManagedObjectPtr& object) {
  const auto column = columnOf(*entity_, relationship, ColumnKind::kToOne);
  return column && context_->setRelated(*this, *column, object);
}

std::vector<ManagedObjectPtr> ManagedObject::members(std::string_view relationship) const {
  const auto toMany = entity_->toManyNamed(relationship);
  return toMany ? context_->members(const_cast<ManagedObject&>(*this), *toMany)
                : std::vector<ManagedObjectPtr>();
}

std::size_t ManagedObject::countOfMembers(std::string_view relationship) const {
  return members(relationship).size();
}

bool ManagedObject::addMember(std::string_view relationship, const ManagedObjectPtr& object) {
  const auto toMany = entity_->toManyNamed(relationship);
  return toMany && context_->addMember(*this, *toMany, object);
}

bool ManagedObject::insertMember(std::string_view relationship, const ManagedObjectPtr& object,
                                 std::size_t index) {
  const auto toMany = entity_->toManyNamed(relationship);
  return toMany && context_->insertMember(*this, *toMany, object, index);
}

bool ManagedObject::removeMember(std::string_view relationship, const ManagedObjectPtr& object) {
  const auto toMany = entity_->toManyNamed(relationship);
  return toMany && context_->removeMember(*this, *toMany, object);
}

bool ManagedObject::setMembers(std::string_view relationship,
                               const std::vector<ManagedObjectPtr>& objects) {
  const auto toMany = entity_->toManyNamed(relationship);
  return toMany && context_->setMembers(*this, *toMany, objects);
}

ManagedValue ManagedObject::valueAt(std::size_t name) const {
  return readColumn(entity_->classColumns[name]);
}

void ManagedObject::setValueAt(std::size_t name, ManagedValue value) {
  writeColumn(entity_->classColumns[name], std::move(value));
}

double ManagedObject::doubleAt(std::size_t name) const {
  return valueOr<double>(valueAt(name), 0.0);
}

std::int64_t ManagedObject::integerAt(std::size_t name) const {
  return valueOr<std::int64_t>(valueAt(name), std::int64_t{0});
}

bool ManagedObject::booleanAt(std::size_t name) const {
  return valueOr<bool>(valueAt(name), false);
}

std::string ManagedObject::textAt(std::size_t name) const {
  const ManagedValue value = valueAt(name);
  const auto* text = std::get_if<std::string>(&value);
  return text == nullptr ? std::string() : *text;
}

void ManagedObject::setTextAt(std::size_t name, std::string text) {
  setValueAt(name, ManagedValue(std::move(text)));
}

}  // namespace kelvora
