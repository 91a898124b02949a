#pragma once

#include <memory>

#include "platform/file_system.h"

namespace platform
{

std::unique_ptr<FileSystem> makeFileSystem();

} // namespace platform
