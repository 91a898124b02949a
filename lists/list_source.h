#pragma once

#include <optional>
#include <string>

#include "directory/amru_vex_record.h"
#include "home/roamer_preferences.h"
#include "platform/effective_user.h"
#include "values/property_list.h"

namespace roamer
{

/// Where a list comes from: the questions that inclusion and exclusion lists both put to the preferences, and the trace
/// of the answers. A list of another type than an array counts as none.
class ListSource
{
public:
    /// Borrows the preferences. `operation` begins the log lines.
    ListSource(RoamerPreferences& preferences, const char* operation);

    /// The key's value: the managed one where it is forced, else the person's.
    std::optional<Array> list(const char* key);

    std::optional<Array> defaultList(const char* name);

    /// Whether the administrator forces the person's own lists aside. The person cannot say so themselves.
    bool userIsReplaced(const char* replaceKey);

    /// Files made by root in a person's home would be root's: says so in the log when the account or the process is.
    void warnAboutRoot(const std::optional<AmruVEXRecord>& userRecord, platform::EffectiveUser& effectiveUser) const;

private:
    RoamerPreferences& mPreferences;
    const char* mOperation;
};

/// The number of elements for a log line that shows a missing list as an empty one.
int countOf(const std::optional<Array>& list);

} // namespace roamer
