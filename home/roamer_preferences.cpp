#include "roamer_preferences.h"

#include <algorithm>
#include <limits>

#include "util/debug_log.h"
#include "util/typed_reads.h"

namespace roamer
{

namespace
{

const PropertyList* findIn(const std::optional<Dictionary>& layer, const std::string& key)
{
    return layer ? objectForKey(*layer, key) : nullptr;
}

} // namespace

RoamerPreferences::RoamerPreferences(const std::optional<AmruVEXRecord>& userRecord, PreferenceDomains& domains,
                                     platform::Bundles& bundles, platform::EffectiveUser& effectiveUser)
    : mUserRecord(userRecord), mDomains(domains), mBundles(bundles), mEffectiveUser(effectiveUser)
{
}

void RoamerPreferences::validateRoamerPrefCache()
{
    if (mRoamerPrefsValid) return;
    const auto user = mUserRecord ? mUserRecord->recordName() : std::nullopt;
    const auto home = mUserRecord ? mUserRecord->home() : std::nullopt;
    mManagedRoamerPrefs = user ? mDomains.dictionaryWithManagedPrefsFromDomain(kRoamerDomain, *user) : std::nullopt;
    mRoamerPrefs = home ? mDomains.dictionaryWithPrefsFromDomain(kRoamerDomain, *home) : std::nullopt;
    mRoamerPrefsValid = true;
}

void RoamerPreferences::invalidateRoamerPrefCache()
{
    mRoamerPrefsValid = false;
}

const PropertyList* RoamerPreferences::findValue(const std::string& key)
{
    validateRoamerPrefCache();
    const auto* managed = findIn(mManagedRoamerPrefs, key);
    return managed != nullptr ? managed : findIn(mRoamerPrefs, key);
}

bool RoamerPreferences::roamerValueIsForced(const std::string& key)
{
    validateRoamerPrefCache();
    return findIn(mManagedRoamerPrefs, key) != nullptr;
}

std::optional<PropertyList> RoamerPreferences::getRoamerValue(const std::string& key)
{
    const auto* value = findValue(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

bool RoamerPreferences::getRoamerBool(const std::string& key, bool withDefault)
{
    return boolWithDefault(findValue(key), withDefault);
}

int RoamerPreferences::getRoamerInt(const std::string& key, int withDefault)
{
    const auto* value = findValue(key);
    const auto reading = value != nullptr ? value->integerReading() : std::nullopt;
    if (!reading) return withDefault;
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<std::int64_t>(*reading, Limits::min(), Limits::max()));
}

void RoamerPreferences::setRoamerValue(const std::optional<PropertyList>& value, const std::string& key)
{
    if (mEffectiveUser.effectiveUid() == 0) {
        DebugLog(1, "Pavo.setRoamerVallue:%s current euid is root", key.c_str());
    }
    validateRoamerPrefCache();
    const auto home = mUserRecord ? mUserRecord->home() : std::nullopt;
    if (!home) return; // an empty path would lead to the computer's own preferences

    Dictionary changed = mRoamerPrefs.value_or(Dictionary());
    if (value) {
        changed.insert_or_assign(key, *value);
    } else {
        changed.erase(key);
    }
    mDomains.writePrefsInDomain(changed, kRoamerDomain, *home); // reports its own failure
    mRoamerPrefs = std::move(changed);
}

void RoamerPreferences::setRoamerBool(const std::string& key, bool value)
{
    setRoamerValue(PropertyList(value), key);
}

std::optional<Array> RoamerPreferences::getDefaultList(const std::string& name)
{
    if (!mPavoDefaultsDict) {
        const auto bundle = mBundles.bundleWithPath(platform::kCustodiaBundlePath);
        const auto path = bundle ? bundle->pathForResource("PavoDefaults", "plist") : std::nullopt;
        if (path) mPavoDefaultsDict = bundle->dictionaryWithContentsOfFile(*path);
    }
    const auto* value = findIn(mPavoDefaultsDict, name);
    const auto* list = value != nullptr ? value->as<Array>() : nullptr;
    return list != nullptr ? std::optional(*list) : std::nullopt;
}

} // namespace roamer
