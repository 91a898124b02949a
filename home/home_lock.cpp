#include "home_lock.h"

#include <array>
#include <string_view>

#include "util/debug_log.h"
#include "util/path_text.h"

namespace roamer
{

namespace
{

constexpr const char* kLockName = ".vexlc";
constexpr std::size_t kComparedBytes = 1024;

struct Refusal {
    int code;
    const char* reason;
};
constexpr Refusal kRefusals[] = {
    {platform::kFileDeniedByOther, "another user holds the file and denies writing"},
    {platform::kFileNoPermission, "no permission to open the file"},
    {platform::kFileOpenForWriting, "the file is already open for writing"},
    {kHomeIsBusy, "the file belongs to another computer"},
};

void logRefusal(int error, const std::string& path)
{
    for (const auto& refusal : kRefusals) {
        if (refusal.code == error) {
            DebugLog(1, "Pavo.pavoCheckAndOpenVEXLockFileInHomeDir: \"%s\": %s (%d)", path.c_str(), refusal.reason,
                     error);
        }
    }
}

/// Logs a step that failed. Returns whether it did.
bool failed(int error, const char* step, const std::string& path)
{
    if (error == 0) return false;
    DebugLog(1, "Pavo.pavoCheckAndOpenVEXLockFileInHomeDir: %s of \"%s\" == %d", step, path.c_str(), error);
    return true;
}

std::string lockPath(const std::string& home)
{
    return pathByAppending(home, kLockName);
}

} // namespace

/// One attempt to take the lock.
struct HomeLock::Taking {
    const std::string home;
    const std::string path;
    const std::optional<std::string>& address;
    const bool recover;
    std::int16_t refNum = 0;
};

HomeLock::HomeLock(platform::FileManager& files, platform::EffectiveUser& effectiveUser)
    : mFiles(files), mEffectiveUser(effectiveUser)
{
}

std::int16_t HomeLock::pavoCheckAndOpenVEXLockFileInHomeDir(const std::optional<std::string>& homeDir,
                                                            std::uint32_t userID,
                                                            const std::optional<std::string>& ethernetAddress,
                                                            bool recoverRefNum, int* errorResult)
{
    int ignored = 0;
    int& result = errorResult != nullptr ? *errorResult : ignored;
    const auto asUser = mEffectiveUser.switchTo(userID);

    Taking taking{homeDir.value_or(""), lockPath(homeDir.value_or("")), ethernetAddress, recoverRefNum};
    platform::FileManager::FolderIdentity identity;
    result = homeDir ? mFiles.readFolderIdentity(taking.home, identity) : platform::kFileNoFolder;
    if (failed(result, "look-up of the home", taking.home)) return 0;

    if (!isOurs(taking, result)) {
        logRefusal(result, taking.path);
        return 0;
    }

    DebugLog(2, "Pavo.pavoCheckAndOpenVEXLockFileInHomeDir: writing enet addr, previous err = %d", result);
    writeHolder(taking);
    return taking.refNum;
}

/// Opens the lock file and, with an address, asks it for its holder; when it is another's, it is not left open.
/// `result` is what the caller is told either way.
bool HomeLock::isOurs(Taking& taking, int& result)
{
    result = openLock(taking);
    const bool takesOver = result == platform::kFileOpenForWriting && taking.recover && taking.refNum != 0;
    if (result != 0 && !takesOver) return false;
    if (!taking.address) return true;
    // What the file says counts now, however it was opened.
    result = readHolder(taking);
    return result == 0;
}

/// Opens the lock file, made and hidden first where there is none.
int HomeLock::openLock(Taking& taking)
{
    using Access = platform::FileManager::Access;
    if (mFiles.createFile(taking.home, kLockName) == 0) {
        failed(mFiles.hideFile(taking.home, kLockName), "hiding", taking.path);
    }
    auto opened = mFiles.openFile(taking.home, kLockName, Access::ReadWriteDenyWrite);
    failed(opened.error, "open", taking.path);
    if (opened.error == platform::kFileNoDenyMode) {
        opened = mFiles.openFile(taking.home, kLockName, Access::ReadWrite);
        DebugLog(1, "Pavo.pavoCheckAndOpenVEXLockFileInHomeDir: plain open of \"%s\" == %d", taking.path.c_str(),
                 opened.error);
    }
    taking.refNum = opened.refNum;
    return opened.error;
}

/// 0 when the file is empty or names this computer; otherwise it is closed, and why is returned.
int HomeLock::readHolder(const Taking& taking)
{
    std::array<char, kComparedBytes> buffer{};
    const auto got = mFiles.readFile(taking.refNum, 0, std::as_writable_bytes(std::span(buffer)));
    const std::string_view holder(buffer.data(), got.bytes);
    int refused = kHomeIsBusy;
    if (got.error != 0 && got.error != platform::kFileAtEnd) {
        failed(got.error, "read", taking.path);
        refused = got.error;
    } else if (holder.empty() || holder.starts_with(*taking.address)) {
        return 0;
    }
    DebugLog(2, "Pavo.pavoCheckAndOpenVEXLockFileInHomeDir: closing \"%s\"", taking.path.c_str());
    failed(mFiles.closeFile(taking.refNum), "close", taking.path);
    return refused;
}

/// The lock is ours whether or not the file can say so.
void HomeLock::writeHolder(const Taking& taking)
{
    if (taking.address) {
        failed(mFiles.writeFile(taking.refNum, 0, std::as_bytes(std::span(*taking.address))), "write", taking.path);
    } else {
        failed(mFiles.setFileLength(taking.refNum, 0), "emptying", taking.path);
    }
    failed(mFiles.flushFile(taking.refNum), "flush", taking.path);
}

void HomeLock::pavoCleanupVEXLockFileInHomeDir(const std::optional<std::string>& homeDir, std::uint32_t userID,
                                               std::int16_t lockFileRefNum)
{
    DebugLog(2, "Pavo.pavoCleanupVEXLockFileInHomeDir");
    if (lockFileRefNum == 0) return;
    const auto asUser = mEffectiveUser.switchTo(userID);
    const std::string path = lockPath(homeDir.value_or(""));
    if (const int error = mFiles.closeFile(lockFileRefNum)) {
        DebugLog(1, "Pavo.pavoCleanupVEXLockFileInHomeDir: closing \"%s\" == %d", path.c_str(), error);
    }
    if (!homeDir || mFiles.deleteFile(*homeDir, kLockName) != 0) {
        DebugLog(1, "Pavo.pavoCleanupVEXLockFileInHomeDir delete of \"%s\" == fail", path.c_str());
    }
}

} // namespace roamer
