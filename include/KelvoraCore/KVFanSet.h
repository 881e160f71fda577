#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ManagedObject.h"

namespace kelvora {

class KVFanCondition;
using KVFanConditionPtr = std::shared_ptr<KVFanCondition>;

/// A stored set of fan speeds. Ownership and threads as of ManagedObject.
class KELVORA_EXPORT KVFanSet : public ManagedObject {
 public:
  using ManagedObject::ManagedObject;
  static constexpr const char* kEntityName = "FanSet";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// Its id, e.g. "1700000000"; empty when not set.
  std::string identifier() const;
  void setIdentifier(std::string value);

  /// What the user calls it.
  std::string name() const;
  void setName(std::string value);

  /// None when not set.
  std::optional<ManagedDate> created() const;
  void setCreated(ManagedDate value);

  /// The archived speeds; none when not set.
  std::optional<ManagedData> value() const;
  void setValue(ManagedData value);

  /// The conditions that apply it, by creation; they go with the set.
  std::vector<KVFanConditionPtr> fanConditions() const;
  void setFanConditions(const std::vector<KVFanConditionPtr>& objects);
  /// Appends; costs the same however many there are.
  void addToFanConditions(const KVFanConditionPtr& object);
  void removeFromFanConditions(const KVFanConditionPtr& object);
};

using KVFanSetPtr = std::shared_ptr<KVFanSet>;

}  // namespace kelvora
