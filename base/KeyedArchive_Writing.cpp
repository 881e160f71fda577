#include <map>

#include "base/KeyedArchive.h"
#include "base/PropertyListNodes.h"
#include "base/UTF8Text.h"

namespace kelvora {

namespace {

plist_t textNode(const std::string& text) { return plist_new_string(validUTF8(text).c_str()); }

// Appends each value to the list of objects, before those that it refers to.
class ArchiveWriter {
 public:
  ArchiveWriter() { append(plist_new_string("$null")); }

  PropertyListNode archive(const ArchiveValue& root) {
    PropertyListNode archive(plist_new_dict());
    plist_dict_set_item(archive.get(), "$version", plist_new_uint(100000));
    plist_dict_set_item(archive.get(), "$archiver", plist_new_string("NSKeyedArchiver"));
    plist_t top = plist_new_dict();
    plist_dict_set_item(top, "root", reference(root));
    plist_dict_set_item(archive.get(), "$top", top);
    plist_dict_set_item(archive.get(), "$objects", objects_.release());
    return archive;
  }

  plist_t operator()(ArchiveValue::Null) { return plist_new_uid(0); }
  plist_t operator()(const ArchiveValue::Array& values) {
    plist_t items = plist_new_array();
    const std::uint64_t index = appendObject("NSArray", {{"NS.objects", items}});
    for (const ArchiveValue& value : values) {
      plist_array_append_item(items, reference(value));
    }
    return plist_new_uid(index);
  }
  plist_t operator()(const ArchiveValue::Dictionary& values) {
    plist_t keys = plist_new_array();
    plist_t items = plist_new_array();
    const std::uint64_t index =
        appendObject("NSDictionary", {{"NS.keys", keys}, {"NS.objects", items}});
    for (const auto& [key, value] : values) {
      plist_array_append_item(keys, plist_new_uid(append(textNode(key))));
      plist_array_append_item(items, reference(value));
    }
    return plist_new_uid(index);
  }
  plist_t operator()(const ArchiveValue::Object& object) {
    plist_t fields = plist_new_dict();
    const std::uint64_t index = append(fields);
    for (std::size_t at = 0; at < object.names.size(); ++at) {
      plist_dict_set_item(fields, validUTF8(object.names[at]).c_str(),
                          reference(object.values[at]));
    }
    plist_dict_set_item(fields, "$class", plist_new_uid(classIndex(object.className)));
    return plist_new_uid(index);
  }
  plist_t operator()(ArchiveValue::Date date) {
    const std::chrono::duration<double> seconds =
        std::chrono::duration<double>(date.time_since_epoch()) -
        kPropertyListReferenceDate.time_since_epoch();
    return plist_new_uid(appendObject("NSDate", {{"NS.time", plist_new_real(seconds.count())}}));
  }
  // A boolean, a number, a text or bytes.
  template <typename T>
  plist_t operator()(const T& value) {
    return plist_new_uid(append(nodeOfValue(value).release()));
  }

 private:
  plist_t reference(const ArchiveValue& value) { return std::visit(*this, value.storage()); }

  std::uint64_t append(plist_t node) {
    plist_array_append_item(objects_.get(), node);
    return count_++;
  }

  std::uint64_t appendObject(const char* className,
                             const std::vector<std::pair<const char*, plist_t>>& fields) {
    plist_t object = plist_new_dict();
    const std::uint64_t index = append(object);
    for (const auto& [name, node] : fields) {
      plist_dict_set_item(object, name, node);
    }
    plist_dict_set_item(object, "$class", plist_new_uid(classIndex(className)));
    return index;
  }

  std::uint64_t classIndex(const std::string& name) {
    if (const auto known = classes_.find(name); known != classes_.end()) {
      return known->second;
    }
    plist_t names = plist_new_array();
    plist_array_append_item(names, textNode(name));
    plist_array_append_item(names, plist_new_string("NSObject"));
    plist_t record = plist_new_dict();
    plist_dict_set_item(record, "$classname", textNode(name));
    plist_dict_set_item(record, "$classes", names);
    return classes_.emplace(name, append(record)).first->second;
  }

  PropertyListNode objects_{plist_new_array()};
  std::uint64_t count_ = 0;
  std::map<std::string, std::uint64_t> classes_;
};

}  // namespace

std::vector<std::byte> keyedArchive(const ArchiveValue& root) {
  return binaryOfNode(ArchiveWriter().archive(root).get());
}

}  // namespace kelvora
