#include "list_source.h"

#include "util/debug_log.h"

namespace roamer
{

namespace
{

const char* foundText(const std::optional<Array>& list)
{
    return list ? "FOUND" : "NOT FOUND";
}

} // namespace

int countOf(const std::optional<Array>& list)
{
    return list ? static_cast<int>(list->size()) : 0;
}

ListSource::ListSource(RoamerPreferences& preferences, const char* operation)
    : mPreferences(preferences), mOperation(operation)
{
}

std::optional<Array> ListSource::list(const char* key)
{
    auto list = mPreferences.getRoamerValue<Array>(key, std::nullopt);
    DebugLog(2, "Pavo.%s for key \"%s\" %s with %d items", mOperation, key, foundText(list), countOf(list));
    return list;
}

std::optional<Array> ListSource::defaultList(const char* name)
{
    auto list = mPreferences.getDefaultList(name);
    DebugLog(2, "Pavo.%s: getDefaultList(\"%s\") %s with %d items", mOperation, name, foundText(list), countOf(list));
    return list;
}

bool ListSource::userIsReplaced(const char* replaceKey)
{
    const bool replaced = mPreferences.getRoamerBool(replaceKey, false) && mPreferences.roamerValueIsForced(replaceKey);
    DebugLog(2, "Pavo.%s - replaceUserSettings was %d", mOperation, replaced ? 1 : 0);
    return replaced;
}

void ListSource::warnAboutRoot(const std::optional<AmruVEXRecord>& userRecord,
                               platform::EffectiveUser& effectiveUser) const
{
    if (userRecord && userRecord->uid() == 0) DebugLog(1, "Pavo.%s CURRENT [mUserRecord uid] IS ROOT", mOperation);
    if (effectiveUser.effectiveUid() == 0) DebugLog(1, "Pavo.%s CURRENT euid IS ROOT", mOperation);
}

} // namespace roamer
