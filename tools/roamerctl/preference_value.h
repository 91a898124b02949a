#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "home/preference_table.h"
#include "values/property_list.h"

namespace roamer::ctl
{

/// The value of a key that the words of a command line stand for; or what is wrong with them, in words.
///
/// Folders: one word each, "~/Documents" or "Documents". Rules: one word each, COMPARISON:VALUE; the comparison "path"
/// means exactly this path. Whether a regular expression can be understood is not looked at.
/// Folders as a shell leaves them: what it made of "~/" is taken back, whether it knew the account's home or that of
/// whoever types.
std::vector<std::string> foldersInHome(std::vector<std::string> words, const std::string& home);

std::variant<PropertyList, std::string> preferenceValueFromWords(const PreferenceKey& key,
                                                                 const std::vector<std::string>& words);

/// The value as those words, one line; for values of another type than the key's their description.
std::string wordsOfPreferenceValue(const PropertyList& value);

} // namespace roamer::ctl
