// What an account's record says about the account: names, ids, homes, and the questions about its kind.

#include "amru_vex_record.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <limits>
#include <string_view>
#include <system_error>
#include <variant>

#include "record_attributes.h"
#include "record_timestamp.h"
#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/property_list_text.h"
#include "util/report.h"
#include "util/typed_reads.h"

namespace roamer
{

namespace
{

constexpr double kLatestTimestamp = 2147483637.0;
constexpr const char* kNetworkPrefix = "/Network/";

/// Ids are written in decimal, some below zero (-2 is "nobody"). What is no number, or too large for an id, must not
/// come out as some account's id; 0 least of all.
std::uint32_t idOfText(const std::optional<std::string>& text)
{
    if (!text) return AmruVEXRecord::kNoId;
    std::string_view digits = *text;
    digits.remove_prefix(std::min(digits.find_first_not_of(" \t"), digits.size()));
    if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
    std::int64_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool isId = result.ec == std::errc{} && value >= std::numeric_limits<std::int32_t>::min() &&
                      value <= std::numeric_limits<std::uint32_t>::max();
    return isId ? static_cast<std::uint32_t>(value) : AmruVEXRecord::kNoId;
}

} // namespace

AmruVEXRecord::String AmruVEXRecord::longName() const
{
    return firstValueForAttributeIfString(kLongNameAttribute);
}

AmruVEXRecord::String AmruVEXRecord::bestName() const
{
    auto name = longName();
    return name ? name : recordName();
}

AmruVEXRecord::String AmruVEXRecord::gidString() const
{
    return firstValueForAttributeIfString(kGidAttribute);
}

std::uint32_t AmruVEXRecord::gid() const
{
    return idOfText(gidString());
}

AmruVEXRecord::String AmruVEXRecord::uidString() const
{
    return firstValueForAttributeIfString(kUidAttribute);
}

std::uint32_t AmruVEXRecord::uid() const
{
    return idOfText(uidString());
}

AmruVEXRecord::String AmruVEXRecord::rawUUIDString() const
{
    return firstValueForAttributeIfString(kUuidAttribute);
}

AmruVEXRecord::String AmruVEXRecord::uuidString() const
{
    if (auto known = firstOverrideValue<std::string>(kUuidCache)) return known;
    if (auto own = rawUUIDString()) return own;

    const bool group = isGroup();
    if (!group && !isUser()) return std::nullopt;
    auto text = uuidOfId(group);
    if (text) store(kUuidCache, Array{*text});
    return text;
}

AmruVEXRecord::String AmruVEXRecord::uuidOfId(bool group) const
{
    platform::Uuid uuid{};
    bool found = false;
    if (const auto id = group ? gid() : uid(); id != kNoId) {
        const auto answer = group ? mContext->identity.uuidOfGid(id) : mContext->identity.uuidOfUid(id);
        if (const auto* known = std::get_if<platform::Uuid>(&answer)) {
            uuid = *known;
            found = true;
        } else {
            const auto& error = std::get<platform::IdentityService::Error>(answer);
            DebugLog(1, "AmruVEXRecord.uuidString: no UUID for %s %" PRIu32 ", error %d (%s)", group ? "gid" : "uid",
                     id, error.code, error.description.c_str());
        }
    }
    if (!found) uuid = mContext->identity.randomUuid();
    return stringWithUUIDRef(&uuid);
}

AmruVEXRecord::String AmruVEXRecord::rawNodeName() const
{
    return firstValueForAttributeIfString(kNodeNameAttribute);
}

AmruVEXRecord::String AmruVEXRecord::originalNodeName() const
{
    return firstValueForAttributeIfString(kOriginalNodeNameAttribute);
}

AmruVEXRecord::String AmruVEXRecord::nodeName() const
{
    auto name = originalNodeName();
    return name ? name : rawNodeName();
}

bool AmruVEXRecord::hasType(const char* type) const
{
    return recordType() == type;
}

bool AmruVEXRecord::isUser() const
{
    return hasType(kUserRecordType);
}

bool AmruVEXRecord::isComputer() const
{
    return hasType(kComputerRecordType);
}

bool AmruVEXRecord::isComputerList() const
{
    return hasType(kComputerListRecordType);
}

bool AmruVEXRecord::isUserGroup() const
{
    return hasType(kGroupRecordType);
}

bool AmruVEXRecord::isComputerGroup() const
{
    return hasType(kComputerGroupRecordType);
}

bool AmruVEXRecord::isGroup() const
{
    return isUserGroup() || isComputerGroup();
}

bool AmruVEXRecord::isGroupWithVEXSettingsFlag() const
{
    return isGroup() && vexBoolFlag(kHasVexSettingsFlag, false);
}

bool AmruVEXRecord::isAdmin() const
{
    if (const auto* known = overrideValues(kIsAdminCache); known != nullptr && !known->empty()) {
        if (const auto reading = known->front().boolReading()) return *reading;
    }
    const bool admin = rawIsAdmin();
    store(kIsAdminCache, Array{admin});
    return admin;
}

bool AmruVEXRecord::rawIsAdmin() const
{
    if (!isUser()) return false;
    const auto name = recordName().value_or("");
    const auto uuid = mContext->identity.uuidOfUserName(name);
    if (const auto* error = std::get_if<platform::IdentityService::Error>(&uuid)) {
        report(formatText("AmruVEXRecord.rawIsAdmin: cannot check for an administrator, error %d", error->code));
        report(formatText("AmruVEXRecord.rawIsAdmin: no UUID for user \"%s\", error %d", name.c_str(), error->code));
        return false;
    }
    const auto member = mContext->identity.isMember(std::get<platform::Uuid>(uuid), kAdministratorsGroup);
    if (const auto* error = std::get_if<platform::IdentityService::Error>(&member)) {
        report(formatText("AmruVEXRecord.rawIsAdmin: cannot tell whether user \"%s\" is in group %" PRIu32 ", error %d",
                          name.c_str(), kAdministratorsGroup, error->code));
        return false;
    }
    return std::get<bool>(member);
}

bool AmruVEXRecord::isOnLocalNode(const String& name, const char* question) const
{
    if (!name) {
        DebugLog(1, "AmruVEXRecord.%s: node name is missing in record \"%s\", taken for local", question,
                 logText(recordName()));
        return true;
    }
    return name == mContext->localNodeName();
}

bool AmruVEXRecord::isLocal() const
{
    return isOnLocalNode(nodeName(), "isLocal");
}

bool AmruVEXRecord::rawIsLocal() const
{
    return isOnLocalNode(rawNodeName(), "rawIsLocal");
}

bool AmruVEXRecord::isMobileRecord() const
{
    if (!timestampString()) return false;
    const auto preserved = valuesForAttribute(kPreservedAttributesAttribute);
    return preserved && !preserved->empty() && rawIsLocal();
}

bool AmruVEXRecord::isMobileUserAccount() const
{
    return isUser() && isMobileRecord();
}

bool AmruVEXRecord::isMobileComputerAccount() const
{
    return isComputer() && isMobileRecord();
}

bool AmruVEXRecord::fromCache() const
{
    return vexTimestamp() > kNoTimestamp;
}

bool AmruVEXRecord::isExternal() const
{
    return boolForAttribute(kExternalAttribute, false);
}

bool AmruVEXRecord::preventSimultaneousLogin() const
{
    return !vexBoolFlag(kSimultaneousLoginFlag, true);
}

bool AmruVEXRecord::hasNetworkHome() const
{
    return home().value_or("").starts_with(kNetworkPrefix);
}

bool AmruVEXRecord::hasNetworkOriginalHome() const
{
    return originalHome().value_or("").starts_with(kNetworkPrefix);
}

std::optional<PropertyList> AmruVEXRecord::vexFlags() const
{
    return firstValueForAttribute(kFlagsAttribute);
}

std::optional<Dictionary> AmruVEXRecord::vexFlagsDictionary() const
{
    if (auto known = firstOverrideValue<Dictionary>(kFlagsDictionaryCache)) return known;
    auto flags = firstValueForAttributeIfXMLDictionary(kFlagsAttribute);
    if (flags) store(kFlagsDictionaryCache, Array{*flags});
    return flags;
}

bool AmruVEXRecord::vexBoolFlag(const std::string& flag, bool withDefault) const
{
    const auto flags = vexFlagsDictionary();
    return flags ? boolForKey(*flags, flag, withDefault) : withDefault;
}

AmruVEXRecord::Values AmruVEXRecord::vexSettings() const
{
    return valuesForAttribute(kSettingsAttribute);
}

AmruVEXRecord::String AmruVEXRecord::home() const
{
    return firstValueForAttributeIfString(kHomeAttribute);
}

AmruVEXRecord::String AmruVEXRecord::homeLoc() const
{
    return firstValueForAttributeIfString(kHomeLocAttribute);
}

AmruVEXRecord::String AmruVEXRecord::originalHome() const
{
    return firstValueForAttributeIfString(kOriginalHomeAttribute);
}

AmruVEXRecord::String AmruVEXRecord::originalHomeLoc() const
{
    return firstValueForAttributeIfString(kOriginalHomeLocAttribute);
}

AmruVEXRecord::String AmruVEXRecord::timestampString() const
{
    return firstValueForAttributeIfString(kTimestampAttribute);
}

double AmruVEXRecord::vexTimestamp() const
{
    const auto text = timestampString();
    const auto seconds = text ? secondsSinceReferenceDate(*text) : std::nullopt;
    return seconds ? std::clamp(*seconds, kNoTimestamp, kLatestTimestamp) : kNoTimestamp;
}

AmruVEXRecord::String AmruVEXRecord::picturePath() const
{
    return firstValueForAttributeIfString(kPictureAttribute);
}

AmruVEXRecord::Values AmruVEXRecord::cachedTrustInfoArray() const
{
    return firstValueForAttributeIfXMLArray(kTrustInfoAttribute);
}

std::optional<std::vector<AmruVEXRecord>> AmruVEXRecord::cachedGroups() const
{
    return vexRecordArrayForXMLAttribute(kCachedGroupsAttribute);
}

std::optional<std::vector<AmruVEXRecord>> AmruVEXRecord::cachedParents() const
{
    return vexRecordArrayForXMLAttribute(kCachedParentsAttribute);
}

std::optional<std::vector<AmruVEXRecord>> AmruVEXRecord::cachedParentGroups() const
{
    return vexRecordArrayForXMLAttribute(kCachedParentGroupsAttribute);
}

std::optional<std::vector<AmruVEXRecord>> AmruVEXRecord::cachedLocalUserGroups() const
{
    return vexRecordArrayForXMLAttribute(kCachedLocalUserGroupsAttribute);
}

} // namespace roamer
