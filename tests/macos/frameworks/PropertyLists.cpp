#include <chrono>

#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

namespace {

// Makes objects that the doubles hold: a container holds its items once they are in it.
struct HeldObjectMaker {
  Object* operator()(bool truth) const {
    Object* object =
        Objects::shared().get<Truth>("a double", truth ? kCFBooleanTrue : kCFBooleanFalse);
    Objects::shared().hold(*object);
    return object;
  }
  Object* operator()(std::int64_t whole) const {
    return Objects::shared().createHeld<Number>(static_cast<std::uint64_t>(whole), false);
  }
  Object* operator()(double real) const { return Objects::shared().createHeld<Number>(real); }
  Object* operator()(const std::string& text) const {
    return Objects::shared().createHeld<String>(utf16(text).value());
  }
  Object* operator()(const PropertyListValue::Data& data) const {
    const auto* bytes = reinterpret_cast<const UInt8*>(data.data());
    return Objects::shared().createHeld<Data>(std::vector<UInt8>(bytes, bytes + data.size()));
  }
  Object* operator()(PropertyListValue::Date date) const {
    const PropertyListValue::Date reference =
        std::chrono::sys_days(std::chrono::year{2001} / 1 / 1);
    const std::chrono::duration<double> elapsed = date - reference;
    return Objects::shared().createHeld<Date>(elapsed.count());
  }
  Object* operator()(const PropertyListValue::Array& values) const {
    auto* array = Objects::shared().createHeld<Array>();
    for (const PropertyListValue& value : values) {
      Object* item = std::visit(*this, value.storage());
      array->append(*item);
      Objects::shared().drop(*item);
    }
    return array;
  }
  Object* operator()(const PropertyListValue::Dictionary& values) const {
    auto* dictionary = Objects::shared().createHeld<Dictionary>();
    for (const auto& [name, value] : values) {
      Object* key = (*this)(name);
      Object* item = std::visit(*this, value.storage());
      dictionary->set(*key, *item);
      Objects::shared().drop(*key);
      Objects::shared().drop(*item);
    }
    return dictionary;
  }
};

}  // namespace

CFTypeRef newObject(const PropertyListValue& value) {
  Object* object = std::visit(HeldObjectMaker{}, value.storage());
  Objects::shared().handOver(*object);
  return referenceTo<CFTypeRef>(object);
}

}  // namespace kelvora::testing::mac
