#pragma once

#include <unicode/locid.h>

namespace kelvora {

/// The locale that the environment chooses for a category, e.g. "LC_NUMERIC": that of LC_ALL, of
/// the category's own variable or of LANG, the first that is not empty. English for "C" and where
/// none is chosen. ICU's default locale follows the language of messages instead.
icu::Locale localeOfCategory(const char* category);

}  // namespace kelvora
