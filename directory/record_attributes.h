#pragma once

/// The directory's names: record types, attributes, attribute groups, and the keys of the flags dictionary.
namespace roamer
{

inline constexpr const char* kUserRecordType = "axRecTypeStandard:Users";
inline constexpr const char* kComputerRecordType = "axRecTypeStandard:Computers";
inline constexpr const char* kComputerListRecordType = "axRecTypeStandard:ComputerLists";
inline constexpr const char* kGroupRecordType = "axRecTypeStandard:Groups";
inline constexpr const char* kComputerGroupRecordType = "axRecTypeStandard:ComputerGroups";

inline constexpr const char* kAllAttributes = "axAttributesAll";
inline constexpr const char* kAllStandardAttributes = "axAttributesStandardAll";
inline constexpr const char* kAllNativeAttributes = "axAttributesNativeAll";

inline constexpr const char* kStandardAttributePrefix = "axAttrTypeStandard:";
inline constexpr const char* kNativeAttributePrefix = "axAttrTypeNative:";

inline constexpr const char* kRecordTypeAttribute = "axAttrTypeStandard:RecordType";
inline constexpr const char* kRecordNameAttribute = "axAttrTypeStandard:RecordName";
inline constexpr const char* kLongNameAttribute = "axAttrTypeStandard:RealName";
inline constexpr const char* kGidAttribute = "axAttrTypeStandard:PrimaryGroupID";
inline constexpr const char* kUidAttribute = "axAttrTypeStandard:UniqueID";
inline constexpr const char* kUuidAttribute = "axAttrTypeStandard:GeneratedUID";
inline constexpr const char* kNodeNameAttribute = "axAttrTypeStandard:KestrelMetaNodeLocation";
inline constexpr const char* kOriginalNodeNameAttribute = "axAttrTypeStandard:OriginalNodeName";
inline constexpr const char* kFlagsAttribute = "axAttrTypeStandard:VEXFlags";
inline constexpr const char* kSettingsAttribute = "axAttrTypeStandard:VEXSettings";
inline constexpr const char* kHomeAttribute = "axAttrTypeStandard:NFSHomeDirectory";
inline constexpr const char* kHomeLocAttribute = "axAttrTypeStandard:HomeDirectory";
inline constexpr const char* kOriginalHomeAttribute = "axAttrTypeStandard:OriginalNFSHomeDirectory";
inline constexpr const char* kOriginalHomeLocAttribute = "axAttrTypeStandard:OriginalHomeDirectory";
inline constexpr const char* kTimestampAttribute = "axAttrTypeStandard:CopyTimestamp";
inline constexpr const char* kPictureAttribute = "axAttrTypeStandard:Picture";
inline constexpr const char* kExternalAttribute = "axAttrTypeNative:external";
inline constexpr const char* kTrustInfoAttribute = "axAttrTypeNative:cached_trust_info";
inline constexpr const char* kCachedGroupsAttribute = "axAttrTypeNative:cached_groups";
inline constexpr const char* kCachedParentsAttribute = "axAttrTypeNative:cached_parent";
inline constexpr const char* kCachedParentGroupsAttribute = "axAttrTypeNative:cached_parent_groups";
inline constexpr const char* kCachedLocalUserGroupsAttribute = "axAttrTypeNative:cached_local_user_groups";
inline constexpr const char* kPreservedAttributesAttribute = "axAttrTypeNative:preserved_attributes";

// Of groups.
inline constexpr const char* kMemberNamesAttribute = "axAttrTypeStandard:GroupMembership";
inline constexpr const char* kMemberUuidsAttribute = "axAttrTypeStandard:GroupMembers";
inline constexpr const char* kNestedGroupsAttribute = "axAttrTypeStandard:NestedGroups"; ///< UUIDs of groups in it.

// Kept in a record's override only, as the memory of answers that are expensive to find.
inline constexpr const char* kIsAdminCache = "vexAttrTypePrivate:isAdmin";
inline constexpr const char* kFlagsDictionaryCache = "vexAttrTypePrivate:vexFlagsDictionary";
inline constexpr const char* kUuidCache = "vexAttrTypePrivate:uuidString";

inline constexpr const char* kHasVexSettingsFlag = "has_vex_settings";
inline constexpr const char* kSimultaneousLoginFlag = "simultaneous_login_enabled";

} // namespace roamer
