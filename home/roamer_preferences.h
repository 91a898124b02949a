#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "directory/amru_vex_record.h"
#include "platform/bundle.h"
#include "platform/effective_user.h"
#include "preference_keys.h"
#include "util/preference_domains.h"
#include "values/property_list.h"

namespace roamer
{

/// The sync preferences of the account: the administrator's managed layer over the user's own layer.
///
/// Both layers are read at the first question and kept until `invalidateRoamerPrefCache`. A key in the managed layer is
/// forced: its value stands alone, arrays are not merged. A missing or broken file is an empty layer. Main thread only.
class RoamerPreferences
{
public:
    /// Borrows everything. `userRecord` names the account at the time of each read; without one both layers are empty.
    RoamerPreferences(const std::optional<AmruVEXRecord>& userRecord, PreferenceDomains& domains,
                      platform::Bundles& bundles, platform::EffectiveUser& effectiveUser);

    /// Reads both layers unless they are already there. A missing file is not looked for again until invalidated.
    void validateRoamerPrefCache();
    void invalidateRoamerPrefCache();
    /// Whether there is a user's layer in memory.
    bool hasUserLayer() const { return mRoamerPrefs.has_value(); }

    /// Whether the managed layer holds the key, with whatever value.
    bool roamerValueIsForced(const std::string& key);

    /// The managed value, else the user's, else null.
    std::optional<PropertyList> getRoamerValue(const std::string& key);

    /// The value when it is of the type T (one of PropertyList's alternatives), else the default. T = double takes any
    /// number, integers too.
    template <typename T>
    std::optional<T> getRoamerValue(const std::string& key, std::optional<T> withDefault)
    {
        const auto* value = findValue(key);
        if (value == nullptr) return withDefault;
        if constexpr (std::is_same_v<T, double>) {
            const auto number = value->number();
            return number ? number : withDefault;
        } else {
            const auto* typed = value->template as<T>();
            return typed != nullptr ? std::optional<T>(*typed) : withDefault;
        }
    }

    /// See boolWithDefault: numbers by their truth, strings by their first character.
    bool getRoamerBool(const std::string& key, bool withDefault);
    /// Numbers, and strings by their leading digits; clamped to the range of int.
    int getRoamerInt(const std::string& key, int withDefault);

    /// Sets the key in the user's file, null removes it. The layer in memory is changed even when the file cannot be
    /// written. Without an account nothing happens.
    void setRoamerValue(const std::optional<PropertyList>& value, const std::string& key);
    void setRoamerBool(const std::string& key, bool value);

    /// The list of that name among the factory defaults, null when there is none. The file is looked for until it is
    /// found, then kept.
    std::optional<Array> getDefaultList(const std::string& name);

private:
    const PropertyList* findValue(const std::string& key);

    const std::optional<AmruVEXRecord>& mUserRecord;
    PreferenceDomains& mDomains;
    platform::Bundles& mBundles;
    platform::EffectiveUser& mEffectiveUser;
    bool mRoamerPrefsValid = false;
    std::optional<Dictionary> mManagedRoamerPrefs;
    std::optional<Dictionary> mRoamerPrefs;
    std::optional<Dictionary> mPavoDefaultsDict;
};

} // namespace roamer
