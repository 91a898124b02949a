#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "directory_context.h"
#include "platform/directory_service.h"
#include "values/property_list.h"

namespace roamer
{

/// A directory record below an override: attributes that are set here win over the record's own, and an attribute set
/// to an empty array is hidden. A record may consist of an override alone.
///
/// A value: copies share the live directory record, which is never written, and have an override each. Answers that
/// are expensive to find (isAdmin, vexFlagsDictionary, uuidString) are kept in the override and never refreshed, also
/// by the const accessors; take a new record to see changed directory data. Nothing here raises. "String" accessors
/// are null when the attribute is missing or its first value is no string. Use it on one thread.
class AmruVEXRecord
{
public:
    using Values = std::optional<Array>;
    using String = std::optional<std::string>;
    using Record = std::shared_ptr<platform::DirectoryRecord>;

    static constexpr std::uint32_t kNoId = 0xffffffff;        ///< No uid or gid.
    static constexpr double kNoTimestamp = -2147483637.0;     ///< Seconds; also the least timestamp there is.
    static constexpr std::uint32_t kAdministratorsGroup = 80; ///< Its gid.

    /// Null when there is neither a record nor an override. The context is borrowed.
    static std::optional<AmruVEXRecord> vexrecordWithRecord(DirectoryContext& context, Record record,
                                                            std::optional<Dictionary> withOverride);
    static std::optional<AmruVEXRecord> vexrecordWithRecord(DirectoryContext& context, Record record);
    static std::optional<AmruVEXRecord> vexrecordWithOverride(DirectoryContext& context,
                                                              std::optional<Dictionary> overrideValues);

    const Record& record() const { return mRecord; }
    const std::optional<Dictionary>& override() const { return mOverride; }

    // Value lists.

    String recordType() const;
    String recordName() const;
    Values valuesForAttribute(const std::string& attribute) const;
    /// Attribute -> array of values, for the named attributes, for the groups "axAttributesAll",
    /// "axAttributesStandardAll" and "axAttributesNativeAll", or for all without a list. Private attributes of the
    /// override appear only when they are named.
    std::optional<Dictionary>
    recordDetailsForAttributes(const std::optional<std::vector<std::string>>& attributes) const;
    std::optional<Dictionary> recordDetailsForAttribute(const String& attribute) const;
    Values stringValuesForAttribute(const std::string& attribute) const; ///< The strings; null when there are none.
    Values dataValuesForAttribute(const std::string& attribute) const;   ///< Strings as their UTF-8 bytes.
    Values uniqueStringValuesForAttribute(const std::string& attribute) const; ///< First occurrences of strings.

    // First values.

    std::optional<PropertyList> firstValueForAttribute(const std::string& attribute) const;
    template <typename T>
    std::optional<T> firstValueForAttribute(const std::string& attribute) const ///< When it is exactly a T.
    {
        const auto value = firstValueForAttribute(attribute);
        const T* typed = value ? value->template as<T>() : nullptr;
        return typed != nullptr ? std::optional<T>(*typed) : std::nullopt;
    }
    String firstValueForAttributeIfString(const std::string& attribute) const;
    std::optional<Data> firstValueForAttributeAsData(const std::string& attribute) const;
    /// The property list that is written in a string or data value.
    std::optional<PropertyList> firstValueForAttributeIfXMLPList(const std::string& attribute) const;
    Values firstValueForAttributeIfXMLArray(const std::string& attribute) const;
    std::optional<Dictionary> firstValueForAttributeIfXMLDictionary(const std::string& attribute) const;
    bool boolForAttribute(const std::string& attribute, bool withDefault) const;

    // Setters; they write the override only.

    /// Null hides the attribute. False, and nothing changed, for a value that is no array.
    bool setValues(const std::optional<PropertyList>& values, const std::string& forAttribute);
    /// Null hides the attribute; a single value becomes an array of one.
    bool setValue(const std::optional<PropertyList>& value, const std::string& forAttribute);
    bool setVEXFlagsDictionary(const std::optional<Dictionary>& flags);
    /// Drops the override's entry, so that the record's own values show again. Always true.
    bool removeValuesForAttribute(const std::string& attribute);

