#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform
{

/// The languages that the environment asks for, best first, as codes such as "de_AT" and "de": LANGUAGE, then the
/// first of LC_ALL, LC_MESSAGES and LANG that is set. Empty for the C locale.
std::vector<std::string> userLanguages();

/// The entries of `available` that serve the languages, best first. "German" serves "de" and "de_AT". English comes
/// last where it is available; when nothing fits, the first one is better than none.
std::vector<std::string> matchingLocalizations(const std::vector<std::string>& available,
                                               const std::vector<std::string>& languages);

} // namespace platform
