#include "tools/kelvora/CharacterSet.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <unicode/translit.h>
#include <unicode/ucnv.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

namespace kelvora::tool {

namespace {

constexpr char kUTF8[] = "UTF-8";

// Signs of the reports come first: their columns need one character for one.
constexpr char16_t kReplacements[] =
    u"° > ' '; … > '~'; – > '-'; █ > '#'; ░ > '.'; ↑ > '^'; ↓ > v; :: Latin-ASCII;";

std::string localeOfCharacters() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* name = std::getenv(variable);
    if (name != nullptr && *name != '\0') {
      return name;
    }
  }
  return "";
}

// "de_DE.ISO-8859-15@euro" gives "ISO-8859-15".
std::string characterSetOf(const std::string& locale) {
  if (locale == "C" || locale == "POSIX") {
    return "US-ASCII";
  }
  const std::size_t point = locale.find('.');
  return point == std::string::npos ? kUTF8
                                    : locale.substr(point + 1, locale.find('@') - point - 1);
}

icu::UnicodeString unicodeOf(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

// Null where the text is written as it is.
icu::LocalUConverterPointer converterOfLocale() {
  const std::string name = characterSetOf(localeOfCharacters());
  UErrorCode status = U_ZERO_ERROR;
  return icu::LocalUConverterPointer(
      ucnv_compareNames(name.c_str(), kUTF8) == 0 ? nullptr : ucnv_open(name.c_str(), &status));
}

// With replacements for the characters that `converter` cannot write.
icu::UnicodeString replaced(icu::UnicodeString text, const UConverter& converter,
                            UErrorCode& status) {
  auto lacking = std::make_unique<icu::UnicodeSet>();
  ucnv_getUnicodeSet(&converter, lacking->toUSet(), UCNV_ROUNDTRIP_SET, &status);
  lacking->complement();
  UParseError place;
  const std::unique_ptr<icu::Transliterator> replacements(icu::Transliterator::createFromRules(
      u"Kelvora", kReplacements, UTRANS_FORWARD, place, status));
  if (U_SUCCESS(status)) {
    replacements->adoptFilter(lacking.release());
    replacements->transliterate(text);
  }
  return text;
}

std::string encoded(const icu::UnicodeString& text, UConverter& converter, UErrorCode& status) {
  ucnv_setSubstChars(&converter, "?", 1, &status);
  std::string bytes(static_cast<std::size_t>(UCNV_GET_MAX_BYTES_FOR_STRING(
                        text.length(), ucnv_getMaxCharSize(&converter))),
                    '\0');
  const std::int32_t size =
      text.extract(bytes.data(), static_cast<std::int32_t>(bytes.size()), &converter, status);
  bytes.resize(U_SUCCESS(status) ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

}  // namespace

std::string inCharacterSetOfLocale(std::string_view text) {
  const icu::LocalUConverterPointer converter = converterOfLocale();
  if (converter.isNull()) {
    return std::string(text);
  }
  UErrorCode status = U_ZERO_ERROR;
  std::string result = encoded(replaced(unicodeOf(text), *converter, status), *converter, status);
  return U_SUCCESS(status) ? result : std::string(text);
}

bool isInCharacterSetOfLocale(std::string_view text) {
  const icu::LocalUConverterPointer converter = converterOfLocale();
  if (converter.isNull()) {
    return true;
  }
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet characters;
  ucnv_getUnicodeSet(converter.getAlias(), characters.toUSet(), UCNV_ROUNDTRIP_SET, &status);
  return U_SUCCESS(status) && characters.containsAll(unicodeOf(text));
}

}  // namespace kelvora::tool