    // Names and ids.

    String longName() const;
    String bestName() const; ///< The long name, else the record name.
    String gidString() const;
    std::uint32_t gid() const; ///< kNoId when it is missing or no number.
    String uidString() const;
    std::uint32_t uid() const; ///< kNoId when it is missing or no number.
    String rawUUIDString() const;
    /// The record's own UUID, else the one of its uid or gid, else a random one that stays with this object. Null for
    /// records that are neither users nor groups and carry none.
    String uuidString() const;
    String rawNodeName() const;
    String originalNodeName() const;
    String nodeName() const; ///< The original node's name, else the raw one.

    // What it is.

    bool isUser() const;
    bool isComputer() const;
    bool isComputerList() const;
    bool isUserGroup() const;
    bool isComputerGroup() const;
    bool isGroup() const; ///< Of users or of computers.
    bool isGroupWithVEXSettingsFlag() const;
    bool isAdmin() const;    ///< As found the first time.
    bool rawIsAdmin() const; ///< Asks every time; a failure is reported and means no.
    bool isLocal() const;    ///< By nodeName. A record of unknown origin counts as local.
    bool rawIsLocal() const; ///< By rawNodeName.
    bool isMobileRecord() const;
    bool isMobileUserAccount() const;
    bool isMobileComputerAccount() const;
    bool fromCache() const; ///< Whether it carries a readable copy timestamp.
    bool isExternal() const;
    bool preventSimultaneousLogin() const;
    bool hasNetworkHome() const;
    bool hasNetworkOriginalHome() const;

    // Flags and settings.

    std::optional<PropertyList> vexFlags() const;
    std::optional<Dictionary> vexFlagsDictionary() const;
    bool vexBoolFlag(const std::string& flag, bool withDefault) const;
    Values vexSettings() const;

    // Homes. "Loc" is a home description with a share's URL and a path in it.

    String home() const;
    String homeLoc() const;
    String originalHome() const;
    String originalHomeLoc() const;

    // Other.

    String timestampString() const;
    /// Seconds since 2001-01-01 00:00:00 UTC; kNoTimestamp when there is no readable one.
    double vexTimestamp() const;
    String picturePath() const;
    Values cachedTrustInfoArray() const;
    /// One override-only record per dictionary written in the attribute's values; null when there are none.
    std::optional<std::vector<AmruVEXRecord>> vexRecordArrayForXMLAttribute(const std::string& attribute) const;
    std::optional<std::vector<AmruVEXRecord>> cachedGroups() const;
    std::optional<std::vector<AmruVEXRecord>> cachedParents() const;
    std::optional<std::vector<AmruVEXRecord>> cachedParentGroups() const;
    std::optional<std::vector<AmruVEXRecord>> cachedLocalUserGroups() const;

private:
    AmruVEXRecord(DirectoryContext& context, Record record, std::optional<Dictionary> overrideValues);

    const Array* overrideValues(const std::string& attribute) const;
    template <typename T>
    std::optional<T> firstOverrideValue(const std::string& attribute) const
    {
        const auto* values = overrideValues(attribute);
        const T* typed = values != nullptr && !values->empty() ? values->front().template as<T>() : nullptr;
        return typed != nullptr ? std::optional<T>(*typed) : std::nullopt;
    }
    String ownText(const char* attribute, std::string (platform::DirectoryRecord::*ofRecord)() const) const;
    void store(const std::string& attribute, Array values) const;
    std::optional<PropertyList> parsed(const PropertyList& value) const;
    bool hasType(const char* type) const;
    bool isOnLocalNode(const String& name, const char* question) const;
    String uuidOfId(bool group) const;

    DirectoryContext* mContext;
    Record mRecord;
    mutable std::optional<Dictionary> mOverride; ///< Every value is an array.
};

} // namespace roamer
