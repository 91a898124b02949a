#pragma once

#include <optional>
#include <string>

#include "directory/directory_context.h"
#include "platform/file_system.h"

namespace lobby
{

/// The share that the directory says the user's network home is on. Null when the user has none, or is not known.
std::optional<std::string> networkHomeURL(roamer::DirectoryContext& context, platform::FileSystem& fileSystem,
                                          const std::string& userName);

} // namespace lobby
