#include <algorithm>

#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

namespace {

bool haveSameContent(const Object& first, const Object& second) {
  return first.kind() == second.kind() && first.equals(second);
}

}  // namespace

void Array::append(Object& item) {
  Objects::shared().hold(item);
  items.push_back(&item);
}

void Array::dispose() {
  for (Object* item : items) {
    Objects::shared().drop(*item);
  }
}

bool Array::equals(const Object& other) const {
  const auto& array = dynamic_cast<const Array&>(other);
  return std::equal(items.begin(), items.end(), array.items.begin(), array.items.end(),
                    [](auto* first, auto* second) { return haveSameContent(*first, *second); });
}

std::string Array::described() const {
  std::string text;
  for (const Object* item : items) {
    text += (text.empty() ? "" : ", ") + item->described();
  }
  return "[" + text + "]";
}

Object* Dictionary::find(const Object& key) const {
  const auto found = std::find_if(pairs.begin(), pairs.end(), [&](const auto& pair) {
    return haveSameContent(*pair.first, key);
  });
  return found == pairs.end() ? nullptr : found->second;
}

Object* Dictionary::find(std::string_view key) const { return find(String(utf16(key).value())); }

void Dictionary::set(Object& key, Object& value) {
  Objects::shared().hold(value);
  for (auto& [present, old] : pairs) {
    if (haveSameContent(*present, key)) {
      Objects::shared().drop(*std::exchange(old, &value));
      return;
    }
  }
  Objects::shared().hold(key);
  pairs.emplace_back(&key, &value);
}

void Dictionary::dispose() {
  for (const auto& [key, value] : pairs) {
    Objects::shared().drop(*key);
    Objects::shared().drop(*value);
  }
}

bool Dictionary::equals(const Object& other) const {
  const auto& dictionary = dynamic_cast<const Dictionary&>(other);
  return pairs.size() == dictionary.pairs.size() &&
         std::all_of(pairs.begin(), pairs.end(), [&](const auto& pair) {
           const Object* value = dictionary.find(*pair.first);
           return value != nullptr && haveSameContent(*pair.second, *value);
         });
}

std::string Dictionary::described() const {
  std::vector<std::string> texts;
  for (const auto& [key, value] : pairs) {
    texts.push_back(key->described() + ": " + value->described());
  }
  std::sort(texts.begin(), texts.end());
  std::string text;
  for (const std::string& pair : texts) {
    text += (text.empty() ? "" : ", ") + pair;
  }
  return "{" + text + "}";
}

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT(google-build-using-namespace)

const CFArrayCallBacks kCFTypeArrayCallBacks = {};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {};

CFTypeID CFArrayGetTypeID() { return typeID("CFArray"); }

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks) {
  if (capacity != 0 || callBacks != &kCFTypeArrayCallBacks) {
    Ledger::misuse("CFArrayCreateMutable", "the array would not own its items");
  }
  if (Ledger::shared().counted("CFArrayCreateMutable")) {
    return nullptr;
  }
  auto* array = Objects::shared().create<Array>();
  array->isMutable = true;
  return referenceTo<CFMutableArrayRef>(array);
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
  auto* found = Objects::shared().get<Array>("CFArrayAppendValue", array);
  Object* item = Objects::shared().get("CFArrayAppendValue", value);
  if (found != nullptr && !found->isMutable) {
    Ledger::misuse("CFArrayAppendValue", "the array cannot be changed");
  } else if (found != nullptr && item != nullptr) {
    found->append(*item);
  }
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  const auto* found = Objects::shared().get<Array>("CFArrayGetCount", array);
  return found == nullptr ? 0 : static_cast<CFIndex>(found->items.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  const auto* found = Objects::shared().get<Array>("CFArrayGetValueAtIndex", array);
  if (found == nullptr) {
    return nullptr;
  }
  if (index < 0 || index >= static_cast<CFIndex>(found->items.size())) {
    Ledger::misuse("CFArrayGetValueAtIndex", "the index is not within the array");
    return nullptr;
  }
  return referenceTo<CFTypeRef>(found->items[static_cast<std::size_t>(index)]);
}

CFTypeID CFDictionaryGetTypeID() { return typeID("CFDictionary"); }

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  if (capacity != 0 || keyCallBacks != &kCFTypeDictionaryKeyCallBacks ||
      valueCallBacks != &kCFTypeDictionaryValueCallBacks) {
    Ledger::misuse("CFDictionaryCreateMutable", "the dictionary would not own its pairs");
  }
  if (Ledger::shared().counted("CFDictionaryCreateMutable")) {
    return nullptr;
  }
  auto* dictionary = Objects::shared().create<Dictionary>();
  dictionary->isMutable = true;
  return referenceTo<CFMutableDictionaryRef>(dictionary);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  auto* found = Objects::shared().get<Dictionary>("CFDictionarySetValue", dictionary);
  Object* name = Objects::shared().get("CFDictionarySetValue", key);
  Object* item = Objects::shared().get("CFDictionarySetValue", value);
  if (found != nullptr && !found->isMutable) {
    Ledger::misuse("CFDictionarySetValue", "the dictionary cannot be changed");
  } else if (found != nullptr && name != nullptr && item != nullptr) {
    found->set(*name, *item);
  }
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const auto* found = Objects::shared().get<Dictionary>("CFDictionaryGetValue", dictionary);
  const Object* name = Objects::shared().get("CFDictionaryGetValue", key);
  if (found == nullptr || name == nullptr) {
    return nullptr;
  }
  Object* value = found->find(*name);
  return value == nullptr ? nullptr : referenceTo<CFTypeRef>(value);
}

void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction function,
                               void* context) {
  const auto* found = Objects::shared().get<Dictionary>("CFDictionaryApplyFunction", dictionary);
  if (found == nullptr) {
    return;
  }
  // Backwards: no caller may rely on an order.
  for (auto pair = found->pairs.rbegin(); pair != found->pairs.rend(); ++pair) {
    function(referenceTo<CFTypeRef>(pair->first), referenceTo<CFTypeRef>(pair->second), context);
  }
}
