#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>

namespace roamer::ctl
{

/// What an enrolment makes in a local home, so that one that fails leaves the home as it was.
class EnrolmentTraces
{
public:
    /// Looks what is there before the enrolment.
    EnrolmentTraces(const std::filesystem::path& home, uid_t uid, gid_t gid);

    /// Takes away what is there now and was not before: folders that are empty, the preferences, and what the engine
    /// knows, unless its trash holds something. Items that a sync brought stay.
    void remove() const;

private:
    struct Folder {
        std::filesystem::path path;
        bool wasThere = false;
    };

    void removeAsOwner() const;

    uid_t mUid;
    gid_t mGid;
    std::filesystem::path mHome;
    std::array<Folder, 3> mFolders; ///< The innermost first.
    std::filesystem::path mPreferences;
    std::optional<std::string> mFormerPreferences; ///< Null: there was no file.
    bool mHadEngine;
};

} // namespace roamer::ctl
