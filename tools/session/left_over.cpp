#include "left_over.h"

#include <cerrno>
#include <unistd.h>

#include "braid/engine.h"
#include "directory/record_attributes.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/property_list_codec.h"

namespace roamer::session
{

namespace
{

std::string localHome()
{
    const auto codec = platform::makePropertyListCodec();
    const auto directory = platform::makeDirectoryService(*codec);
    platform::DirectoryError error;
    const auto node = directory->openNode(platform::kLocalNodeType, error);
    if (node == nullptr) return {};
    const auto record = node->lookUp(kUserRecordType, directory->loginName(), {kHomeAttribute}, error);
    if (record == nullptr) return {};
    const auto values = record->valuesForAttribute(kHomeAttribute);
    const auto* home = values && !values->empty() ? values->front().as<std::string>() : nullptr;
    return home != nullptr ? *home : std::string();
}

} // namespace

LeftOver leftOver()
{
    const auto home = localHome();
    if (home.empty()) return {};
    for (const auto& folder : {home, home + "/.Braid"}) {
        if (::access(folder.c_str(), R_OK | W_OK | X_OK) != 0 && errno != ENOENT) return {.closedFolder = folder};
    }
    const auto matters = braid::openMatters(home);
    return {.conflicts = matters.conflicts.size(), .errors = matters.errors.size()};
}

} // namespace roamer::session
