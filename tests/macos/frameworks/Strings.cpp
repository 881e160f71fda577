#include <map>

#include <unicode/unistr.h>

#include "base/UTF8Text.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

bool String::equals(const Object& other) const {
  return units == dynamic_cast<const String&>(other).units;
}

std::string String::utf8() const {
  std::string text;
  icu::UnicodeString(units.data(), static_cast<std::int32_t>(units.size())).toUTF8String(text);
  return text;
}

std::optional<std::u16string> utf16(std::string_view text) {
  if (!isValidUTF8(text)) {
    return std::nullopt;
  }
  const auto units = icu::UnicodeString::fromUTF8(text);
  return std::u16string(units.getBuffer(), static_cast<std::size_t>(units.length()));
}

std::optional<std::string> textArgument(const std::string& function, CFStringRef reference) {
  const auto* text = Objects::shared().get<String>(function, reference);
  return text == nullptr ? std::nullopt : std::optional(text->utf8());
}

CFStringRef newString(std::string_view text) {
  return referenceTo<CFStringRef>(Objects::shared().create<String>(utf16(text).value()));
}

}  // namespace kelvora::testing::mac

using kelvora::testing::mac::Ledger;
using kelvora::testing::mac::Objects;
using kelvora::testing::mac::referenceTo;
using kelvora::testing::mac::String;

CFStringRef __CFStringMakeConstantString(const char* text) {
  static std::mutex mutex;
  static std::map<std::string, CFStringRef> texts;
  const std::lock_guard lock(mutex);
  CFStringRef& made = texts[text];
  if (made == nullptr) {
    made = referenceTo<CFStringRef>(
        Objects::shared().createImmortal<String>(kelvora::testing::mac::utf16(text).value()));
  }
  return made;
}

CFTypeID CFStringGetTypeID() { return kelvora::testing::mac::typeID("CFString"); }

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean) {
  const bool fails = Ledger::shared().counted("CFStringCreateWithBytes");
  if (encoding != kCFStringEncodingUTF8 || count < 0) {
    Ledger::misuse("CFStringCreateWithBytes", "the double knows UTF-8 only");
    return nullptr;
  }
  const auto units = kelvora::testing::mac::utf16(
      {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count)});
  return fails || !units ? nullptr
                         : referenceTo<CFStringRef>(Objects::shared().create<String>(*units));
}

CFIndex CFStringGetLength(CFStringRef text) {
  const auto* string = Objects::shared().get<String>("CFStringGetLength", text);
  return string == nullptr ? 0 : static_cast<CFIndex>(string->units.size());
}

void CFStringGetCharacters(CFStringRef text, CFRange range, UniChar* buffer) {
  const auto* string = Objects::shared().get<String>("CFStringGetCharacters", text);
  if (string == nullptr) {
    return;
  }
  const auto length = static_cast<CFIndex>(string->units.size());
  if (range.location < 0 || range.length < 0 || range.location > length - range.length) {
    Ledger::misuse("CFStringGetCharacters", "the range is not within the text");
    return;
  }
  string->units.copy(reinterpret_cast<char16_t*>(buffer), static_cast<std::size_t>(range.length),
                     static_cast<std::size_t>(range.location));
}
