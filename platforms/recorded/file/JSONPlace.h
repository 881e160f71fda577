#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace kelvora::platform {

/// A value inside a machine file, which knows its place there. Every reading operation checks the
/// value's kind and throws MachineFileError when it is another. Places live on the stack, the inner
/// ones shorter than the outer ones; the path is put together only for an error.
class JSONPlace {
 public:
  /// The root of a file. `file` and `value` outlive the place.
  JSONPlace(const std::string& file, const nlohmann::json& value) : file_(file), value_(value) {}

  /// Throws MachineFileError "file: /place/in/it: fault", on one line.
  [[noreturn]] void refuse(const std::string& fault) const;

  const nlohmann::json& value() const { return value_; }

  const std::string& text() const;
  bool boolean() const;
  /// A finite number.
  double number() const;
  /// A whole number within bounds; 3.0 is refused.
  std::int64_t integer(std::int64_t lowest, std::int64_t highest) const;
  template <typename T>
  T integer() const {
    return static_cast<T>(integer(lowest<T>(), highest<T>()));
  }

  /// Calls `visit(place)` with a member of this object if there is one; returns whether there is.
  template <typename Visitor>
  bool member(std::string_view name, Visitor visit) const;
  /// The same for a member that must be there.
  template <typename Visitor>
  void requiredMember(std::string_view name, Visitor visit) const;
  /// Calls `visit(name, place)` with every member of this object.
  template <typename Visitor>
  void eachMember(Visitor visit) const;
  /// Calls `visit(place)` with every element of this array.
  template <typename Visitor>
  void eachElement(Visitor visit) const;

  /// `text` in quotation marks for an error message: shortened, without control characters.
  static std::string quoted(std::string_view text);

 private:
  JSONPlace(const JSONPlace& parent, const nlohmann::json& value, std::string_view name,
            std::size_t index)
      : file_(parent.file_), value_(value), parent_(&parent), name_(name), index_(index) {}

  template <typename T>
  static constexpr std::int64_t lowest() {
    return static_cast<std::int64_t>(std::numeric_limits<T>::min());
  }
  // A count of bytes beyond 2^63 is no count.
  template <typename T>
  static constexpr std::int64_t highest() {
    return sizeof(T) == 8 ? std::numeric_limits<std::int64_t>::max()
                          : static_cast<std::int64_t>(std::numeric_limits<T>::max());
  }

  void requireObject() const;
  void requireArray() const;
  const nlohmann::json* find(std::string_view name) const;
  std::string pointer() const;

  static constexpr std::size_t kNoIndex = std::numeric_limits<std::size_t>::max();

  const std::string& file_;
  const nlohmann::json& value_;
  const JSONPlace* parent_ = nullptr;
  std::string_view name_;
  std::size_t index_ = kNoIndex;
};

template <typename Visitor>
bool JSONPlace::member(std::string_view name, Visitor visit) const {
  const nlohmann::json* found = find(name);
  if (found != nullptr) {
    visit(JSONPlace(*this, *found, name, kNoIndex));
  }
  return found != nullptr;
}

template <typename Visitor>
void JSONPlace::requiredMember(std::string_view name, Visitor visit) const {
  if (!member(name, visit)) {
    JSONPlace(*this, value_, name, kNoIndex).refuse("is missing");
  }
}

template <typename Visitor>
void JSONPlace::eachMember(Visitor visit) const {
  requireObject();
  for (auto entry = value_.begin(); entry != value_.end(); ++entry) {
    visit(entry.key(), JSONPlace(*this, entry.value(), entry.key(), kNoIndex));
  }
}

template <typename Visitor>
void JSONPlace::eachElement(Visitor visit) const {
  requireArray();
  std::size_t index = 0;
  for (const auto& element : value_) {
    visit(JSONPlace(*this, element, {}, index++));
  }
}

}  // namespace kelvora::platform
