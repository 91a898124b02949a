#pragma once

#include <span>
#include <string>
#include <string_view>

namespace roamer
{

enum class PreferenceType {
    Boolean,
    Seconds, ///< A number.
    Word,    ///< One of the key's words.
    Folders, ///< Array of {path = "..."}.
    Rules,   ///< Array of {comparison = "..."; value = "..."}.
    Date,
    Text,
};

/// Where the reference shows a key.
enum class PreferenceSection { When, Session, Conflicts, Errors, Folders, Exclusions, Remembered };

/// Who a key is meant for. The administrator's file wins over the person's for every key all the same.
enum class PreferenceSetter { Both, Person, Administrator, Enrolment, Roamer };

/// All that there is to say about one key of the preference domain: what the reference prints and the command line
/// checks.
struct PreferenceKey {
    std::string_view name;
    PreferenceSection section;
    PreferenceType type;
    std::string_view without; ///< What holds without it, as the reference says it; "" where there is nothing to say.
    std::string_view meaning; ///< A sentence or two; Markdown.
    PreferenceSetter setter;
    std::span<const std::string_view> words; ///< Of a Word: what it may hold.
    std::string_view example;                ///< As it is written after `roamerctl set KEY`.
};

/// Every key, section by section.
std::span<const PreferenceKey> preferenceKeys();

/// Null for a key that nobody reads.
const PreferenceKey* findPreferenceKey(std::string_view name);

/// Keys that mean nothing in the person's file.
bool worksWhenForcedOnly(const PreferenceKey& key);

std::string_view preferenceTypeName(PreferenceType type);
std::string_view preferenceSetterName(PreferenceSetter setter);

/// The section's keys as a Markdown table.
std::string preferenceTableMarkdown(PreferenceSection section);

} // namespace roamer
