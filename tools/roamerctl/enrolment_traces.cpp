#include "enrolment_traces.h"

#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

#include "braid/home_status.h"

namespace roamer::ctl
{

namespace
{

namespace fs = std::filesystem;

constexpr const char* kEngineFolder = ".Braid";

std::optional<std::string> contentOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

bool isThere(const fs::path& path)
{
    std::error_code error; // what cannot be looked at is nothing that an enrolment could have made
    return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

/// In one step, so that the file is never half.
void putBack(const fs::path& path, const std::string& content)
{
    const fs::path fresh = path.string() + ".before";
    std::ofstream file(fresh, std::ios::binary);
    file << content;
    file.close();
    std::error_code error;
    if (file) fs::rename(fresh, path, error);
}

} // namespace

EnrolmentTraces::EnrolmentTraces(const fs::path& home, uid_t uid, gid_t gid)
    : mUid(uid), mGid(gid), mHome(home),
      mFolders{Folder{home / "Library/Preferences"}, Folder{home / "Library"}, Folder{home}},
      mPreferences(home / "Library/Preferences/com.kestrel.roamer.plist"), mFormerPreferences(contentOf(mPreferences)),
      mHadEngine(isThere(home / kEngineFolder))
{
    for (auto& folder : mFolders)
        folder.wasThere = isThere(folder.path);
}

void EnrolmentTraces::remove() const
{
    // Whatever links lie in a home, nothing is removed with more rights than its owner has.
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(mGid) == 0 && setuid(mUid) == 0) removeAsOwner();
        _exit(0);
    }
    if (child > 0) waitpid(child, nullptr, 0);
    // Only who made the home may take it out of the folder that holds it.
    if (!mFolders.back().wasThere) rmdir(mHome.c_str());
}

void EnrolmentTraces::removeAsOwner() const
{
    std::error_code error;
    if (!mFormerPreferences) {
        fs::remove(mPreferences, error);
    } else if (contentOf(mPreferences) != mFormerPreferences) {
        putBack(mPreferences, *mFormerPreferences);
    }
    if (!mHadEngine && braid::statusOf(mHome).trashedVersions == 0) fs::remove_all(mHome / kEngineFolder, error);
    for (const auto& folder : mFolders) {
        if (!folder.wasThere) rmdir(folder.path.c_str());
    }
}

} // namespace roamer::ctl
