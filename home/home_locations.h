#pragma once

#include <optional>
#include <string>

#include "directory/amru_vex_record.h"
#include "platform/file_system.h"

namespace roamer
{

/// Where the account's network home is: the URL of its share, its path in the share, and its full path once the share
/// is mounted. All of it comes from the user's record, read anew at every call; without a record everything is null.
class HomeLocations
{
public:
    /// Borrows both. The record may still be null and appear later.
    HomeLocations(const std::optional<AmruVEXRecord>& userRecord, platform::FileSystem& fileSystem);

    /// What to mount; null when the home needs no mount by this process, or is not known.
    std::optional<std::string> getOriginalUserHomeURL() const;

    /// The home inside its share, or an absolute path when there is no share; null when there is neither.
    std::optional<std::string> getOriginalUserHomePath() const;

    /// The network home when its share is mounted at `mountPoint`. Null when the record names no network home.
    std::optional<std::string> getNetworkHomePath(const std::optional<std::string>& mountPoint) const;

    /// Whether the network home carries the sync engine's marker folder. Raises when the server does not answer.
    bool isValidNetworkHome(const std::string& path) const;

    /// Whether the folder can be opened and listed.
    bool directoryIsReadable(const std::string& path) const;

    /// Creates the folder with missing parents unless it is readable already; whether it is readable afterwards. Never
    /// for null, and never for a relative path: a share that was mounted nowhere would lead to a folder below wherever
    /// this process happens to be.
    bool makeDirectoryPath(const std::optional<std::string>& path) const;

private:
    const std::optional<AmruVEXRecord>& mUserRecord;
    platform::FileSystem& mFileSystem;
};

} // namespace roamer
