#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/effective_user.h"
#include "platform/file_manager.h"

namespace roamer
{

/// Somebody else's address stands in the lock file.
inline constexpr int kHomeIsBusy = -47;

/// Keeps two computers from syncing one network home at a time: the file .vexlc in the home, open with writing denied
/// to others, holding the ethernet address of the computer that opened it.
///
/// Where the server passes the denial on, the open fails on a second computer. Where it does not, the second computer
/// finds a strange address in the file. A computer that finds its own address, left by a crash, takes the file again.
///
/// The files are worked with as the user, whoever the process acts as; it acts as before afterwards.
class HomeLock
{
public:
    /// Borrows both.
    HomeLock(platform::FileManager& files, platform::EffectiveUser& effectiveUser);

    /// Takes the lock and returns the number of the open file, for the clean-up; 0 when it was not taken. With an
    /// address, a lock of any other address is respected. Without one the lock is overridden, which empties the file.
    /// `recoverRefNum` takes over the file when this process already has it open.
    ///
    /// `errorResult` (may be null) receives 0, -49 for a file that was taken over or is in use, -47 for another
    /// computer's lock, -5006 or -54 for an open that was denied, -1 for a home that is not there, or the file system's
    /// own error.
    std::int16_t pavoCheckAndOpenVEXLockFileInHomeDir(const std::optional<std::string>& homeDir, std::uint32_t userID,
                                                      const std::optional<std::string>& ethernetAddress,
                                                      bool recoverRefNum, int* errorResult);

    /// Closes the open lock and deletes the file; without one (0) leaves everything as it is.
    void pavoCleanupVEXLockFileInHomeDir(const std::optional<std::string>& homeDir, std::uint32_t userID,
                                         std::int16_t lockFileRefNum);

private:
    struct Taking;
    bool isOurs(Taking& taking, int& result);
    int openLock(Taking& taking);
    int readHolder(const Taking& taking);
    void writeHolder(const Taking& taking);

    platform::FileManager& mFiles;
    platform::EffectiveUser& mEffectiveUser;
};

} // namespace roamer
