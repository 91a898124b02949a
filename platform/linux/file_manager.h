#pragma once

#include <memory>

#include "platform/file_manager.h"

namespace platform
{

/// Files of the real disk. Writing is denied by a lock of the open file description over the whole file, which the
/// kernel passes on to servers that have locks. Main thread only. Files that are open when the object goes are closed.
std::unique_ptr<FileManager> makeFileManager();

} // namespace platform
