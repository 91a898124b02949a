#include "preference_table.h"

#include <algorithm>
#include <array>

#include "preference_keys.h"

namespace roamer
{

namespace
{

using Section = PreferenceSection;
using Type = PreferenceType;
using Setter = PreferenceSetter;

constexpr std::array<std::string_view, 2> kSyncWords = {"sync", kDontSyncWord};
constexpr std::array<std::string_view, 5> kConflictWords = {
    kShowConflictDialogsWord, kMobileHomeWinsWord, kNetworkHomeWinsWord, kMobileHomeCopyWord, kNetworkHomeCopyWord};

constexpr PreferenceKey whenKey(std::string_view name, std::string_view meaning)
{
    return {name, Section::When, Type::Word, "`sync`", meaning, Setter::Both, kSyncWords, "dontSync"};
}

constexpr PreferenceKey cancelKey(std::string_view name, std::string_view meaning)
{
    return {name, Section::Session, Type::Boolean, "false", meaning, Setter::Administrator, {}, "true"};
}

constexpr PreferenceKey conflictKey(std::string_view name, std::string_view without, std::string_view meaning)
{
    return {name,    Section::Conflicts, Type::Word,     without,
            meaning, Setter::Both,       kConflictWords, "showConflictDialogs"};
}

constexpr PreferenceKey errorsKey(std::string_view name, std::string_view meaning)
{
    return {name, Section::Errors, Type::Boolean, "false", meaning, Setter::Both, {}, "true"};
}

constexpr PreferenceKey foldersKey(std::string_view name, std::string_view meaning, Setter setter)
{
    return {name, Section::Folders, Type::Folders, "", meaning, setter, {}, "~/Documents ~/Pictures"};
}

constexpr PreferenceKey replaceKey(std::string_view name, std::string_view meaning)
{
    return {name, Section::Folders, Type::Boolean, "false", meaning, Setter::Administrator, {}, "true"};
}

constexpr PreferenceKey rulesKey(std::string_view name, std::string_view meaning, Setter setter)
{
    return {
        name, Section::Exclusions, Type::Rules, "", meaning, setter, {}, "endsWith:.iso 'fullPath:~/Virtual Machines'"};
}

constexpr PreferenceKey rememberedKey(std::string_view name, Type type, std::string_view meaning)
{
    return {name, Section::Remembered, type, "", meaning, Setter::Roamer, {}, ""};
}

constexpr std::array kKeys = std::to_array<PreferenceKey>({
    {kPeriodicSyncOn,
     Section::When,
     Type::Boolean,
     "true",
     "Syncs in the background while the person is logged in.",
     Setter::Both,
     {},
     "false"},
    {kSyncPeriodSeconds,
     Section::When,
     Type::Seconds,
     "1200",
     "Seconds between two background syncs. Above 0 and below 60 means 60; 0 and less means 1200. Below 1200 (also 0 "
     "and less), changed files start a sync as well.",
     Setter::Both,
     {},
     "600"},
    whenKey(kSyncPreferencesAtLogin, "The login and logout set at login."),
    whenKey(kSyncPreferencesAtLogout, "The login and logout set at logout."),
    whenKey(kSyncPreferencesInBackground, "The settings in background syncs."),
    whenKey(kSyncPreferencesAtSyncNow, "The settings on *sync now*."),
    whenKey(kSyncBackgroundSetAtLogin, "The background set at login."),
    whenKey(kSyncBackgroundSetAtLogout, "The background set at logout."),

    {kIsNewMobileAccount,
     Section::Session,
     Type::Boolean,
     "false",
     "The next login is this account's first sync: the network home is copied here. Roamer sets it to false when that "
     "is done.",
     Setter::Enrolment,
     {},
     "true"},
    cancelKey(kDisableLoginSyncCancel, "True: the sync at login cannot be stopped."),
    cancelKey(kDisableLogoutSyncCancel, "True: the sync at logout cannot be stopped."),
    cancelKey(kDisableFirstSyncCancel, "True: the first sync cannot be stopped."),
    {kLoginSyncDialogTimeoutSeconds,
     Section::Session,
     Type::Seconds,
     "0",
     "Seconds that a login waits for the person to settle conflicts, anew after each one; 0: without limit.",
     Setter::Administrator,
     {},
     "120"},
    {kLogoutSyncDialogTimeoutSeconds,
     Section::Session,
     Type::Seconds,
     "0",
     "Seconds that a logout waits for the person to settle conflicts, anew after each one; 0: without limit.",
     Setter::Administrator,
     {},
     "120"},

    conflictKey(kLoginPrefSyncConflictResolution, "`networkHomeWins`", "Settings at login."),
    conflictKey(kLoginNonprefSyncConflictResolution, "`networkHomeWins`",
                "Other items of the login and logout set, at login."),
    conflictKey(kLogoutPrefSyncConflictResolution, "`mobileHomeWins`", "Settings at logout."),
    conflictKey(kLogoutNonprefSyncConflictResolution, "`mobileHomeWins`",
                "Other items of the login and logout set, at logout."),
    conflictKey(kBackgroundConflictResolution, "`showConflictDialogs`", "The background set, whenever it is synced."),

    errorsKey(kLoginPrefSuppressErrors, "Settings at login."),
    errorsKey(kLoginNonprefSuppressErrors, "Other items of the login and logout set, at login."),
    errorsKey(kLogoutPrefSuppressErrors, "Settings at logout."),
    errorsKey(kLogoutNonprefSuppressErrors, "Other items of the login and logout set, at logout."),
    errorsKey(kFirstSyncSuppressErrors, "A first sync."),
    errorsKey(kBackgroundSuppressErrors, "The background set."),

    foldersKey(kSyncedPrefFolders, "The login and logout set.", Setter::Person),
    foldersKey(kSyncedPrefFoldersManaged, "The same; where it is forced, the person's list does not count.",
               Setter::Administrator),
    foldersKey(kSyncedFolders, "The background set.", Setter::Person),
    foldersKey(kSyncedFoldersManaged, "The same; where it is forced, the person's list does not count.",
               Setter::Administrator),
    replaceKey(kReplaceUserPrefSyncList, "True: the person's lists of the login and logout set do not count."),
    replaceKey(kReplaceUserSyncList, "True: the person's lists of the background set do not count."),

    rulesKey(kExcludedPrefItems, "Rules for the login and logout set.", Setter::Person),
    rulesKey(kExcludedPrefItemsManaged, "More rules for the login and logout set.", Setter::Administrator),
    rulesKey(kExcludedItems, "Rules for the background set.", Setter::Person),
    rulesKey(kExcludedItemsManaged, "More rules for the background set.", Setter::Administrator),

    rememberedKey(kRoamerTime, Type::Date,
                  "When the last sync was completed; in the person's file and in its copy in the network home."),
    rememberedKey(kHomeChangeTime, Type::Date,
                  "In the network home's copy only: when the network home last changed. Roamer only reads it; "
                  "`roamer-session changed` writes it."),
    rememberedKey(kNetworkHomeNewerTime, Type::Date,
                  "When *sync now* found settings that had changed in the network home. Until a later sync was "
                  "completed, *sync now* and background syncs leave the settings out."),
    rememberedKey(kRoamerCompleted, Type::Boolean, "Whether the sync of the last logout was completed."),
    rememberedKey(kSyncStatusPosition, Type::Text, "Where the progress window was closed."),
});

} // namespace

std::span<const PreferenceKey> preferenceKeys()
{
    return kKeys;
}

const PreferenceKey* findPreferenceKey(std::string_view name)
{
    const auto* const found = std::ranges::find(kKeys, name, &PreferenceKey::name);
    return found != kKeys.end() ? found : nullptr;
}

bool worksWhenForcedOnly(const PreferenceKey& key)
{
    return key.name.ends_with("-managed") || key.name.starts_with("replaceUser");
}

std::string_view preferenceTypeName(PreferenceType type)
{
    switch (type) {
    case Type::Boolean:
        return "boolean";
    case Type::Seconds:
        return "number";
    case Type::Word:
        return "word";
    case Type::Folders:
        return "list of paths";
    case Type::Rules:
        return "list of rules";
    case Type::Date:
        return "date";
    case Type::Text:
        return "text";
    }
    return {};
}

std::string_view preferenceSetterName(PreferenceSetter setter)
{
    switch (setter) {
    case Setter::Both:
        return "both";
    case Setter::Person:
        return "the person";
    case Setter::Administrator:
        return "administrator";
    case Setter::Enrolment:
        return "enrolment";
    case Setter::Roamer:
        return "Roamer";
    }
    return {};
}

std::string preferenceTableMarkdown(PreferenceSection section)
{
    std::string table = "| key | type | without it | what it does | set by |\n|---|---|---|---|---|\n";
    for (const auto& key : kKeys) {
        if (key.section != section) continue;
        const auto without = key.without.empty() ? std::string_view("-") : key.without;
        table.append("| `").append(key.name).append("` | ").append(preferenceTypeName(key.type));
        table.append(" | ").append(without).append(" | ").append(key.meaning);
        table.append(" | ").append(preferenceSetterName(key.setter)).append(" |\n");
    }
    return table;
}

} // namespace roamer
