#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVManagedObject.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

class KVFanCondition;
using KVFanConditionPtr = std::shared_ptr<KVFanCondition>;

/// A stored set of fan speeds. Ownership and threads as of ManagedObject.
class KELVORA_EXPORT KVFanSet : public KVManagedObject {
 public:
  using KVManagedObject::KVManagedObject;
  static constexpr const char* kEntityName = "FanSet";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// Its identifier: the second since 1970 in which it was made, e.g. "1700000000"; empty when not
  /// set. Sets that were made in one second share it.
  std::string identifier() const;
  void setIdentifier(std::string value);

  /// The name that the user gave it; empty when not set.
  std::string name() const;
  void setName(std::string value);

  /// When it was made; none when not set.
  std::optional<ManagedDate> created() const;
  void setCreated(ManagedDate value);

  /// The archived speeds; none when not set.
  std::optional<ManagedData> value() const;
  void setValue(ManagedData value);

  /// The speeds in `value`. The fan controller that writes them chooses keys and values; the store
  /// does not interpret them. They may be texts, numbers, booleans, bytes and dictionaries of
  /// these. None when `value` is not set, is damaged, or holds anything else.
  std::optional<PropertyListValue::Dictionary> valueDict() const;
  /// Archives the speeds into `value`.
  void setValueDict(const PropertyListValue::Dictionary& speeds);

  /// Whether the user has chosen this set by hand: its identifier is the setting `manualFanSetId`.
  bool isManualFanSet() const;

  /// The conditions that apply it, by creation. Deleting the set deletes them.
  std::vector<KVFanConditionPtr> fanConditions() const;
  void setFanConditions(const std::vector<KVFanConditionPtr>& objects);

  /// Adds a condition, taking it from its former set.
  void addToFanConditions(const KVFanConditionPtr& object);
  /// The condition itself stays in the store, without a set.
  void removeFromFanConditions(const KVFanConditionPtr& object);
};

using KVFanSetPtr = std::shared_ptr<KVFanSet>;

}  // namespace kelvora
