#include "directory_context.h"

namespace roamer
{

const std::optional<std::string>& DirectoryContext::localNodeName()
{
    if (!mLocalNodeName) {
        platform::DirectoryError error;
        if (const auto node = directory.openNode(platform::kLocalNodeType, error)) mLocalNodeName = node->nodeName();
    }
    return mLocalNodeName;
}

} // namespace roamer
