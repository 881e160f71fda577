#include "platforms/recorded/file/JSONPlace.h"

#include <cmath>

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kLongestQuote = 40;

std::string shortened(std::string_view text) {
  std::string result;
  for (const char character : text) {
    // Never cut between the bytes of a character.
    const bool isContinuation = (static_cast<unsigned char>(character) & 0xc0) == 0x80;
    if (result.size() >= kLongestQuote && !isContinuation) {
      return result + "…";
    }
    const bool isControl = static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
    result += isControl ? '?' : character;
  }
  return result;
}

// RFC 6901: "~" and "/" of a name are escaped.
std::string escapedName(std::string_view name) {
  std::string result;
  for (const char character : shortened(name)) {
    if (character == '~') {
      result += "~0";
    } else if (character == '/') {
      result += "~1";
    } else {
      result += character;
    }
  }
  return result;
}

}  // namespace

std::string JSONPlace::quoted(std::string_view text) { return "'" + shortened(text) + "'"; }

std::string JSONPlace::pointer() const {
  if (parent_ == nullptr) {
    return "";
  }
  return parent_->pointer() + "/" +
         (index_ == kNoIndex ? escapedName(name_) : std::to_string(index_));
}

void JSONPlace::refuse(const std::string& fault) const {
  const std::string place = pointer();
  throw MachineFileError(file_, place.empty() ? "/" : place, fault);
}

const std::string& JSONPlace::text() const {
  if (!value_.is_string()) {
    refuse("must be a text");
  }
  return value_.get_ref<const std::string&>();
}

bool JSONPlace::boolean() const {
  if (!value_.is_boolean()) {
    refuse("must be true or false");
  }
  return value_.get<bool>();
}

double JSONPlace::number() const {
  if (!value_.is_number()) {
    refuse("must be a number");
  }
  return value_.get<double>();
}

std::int64_t JSONPlace::integer(std::int64_t lowest, std::int64_t highest) const {
  if (!value_.is_number_integer()) {
    refuse("must be a whole number");
  }
  const bool isBeyondSigned =
      value_.is_number_unsigned() &&
      value_.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  const std::int64_t value = isBeyondSigned ? 0 : value_.get<std::int64_t>();
  if (isBeyondSigned || value < lowest || value > highest) {
    refuse(value_.dump() + " is not between " + std::to_string(lowest) + " and " +
           std::to_string(highest));
  }
  return value;
}

void JSONPlace::requireObject() const {
  if (!value_.is_object()) {
    refuse("must be an object");
  }
}

void JSONPlace::requireArray() const {
  if (!value_.is_array()) {
    refuse("must be an array");
  }
}

const nlohmann::json* JSONPlace::find(std::string_view name) const {
  requireObject();
  const auto entry = value_.find(name);
  return entry == value_.end() ? nullptr : &*entry;
}

}  // namespace kelvora::platform
