#pragma once

#include <string_view>

#include <unicode/locid.h>

namespace kelvora {

/// The locale that the user has chosen for a category, e.g. "LC_NUMERIC": that of LC_ALL, of the
/// category's own variable or of LANG, the first that is not empty; else that of the system's
/// settings, because a program that the Dock starts has no such variable. English for "C" and where
/// none is chosen. ICU's default locale follows the language of messages instead.
icu::Locale localeOfCategory(const char* category);

/// Whether the name of a locale means no language, e.g. "C", "POSIX" or "C.UTF-8".
bool isPlainLocale(std::string_view name);

}  // namespace kelvora
