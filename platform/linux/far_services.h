#pragma once

#include <memory>

#include "far_link.h"
#include "platform/file_manager.h"
#include "platform/file_system.h"
#include "platform/preference_store.h"

namespace platform
{

// The services for files, for homes on servers that may stop answering. What lies on this computer's own disks goes
// straight to the service that is decorated; the rest goes over the link, so that no call takes longer than the link's
// limits. A file system that does not answer looks as if nothing were there, and nothing can be done; the log tells.
//
// Everything is borrowed.

std::unique_ptr<FileSystem> makeFarFileSystem(FileSystem& near, FarLink& link);

/// The computer's managed preferences are always near.
std::unique_ptr<PreferenceStore> makeFarPreferenceStore(PreferenceStore& near, FarLink& link);

/// A file on a far mount is held open by the mount's worker, and is closed when that ends: then its number is good for
/// closeFile only, and every call with it answers ESTALE. Without an answer the error is ETIMEDOUT.
std::unique_ptr<FileManager> makeFarFileManager(FileManager& near, FarLink& link);

} // namespace platform
