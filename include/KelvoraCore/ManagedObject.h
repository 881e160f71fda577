#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ManagedValue.h"

namespace kelvora {

class ManagedObject;
class ManagedObjectContext;
using ManagedObjectPtr = std::shared_ptr<ManagedObject>;
using ManagedObjectContextPtr = std::shared_ptr<ManagedObjectContext>;

namespace engine {
class ContextState;
class EntityDescription;
}  // namespace engine

/// One row of the store as one context sees it. Within a context a row is always the same object,
/// while any handle to it exists. A shared handle: the context keeps objects with unsaved changes
/// alive and releases the others with their last handle.
///
/// Values are read from the store on first access. The context's staleness interval decides whether
/// they stay as read or follow what any program last committed. Unsaved values of this context
/// always show; those of its parents show as the staleness interval allows.
///
/// An object whose row another program deleted keeps the values that it last read, and no
/// relationship leads to it any more. The same holds for an object of a child whose row the parent
/// deleted: the child may still change it, but the deletion wins, and the save drops the change
/// without an error.
///
/// Use an object only on the queue of its context. Its handle may be dropped on any thread. After
/// the end of the context the object keeps the values it has and saves nothing. Nothing here logs.
class KELVORA_EXPORT ManagedObject : public std::enable_shared_from_this<ManagedObject> {
 public:
  /// The data from which a context creates an object.
  struct Origin {
    std::shared_ptr<engine::ContextState> context;
    const engine::EntityDescription* entity;
    std::int64_t id;
  };

  /// For contexts, which make the objects; see ManagedObjectContext::insertNewObject.
  explicit ManagedObject(Origin origin);
  virtual ~ManagedObject();
  ManagedObject(const ManagedObject&) = delete;
  ManagedObject& operator=(const ManagedObject&) = delete;

  /// Identity of the row in its file, e.g. 8796109799425. The same in every context and process,
  /// given at insertion and never used again. Positive.
  std::int64_t objectID() const { return id_; }
  /// E.g. "Sensor".
  const std::string& entityName() const;
  /// Null after the end of the context.
  ManagedObjectContextPtr managedObjectContext() const;

  // The state of the object; exactly one of inserted, updated and deleted while it has changes.
  bool isInserted() const { return status_ == Status::kInserted; }  ///< not saved yet
  bool isUpdated() const { return status_ == Status::kUpdated; }    ///< saved, with unsaved changes
  bool isDeleted() const { return status_ == Status::kDeleted; }    ///< deleted in this context
  bool hasChanges() const { return status_ != Status::kClean; }     ///< any of these
  bool isFault() const { return !loaded_; }  ///< nothing read from the store yet

  /// The value of an attribute by its name, e.g. 61.5 for "value". Nil also when there is no such
  /// attribute, or when the row was never read and cannot be read now.
  ManagedValue attribute(std::string_view name) const;
  /// Sets an attribute in memory. Returns false, and sets nothing, when there is no such attribute
  /// or the value is of another type. Nil is allowed for every attribute here; a save refuses it
  /// where the model does. Setting the value that the object shows changes nothing; with a
  /// staleness interval other than 0 that may be an outdated value.
  bool setAttribute(std::string_view name, ManagedValue value);

  // The functions that change a relationship return false, and change nothing, when there is no
  // such relationship, this object is deleted, or the other one is missing, deleted, not visible to
  // this context or of another entity or store than the relationship's.

  /// The object at the end of a to-one relationship; null when there is none.
  ManagedObjectPtr related(std::string_view relationship) const;
  /// Sets a to-one relationship; null clears it. As a new member of an ordered relationship the
  /// object comes last.
  bool setRelated(std::string_view relationship, const ManagedObjectPtr& object);

  /// The members of a to-many relationship, in their order, or by creation when it has none. Empty
  /// also when there is no such relationship or the store cannot be read.
  std::vector<ManagedObjectPtr> members(std::string_view relationship) const;
  std::size_t countOfMembers(std::string_view relationship) const;
  /// Appends an object. One that is a member already moves to the end of an ordered relationship.
  /// Reads no other member, so that the cost does not grow with their number.
  bool addMember(std::string_view relationship, const ManagedObjectPtr& object);
  /// Inserts or moves an object so that it then has this index (at most the count of the others).
  bool insertMember(std::string_view relationship, const ManagedObjectPtr& object,
                    std::size_t index);
  /// Ends the membership; the object itself stays in the store. Also false if the object was not a
  /// member.
  bool removeMember(std::string_view relationship, const ManagedObjectPtr& object);
  /// Makes these objects the members, in this order. Leaves out those that cannot be members.
  bool setMembers(std::string_view relationship, const std::vector<ManagedObjectPtr>& objects);

 protected:
  // Typed access by the index of a name in attributeNames() of the class. A name that the model
  // lacks, or has with another type, reads as nil and ignores writes.
  ManagedValue valueAt(std::size_t name) const;
  void setValueAt(std::size_t name, ManagedValue value);
  double doubleAt(std::size_t name) const;         ///< nil is 0
  std::int64_t integerAt(std::size_t name) const;  ///< nil is 0
  bool booleanAt(std::size_t name) const;          ///< nil is false
  std::string textAt(std::size_t name) const;      ///< nil is empty
  void setTextAt(std::size_t name, std::string text);
  /// None for nil and for a value of another type.
  template <typename T>
  std::optional<T> valueAs(std::size_t name) const {
    const ManagedValue value = valueAt(name);
    const T* held = std::get_if<T>(&value);
    return held == nullptr ? std::nullopt : std::optional<T>(*held);
  }

  // Relationships as objects of their class; those of another class are left out.
  template <typename T>
  std::shared_ptr<T> relatedAs(std::string_view relationship) const {
    return std::dynamic_pointer_cast<T>(related(relationship));
  }
  template <typename T>
  std::vector<std::shared_ptr<T>> membersAs(std::string_view relationship) const {
    std::vector<std::shared_ptr<T>> typed;
    for (const ManagedObjectPtr& member : members(relationship)) {
      if (auto object = std::dynamic_pointer_cast<T>(member)) {
        typed.push_back(std::move(object));
      }
    }
    return typed;
  }
  template <typename T>
  bool setMembersAs(std::string_view relationship, const std::vector<std::shared_ptr<T>>& objects) {
    return setMembers(relationship, std::vector<ManagedObjectPtr>(objects.begin(), objects.end()));
  }

 private:
  friend class engine::ContextState;
  enum class Status : std::uint8_t { kClean, kInserted, kUpdated, kDeleted };
  struct Members {
    bool loaded = false;
    std::uint64_t stamp = 0;
    double loadedAtSeconds = 0;
    std::vector<std::int64_t> ids;
  };

  // No column reads as nil and takes no value.
  ManagedValue readColumn(std::optional<std::size_t> column) const;
  bool writeColumn(std::optional<std::size_t> column, ManagedValue value);

  std::shared_ptr<engine::ContextState> context_;
  const engine::EntityDescription* entity_;
  const std::int64_t id_;
  Status status_ = Status::kClean;
  bool loaded_ = false;
  bool gone_ = false;          // the row is not in the store any more
  std::uint64_t changed_ = 0;  // one bit per column
  std::uint64_t stamp_ = 0;    // the state of store and parents that the values are from
  double loadedAtSeconds_ = 0;
  std::vector<ManagedValue> values_;            // one per column of the entity
  mutable std::unique_ptr<Members[]> members_;  // one per to-many relationship, once asked for
};

}  // namespace kelvora
