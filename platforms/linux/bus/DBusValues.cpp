#include "platforms/linux/bus/DBusValues.h"

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "base/UTF8Text.h"

namespace kelvora::platform {

namespace {

using Instant = sdbus::Struct<std::int64_t>;

struct VariantMaker {
  sdbus::Variant operator()(bool truth) const { return sdbus::Variant(truth); }
  sdbus::Variant operator()(std::int64_t number) const { return sdbus::Variant(number); }
  sdbus::Variant operator()(double real) const { return sdbus::Variant(real); }
  sdbus::Variant operator()(const std::string& text) const {
    return sdbus::Variant(validUTF8(text));
  }
  sdbus::Variant operator()(const PropertyListValue::Data& data) const {
    std::vector<std::uint8_t> bytes(data.size());
    std::transform(data.begin(), data.end(), bytes.begin(),
                   [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
    return sdbus::Variant(bytes);
  }
  sdbus::Variant operator()(PropertyListValue::Date date) const {
    const auto elapsed = std::chrono::floor<std::chrono::microseconds>(date.time_since_epoch());
    return sdbus::Variant(Instant(std::int64_t{elapsed.count()}));
  }
  sdbus::Variant operator()(const PropertyListValue::Array& values) const {
    std::vector<sdbus::Variant> variants;
    variants.reserve(values.size());
    for (const PropertyListValue& value : values) {
      variants.push_back(variantOf(value));
    }
    return sdbus::Variant(variants);
  }
  sdbus::Variant operator()(const PropertyListValue::Dictionary& values) const {
    return sdbus::Variant(variantsOf(values));
  }
};

template <typename T>
std::optional<PropertyListValue> numberIn(const sdbus::Variant& variant) {
  return static_cast<std::int64_t>(variant.get<T>());
}

template <typename T>
std::optional<PropertyListValue> plainIn(const sdbus::Variant& variant) {
  return variant.get<T>();
}

template <typename T>
std::optional<PropertyListValue> textIn(const sdbus::Variant& variant) {
  return std::string(variant.get<T>());
}

std::optional<PropertyListValue> dataIn(const sdbus::Variant& variant) {
  PropertyListValue::Data data;
  for (const std::uint8_t byte : variant.get<std::vector<std::uint8_t>>()) {
    data.push_back(std::byte{byte});
  }
  return data;
}

std::optional<PropertyListValue> instantIn(const sdbus::Variant& variant) {
  using Microseconds = std::chrono::microseconds;
  using Elapsed = PropertyListValue::Date::duration;
  const Microseconds elapsed(variant.get<Instant>().get<0>());
  const auto kept = std::clamp(elapsed, std::chrono::duration_cast<Microseconds>(Elapsed::min()),
                               std::chrono::duration_cast<Microseconds>(Elapsed::max()));
  return PropertyListValue::Date(std::chrono::duration_cast<Elapsed>(kept));
}

std::optional<PropertyListValue> arrayIn(const sdbus::Variant& variant) {
  PropertyListValue::Array values;
  for (const sdbus::Variant& item : variant.get<std::vector<sdbus::Variant>>()) {
    if (auto value = valueOf(item)) {
      values.push_back(std::move(*value));
    }
  }
  return values;
}

std::optional<PropertyListValue> dictionaryIn(const sdbus::Variant& variant) {
  return valuesOf(variant.get<VariantDictionary>());
}

std::optional<PropertyListValue> variantIn(const sdbus::Variant& variant) {
  return valueOf(variant.get<sdbus::Variant>());
}

struct Reader {
  std::string_view signature;
  std::optional<PropertyListValue> (*read)(const sdbus::Variant&);
};

constexpr Reader kReaders[] = {
    {"b", plainIn<bool>},
    {"x", plainIn<std::int64_t>},
    {"d", plainIn<double>},
    {"s", textIn<std::string>},
    {"ay", dataIn},
    {"(x)", instantIn},
    {"av", arrayIn},
    {"a{sv}", dictionaryIn},
    {"v", variantIn},
    {"y", numberIn<std::uint8_t>},
    {"n", numberIn<std::int16_t>},
    {"q", numberIn<std::uint16_t>},
    {"i", numberIn<std::int32_t>},
    {"u", numberIn<std::uint32_t>},
    {"t", numberIn<std::uint64_t>},
    {"o", textIn<sdbus::ObjectPath>},
    {"g", textIn<sdbus::Signature>},
};

}  // namespace

sdbus::Variant variantOf(const PropertyListValue& value) {
  return std::visit(VariantMaker{}, value.storage());
}

std::optional<PropertyListValue> valueOf(const sdbus::Variant& variant) {
  const std::string signature = variant.peekValueType();
  for (const Reader& reader : kReaders) {
    if (reader.signature == signature) {
      return reader.read(variant);
    }
  }
  return std::nullopt;
}

VariantDictionary variantsOf(const PropertyListValue::Dictionary& values) {
  VariantDictionary variants;
  for (const auto& [key, value] : values) {
    variants.insert_or_assign(validUTF8(key), variantOf(value));
  }
  return variants;
}

PropertyListValue::Dictionary valuesOf(const VariantDictionary& variants) {
  PropertyListValue::Dictionary values;
  for (const auto& [key, variant] : variants) {
    if (auto value = valueOf(variant)) {
      values.insert_or_assign(key, std::move(*value));
    }
  }
  return values;
}

}  // namespace kelvora::platform
