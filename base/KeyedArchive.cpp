#include "base/KeyedArchive.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/PropertyListNodes.h"

namespace kelvora {

namespace {

constexpr std::uint64_t kVersion = 100000;
constexpr int kDeepestNesting = 100;
constexpr std::size_t kMostBytes = 4 << 20;
constexpr std::size_t kMostUnfolding = 16;  // bytes in memory for each byte of the archive

// Thrown to abort reading an archive.
struct Refusal {};

void require(bool condition) {
  if (!condition) {
    throw Refusal();
  }
}

// A member of a dictionary; null when it is missing or of another type.
plist_t member(plist_t dictionary, const char* name, plist_type type) {
  plist_t node = plist_dict_get_item(dictionary, name);
  return plist_get_node_type(node) == type ? node : nullptr;
}

plist_t requiredMember(plist_t dictionary, const char* name, plist_type type) {
  plist_t node = member(dictionary, name, type);
  require(node != nullptr);
  return node;
}

std::string textMember(plist_t dictionary, const char* name) {
  return *plainValueOfNode(requiredMember(dictionary, name, PLIST_STRING))->as<std::string>();
}

std::uint64_t referenceMember(plist_t dictionary, const char* name) {
  std::uint64_t index = 0;
  plist_get_uid_val(requiredMember(dictionary, name, PLIST_UID), &index);
  return index;
}

ArchiveValue::Date dateAt(double seconds) {
  using Clock = std::chrono::system_clock;
  using Seconds = std::chrono::duration<double>;
  require(!std::isnan(seconds));
  const Seconds sinceEpoch = Seconds(seconds) + kPropertyListReferenceDate.time_since_epoch();
  // A little less, since the largest instant is no double.
  const Seconds latest = Seconds(Clock::duration::max()) * 0.999999;
  const Seconds kept = std::clamp(sinceEpoch, -latest, latest);
  return Clock::time_point(std::chrono::round<std::chrono::microseconds>(kept));
}

const char* classOfPlainValue(const PropertyListValue& value) {
  if (value.as<std::string>() != nullptr) {
    return "NSString";
  }
  if (value.as<PropertyListValue::Data>() != nullptr) {
    return "NSData";
  }
  return value.as<PropertyListValue::Date>() != nullptr ? "NSDate" : "NSNumber";
}

std::size_t sizeOfPlainValue(const PropertyListValue& value) {
  const auto* text = value.as<std::string>();
  const auto* data = value.as<PropertyListValue::Data>();
  return text != nullptr ? text->size() : data != nullptr ? data->size() : 0;
}

class ArchiveReader {
 public:
  ArchiveReader(const std::vector<std::string>& allowedClasses, std::size_t archiveBytes)
      : allowedClasses_(allowedClasses), bytesLeft_(kMostBytes + kMostUnfolding * archiveBytes) {}

  ArchiveValue root(plist_t archive) {
    require(plist_get_node_type(archive) == PLIST_DICT);
    std::uint64_t version = 0;
    plist_get_uint_val(requiredMember(archive, "$version", PLIST_UINT), &version);
    require(version == kVersion && textMember(archive, "$archiver") == "NSKeyedArchiver");
    visitItems(requiredMember(archive, "$objects", PLIST_ARRAY), [&](plist_t object) {
      objects_.push_back(object);
      return true;
    });
    isBeingRead_.resize(objects_.size());
    return objectAt(referenceMember(requiredMember(archive, "$top", PLIST_DICT), "root"));
  }

 private:
  void requireAllowed(const std::string& className) const {
    require(std::ranges::find(allowedClasses_, className) != allowedClasses_.end());
  }

  // Every value is counted as often as the archive refers to it.
  void spend(std::size_t bytes) {
    require(bytes <= bytesLeft_);
    bytesLeft_ -= bytes;
  }

  ArchiveValue value(plist_t node) {
    if (plist_get_node_type(node) != PLIST_UID) {
      return plainValue(node);
    }
    std::uint64_t index = 0;
    plist_get_uid_val(node, &index);
    return objectAt(index);
  }

