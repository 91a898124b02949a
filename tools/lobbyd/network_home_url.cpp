#include "network_home_url.h"

#include "directory/amru_vex_record.h"
#include "directory/record_attributes.h"
#include "home/home_locations.h"

namespace lobby
{

std::optional<std::string> networkHomeURL(roamer::DirectoryContext& context, platform::FileSystem& fileSystem,
                                          const std::string& userName)
{
    platform::DirectoryError error;
    const auto node = context.directory.openNode(platform::kLocalNodeType, error);
    if (node == nullptr) return std::nullopt;
    auto found = node->lookUp(roamer::kUserRecordType, userName, {roamer::kAllStandardAttributes}, error);
    if (found == nullptr || error.code != 0) return std::nullopt;
    const auto record = roamer::AmruVEXRecord::vexrecordWithRecord(context, std::move(found));
    return roamer::HomeLocations(record, fileSystem).getOriginalUserHomeURL();
}

} // namespace lobby
