#include "home_change.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/unique_fd.h"
#include "util/preference_domains.h"

namespace roamer::session
{

namespace
{

using platform::UniqueFd;

constexpr const char* kHomeChangeTime = "homeChangeTime";
constexpr const char* kLibrary = "Library";
constexpr const char* kPreferences = "Library/Preferences";
constexpr const char* kFile = "com.kestrel.roamer.plist";
// Only the copy of a home has the engine's sync set.
constexpr const char* kMarkOfCopy = ".Braid/sync_set.plist";
constexpr mode_t kNewFolderMode = 0700;

std::string reason(const std::string& path)
{
    return "that the home was changed cannot be noted, so other computers may notice it late: \"" + path +
           "\": " + std::strerror(errno);
}

UniqueFd openFolderBeneath(const UniqueFd& home, const char* path)
{
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    return UniqueFd(static_cast<int>(::syscall(SYS_openat2, home.get(), path, &how, sizeof how)));
}

/// The folder, made where it is missing.
UniqueFd preferencesFolder(const UniqueFd& home)
{
    ::mkdirat(home.get(), kLibrary, kNewFolderMode);
    const UniqueFd library = openFolderBeneath(home, kLibrary);
    if (!library.isOpen()) return {};
    ::mkdirat(library.get(), "Preferences", kNewFolderMode);
    return openFolderBeneath(home, kPreferences);
}

} // namespace

std::optional<std::string> noteHomeChange(const std::string& path, Date time)
{
    const UniqueFd home(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!home.isOpen()) return reason(path);
    struct stat facts {
    };
    if (::fstatat(home.get(), kMarkOfCopy, &facts, AT_SYMLINK_NOFOLLOW) == 0) {
        return "\"" + path + "\" is the local copy of a home: its changes go to the server by syncing";
    }
    const UniqueFd folder = preferencesFolder(home);
    if (!folder.isOpen()) return reason(path + "/" + kPreferences);
    const bool exists = ::fstatat(folder.get(), kFile, &facts, AT_SYMLINK_NOFOLLOW) == 0;
    if (exists && !S_ISREG(facts.st_mode)) return "\"" + path + "/" + kPreferences + "/" + kFile + "\" is not a file";

    const auto codec = platform::makePropertyListCodec();
    const auto store = platform::makePreferenceStore(*codec);
    PreferenceDomains files(*store, *codec);
    const std::string file = "/proc/self/fd/" + std::to_string(folder.get()) + "/" + kFile;
    auto noted = files.dictionaryWithContentsOfFile(file);
    if (!noted && exists)
        return "the sync preferences in \"" + path + "\" cannot be read, so they are left as they are";
    if (!noted) noted.emplace();
    (*noted)[kHomeChangeTime] = time;
    if (!files.writeToFile(*noted, file, platform::PropertyListCodec::Format::Binary, true)) {
        return "the sync preferences in \"" + path + "\" cannot be written";
    }
    return std::nullopt;
}

} // namespace roamer::session
