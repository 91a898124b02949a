#include "braid/forget.h"

namespace braid
{

std::optional<std::string> forgetPasses(const std::filesystem::path& localHome, const EngineLock& /*held*/)
{
    // The log last of the archive's: SQLite throws away a log without a database, while a database without its log
    // would tell an earlier agreement.
    for (const char* file : {"archive.sqlite", "archive.sqlite-shm", "archive.sqlite-wal", "reserve"}) {
        std::error_code error;
        std::filesystem::remove(localHome / ".Braid" / file, error);
        if (error) return "The archive cannot be removed: " + error.message() + ".";
    }
    return std::nullopt;
}

} // namespace braid