  ArchiveValue objectAt(std::uint64_t index) {
    require(index < objects_.size() && !isBeingRead_[index] && level_ < kDeepestNesting);
    spend(sizeof(ArchiveValue));
    if (index == 0) {
      return {};
    }
    plist_t node = objects_[index];
    if (plist_get_node_type(node) != PLIST_DICT) {
      return plainValue(node);
    }
    isBeingRead_[index] = true;
    ++level_;
    ArchiveValue object = objectOfClass(node);
    --level_;
    isBeingRead_[index] = false;
    return object;
  }

  ArchiveValue plainValue(plist_t node) {
    const std::optional<PropertyListValue> plain = plainValueOfNode(node);
    require(plain.has_value());
    requireAllowed(classOfPlainValue(*plain));
    spend(sizeOfPlainValue(*plain));
    return archiveValueOf(*plain);
  }

  std::string className(plist_t object) const {
    const std::uint64_t index = referenceMember(object, "$class");
    require(index < objects_.size());
    std::string name = textMember(objects_[index], "$classname");
    return name.starts_with("NSMutable") ? name.erase(2, 7) : name;
  }

  ArchiveValue objectOfClass(plist_t object) {
    spend(plist_dict_get_size(object) * sizeof(ArchiveValue));
    const std::string name = className(object);
    requireAllowed(name);
    if (name == "NSArray") {
      return itemsOf(object, "NS.objects");
    }
    if (name == "NSDictionary") {
      return dictionaryOf(object);
    }
    if (name == "NSString") {
      return plainValue(requiredMember(object, "NS.string", PLIST_STRING));
    }
    if (name == "NSData") {
      return plainValue(requiredMember(object, "NS.data", PLIST_DATA));
    }
    if (name == "NSDate") {
      const auto seconds = plainValueOfNode(plist_dict_get_item(object, "NS.time"));
      require(seconds &&
              (seconds->as<double>() != nullptr || seconds->as<std::int64_t>() != nullptr));
      return dateAt(seconds->doubleValue());
    }
    return fieldsOf(object, name);
  }

  ArchiveValue::Array itemsOf(plist_t object, const char* name) {
    ArchiveValue::Array items;
    visitItems(requiredMember(object, name, PLIST_ARRAY), [&](plist_t item) {
      items.push_back(value(item));
      return true;
    });
    return items;
  }

  ArchiveValue dictionaryOf(plist_t object) {
    const ArchiveValue::Array keys = itemsOf(object, "NS.keys");
    ArchiveValue::Array items = itemsOf(object, "NS.objects");
    require(keys.size() == items.size());
    ArchiveValue::Dictionary dictionary;
    for (std::size_t index = 0; index < keys.size(); ++index) {
      const auto* key = keys[index].as<std::string>();
      require(key != nullptr);
      dictionary.insert_or_assign(*key, std::move(items[index]));
    }
    return dictionary;
  }

  ArchiveValue fieldsOf(plist_t object, const std::string& className) {
    ArchiveValue::Object read(className);
    visitEntries(object, [&](const std::string& name, plist_t node) {
      if (name != "$class") {
        spend(name.size());
        read.add(name, value(node));
      }
      return true;
    });
    return read;
  }

  const std::vector<std::string>& allowedClasses_;
  std::vector<plist_t> objects_;
  std::vector<bool> isBeingRead_;
  int level_ = 0;
  std::size_t bytesLeft_;
};

}  // namespace

std::optional<ArchiveValue> readKeyedArchive(std::span<const std::byte> bytes,
                                             const std::vector<std::string>& allowedClasses) {
  const PropertyListNodes nodes = parsePropertyListNodes(bytes);
  if (nodes.root == nullptr) {
    return std::nullopt;
  }
  try {
    return ArchiveReader(allowedClasses, bytes.size()).root(nodes.root.get());
  } catch (const Refusal&) {
    return std::nullopt;
  }
}

}  // namespace kelvora
