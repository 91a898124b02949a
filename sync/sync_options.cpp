#include "sync_options.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "home/preference_keys.h"
#include "lists/sync_type.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

/// The keys that steer one sync type. Null: the type has none.
struct TypeKeys {
    const char* conflictResolution;
    const char* suppressErrors;
    const char* shouldSync;
};

constexpr TypeKeys kFirstSync = {nullptr, kFirstSyncSuppressErrors, nullptr};
constexpr TypeKeys kBackground = {kBackgroundConflictResolution, kBackgroundSuppressErrors, nullptr};

/// Indexed by sync type.
constexpr std::array<TypeKeys, 20> kTypeKeys = {{
    {kLoginPrefSyncConflictResolution, kLoginPrefSuppressErrors, kSyncPreferencesAtLogin},
    {kLoginPrefSyncConflictResolution, kLoginPrefSuppressErrors, kSyncPreferencesAtLogin},
    {kLoginNonprefSyncConflictResolution, kLoginNonprefSuppressErrors, kSyncPreferencesAtLogin},
    {kBackgroundConflictResolution, kBackgroundSuppressErrors, kSyncBackgroundSetAtLogin},
    kFirstSync,
    kFirstSync,
    kFirstSync,
    kFirstSync,
    {kLogoutPrefSyncConflictResolution, kLogoutPrefSuppressErrors, kSyncPreferencesAtLogout},
    {kLogoutPrefSyncConflictResolution, kLogoutPrefSuppressErrors, kSyncPreferencesAtLogout},
    {kLogoutNonprefSyncConflictResolution, kLogoutNonprefSuppressErrors, kSyncPreferencesAtLogout},
    {kBackgroundConflictResolution, kBackgroundSuppressErrors, kSyncBackgroundSetAtLogout},
    kFirstSync,
    kFirstSync,
    kFirstSync,
    kFirstSync,
    kBackground,
    {nullptr, nullptr, kSyncPreferencesInBackground},
    kBackground,
    {nullptr, nullptr, kSyncPreferencesAtSyncNow},
}};
static_assert(kTypeKeys.size() == kAllSyncParts);

constexpr TypeKeys keysOfType(std::int32_t syncType)
{
    if (syncType < 0 || syncType >= kAllSyncParts) return {};
    return kTypeKeys[static_cast<std::size_t>(syncType)];
}

/// What each conflict resolution is called in the preferences, and what it asks of the engine.
struct ResolutionFacts {
    ConflictResolution value;
    std::string_view word; ///< Empty: no preference can choose it.
    enum Side { NoSide, Local, Remote } side;
    bool resolvesForSide;
    bool sideIsReadOnly;
    bool abortsRatherThanWrite;
};

constexpr std::array kResolutions = std::to_array<ResolutionFacts>({
    {kShowConflictDialogs, kShowConflictDialogsWord, ResolutionFacts::NoSide, false, false, false},
    {kLocalWinsConflicts, kMobileHomeWinsWord, ResolutionFacts::Local, true, false, false},
    {kNetworkWinsConflicts, kNetworkHomeWinsWord, ResolutionFacts::Remote, true, false, false},
    {kCopyNetwork, kNetworkHomeCopyWord, ResolutionFacts::Remote, true, true, false},
    {kCopyNetworkAbort, "", ResolutionFacts::Remote, false, true, true},
    {kCopyLocal, kMobileHomeCopyWord, ResolutionFacts::Local, true, true, false},
    {kCopyLocalAbort, "", ResolutionFacts::Local, false, true, true},
});

void addConflictOptions(const ResolutionFacts& facts, const PropertyList& sideRef, Dictionary& options)
{
    if (facts.resolvesForSide) options[platform::kSyncOptionResolveConflictInFavorOfPeerKey] = sideRef;
    if (facts.sideIsReadOnly) options[platform::kSyncOptionPeerSyncPassReadOnlyKey] = sideRef;
    if (facts.abortsRatherThanWrite) {
        options[platform::kSyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey] = sideRef;
        options[platform::kSyncOptionAbortSyncPassOnConflictKey] = 1;
        options[platform::kSyncOptionSuppressConflictDialogsKey] = 1;
    }
}

} // namespace

SyncOptions::SyncOptions(RoamerPreferences& preferences) : mPreferences(preferences) {}

int SyncOptions::getConflictResolutionOverride(std::int32_t syncType, int defaultValue)
{
    const char* key = keysOfType(syncType).conflictResolution;
    if (key == nullptr) return defaultValue;
    const auto word = mPreferences.getRoamerValue<std::string>(key, std::nullopt);
    if (!word || word->empty()) return defaultValue;
    const auto* const facts = std::ranges::find(kResolutions, *word, &ResolutionFacts::word);
    return facts != kResolutions.end() ? facts->value : defaultValue;
}

bool SyncOptions::getSuppressErrorsOverride(std::int32_t syncType, bool defaultValue)
{
    const char* key = keysOfType(syncType).suppressErrors;
    return key != nullptr ? mPreferences.getRoamerBool(key, defaultValue) : defaultValue;
}

bool SyncOptions::getShouldSyncOverride(std::int32_t syncType)
{
    const char* key = keysOfType(syncType).shouldSync;
    return key == nullptr || mPreferences.getRoamerValue<std::string>(key, std::nullopt) != kDontSyncWord;
}

Dictionary SyncOptions::getOptionsForSyncType(std::int32_t syncType, platform::SyncPeer& localPeer,
                                              platform::SyncPeer& remotePeer, int conflictResolution,
                                              bool suppressErrors, unsigned exclusionInclusionIndex)
{
    const auto typeName = syncTypeUTF8String(syncType);
    Dictionary options{{platform::kSyncOptionExclusionInclusionSetIndexKey, exclusionInclusionIndex}};
    if (suppressErrors) {
        options[platform::kSyncOptionSuppressErrorDialogsKey] = 1;
        DebugLog(2, "Pavo.getOptionsForSyncType:%s suppressing error dialogs.", typeName.c_str());
    }
    DebugLog(2, "Pavo.getOptionsForSyncType:%s conflict resolution value = %d.", typeName.c_str(), conflictResolution);
    for (const auto& facts : kResolutions) {
        if (facts.value != conflictResolution || facts.side == ResolutionFacts::NoSide) continue;
        auto& side = facts.side == ResolutionFacts::Local ? localPeer : remotePeer;
        addConflictOptions(facts, side.peerRef(), options);
    }
    DebugLog(2, "Pavo.getOptionsForSyncType:%s syncOptions = \"%s\"", typeName.c_str(),
             PropertyList(options).description().c_str());
    return options;
}

} // namespace roamer
