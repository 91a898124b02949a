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

/// The record of "jo" on the local node with one value per attribute; attributes that are not listed are missing:
///
///     makeUserRecord({{"axAttrTypeStandard:UniqueID", "501"}})
inline roamer::AmruVEXRecord
makeUserRecord(std::initializer_list<std::pair<const std::string, roamer::PropertyList>> attributes)
{
    roamer::Dictionary values;
    for (const auto& [name, value] : attributes)
        values[name] = roamer::Array{value};
    return *roamer::AmruVEXRecord::vexrecordWithRecord(
        testDirectoryContext(),
        std::make_shared<FakeDirectoryRecord>("axRecTypeStandard:Users", "jo", std::move(values)));
}

} // namespace fakes
