#include "session_count.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace roamer::pam
{

namespace
{

constexpr int kStartTimeField = 22; ///< Of /proc/PID/stat, counted from 1.

/// Since boot, in clock ticks; with it a process id names one process only. Nothing when there is no such process.
std::optional<std::string> startTimeOf(int pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(file, text)) return std::nullopt;
    // The second field is the command in parentheses, which may hold blanks and parentheses itself.
    auto at = text.rfind(')');
    for (int field = 2; field < kStartTimeField && at != std::string::npos; ++field)
        at = text.find(' ', at + 1);
    if (at == std::string::npos) return std::nullopt;
    return text.substr(at + 1, text.find(' ', at + 1) - at - 1);
}

/// Whether the process that the entry names still runs.
bool isAlive(const std::string& entry)
{
    const auto dot = entry.find('.');
    int pid = 0;
    const auto read = std::from_chars(entry.data(), entry.data() + std::min(dot, entry.size()), pid);
    return read.ec == std::errc{} && dot != std::string::npos && startTimeOf(pid) == entry.substr(dot + 1);
}

} // namespace

/// Sessions that open and close at the same moment count one after the other.
class SessionCount::Lock
{
public:
    explicit Lock(const std::string& path)
        : mFile(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600))
    {
        if (mFile >= 0) flock(mFile, LOCK_EX);
    }
    ~Lock()
    {
        if (mFile >= 0) ::close(mFile);
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    int mFile;
};

SessionCount::SessionCount(std::string folder, unsigned uid) : mFolder(std::move(folder))
{
    for (auto slash = mFolder.find('/', 1); slash != std::string::npos; slash = mFolder.find('/', slash + 1))
        mkdir(mFolder.substr(0, slash).c_str(), 0755);
    mkdir(mFolder.c_str(), 0700);
    mFolder += "/" + std::to_string(uid);
    mkdir(mFolder.c_str(), 0700);
}

bool SessionCount::open()
{
    const Lock lock(mFolder + ".lock");
    const bool isFirst = isEmpty();
    const auto entry = ownEntry();
    const int file = ::open(entry.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) {
        syslog(LOG_AUTHPRIV | LOG_ERR, "pam_roamer: the session cannot be counted in %s: %s", mFolder.c_str(),
               std::strerror(errno));
        return false;
    }
    ::close(file);
    return isFirst;
}

bool SessionCount::close()
{
    const Lock lock(mFolder + ".lock");
    return unlink(ownEntry().c_str()) == 0 && isEmpty();
}

bool SessionCount::isEmpty()
{
    DIR* folder = opendir(mFolder.c_str());
    if (folder == nullptr) return true;
    bool isEmpty = true;
    while (const dirent* item = readdir(folder)) {
        const std::string name = item->d_name;
        if (name == "." || name == "..") continue;
        if (isAlive(name)) {
            isEmpty = false;
        } else {
            unlinkat(dirfd(folder), item->d_name, 0);
        }
    }
    closedir(folder);
    return isEmpty;
}

std::string SessionCount::ownEntry() const
{
    return mFolder + "/" + std::to_string(getpid()) + "." + startTimeOf(getpid()).value_or("0");
}

} // namespace roamer::pam
