#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "directory/amru_vex_record.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_directory.h"
#include "tests/fakes/fake_identity_service.h"

namespace fakes
{

/// A context for records of whose services a test wants nothing in particular. The local node is "/Local/Default".
inline roamer::DirectoryContext& testDirectoryContext()
{
    static FakeDirectory directory;
    static FakeIdentityService identity;
    static const auto codec = platform::makePropertyListCodec();
    static roamer::DirectoryContext context(directory, identity, *codec);
    return context;
}

/// A user's record on the local node with one value per attribute:
///
///     makeUserRecord({{"axAttrTypeStandard:RecordName", "jo"}, {"axAttrTypeStandard:UniqueID", "501"}})
///
/// Attributes that are not listed are missing, but for the name ("jo").
inline roamer::AmruVEXRecord
makeUserRecord(std::initializer_list<std::pair<const std::string, roamer::PropertyList>> attributes,
               roamer::DirectoryContext& context = testDirectoryContext())
{
    roamer::Dictionary values;
    for (const auto& [name, value] : attributes) {
        values[name] = value.as<roamer::Array>() != nullptr ? value : roamer::Array{value};
    }
    std::string recordName = "jo";
    if (const auto item = values.find("axAttrTypeStandard:RecordName"); item != values.end()) {
        recordName = *item->second.as<roamer::Array>()->front().as<std::string>();
    }
    auto record = std::make_shared<FakeDirectoryRecord>("axRecTypeStandard:Users", recordName, std::move(values));
    return *roamer::AmruVEXRecord::vexrecordWithRecord(context, std::move(record));
}

/// A portable account as an enrolled one looks: local home /home/jo, network home "jo" on the share
/// file:///srv/homes.
inline roamer::AmruVEXRecord makePortableUserRecord(roamer::DirectoryContext& context = testDirectoryContext())
{
    return makeUserRecord(
        {
            {"axAttrTypeStandard:RecordName", "jo"},
            {"axAttrTypeStandard:RealName", "Jo Doe"},
            {"axAttrTypeStandard:UniqueID", "501"},
            {"axAttrTypeStandard:PrimaryGroupID", "20"},
            {"axAttrTypeStandard:NFSHomeDirectory", "/home/jo"},
            {"axAttrTypeStandard:OriginalHomeDirectory",
             "<home_dir><url>file:///srv/homes</url><path>jo</path></home_dir>"},
            {"axAttrTypeStandard:CopyTimestamp", "2024-01-02T03:04:05Z"},
            {"axAttrTypeStandard:KestrelMetaNodeLocation", "/Local/Default"},
            {"axAttrTypeNative:preserved_attributes", "axAttrTypeStandard:RealName"},
        },
        context);
}

} // namespace fakes
