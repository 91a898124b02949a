#include "braid/forget.h"

namespace braid
{

std::optional<std::string> forgetPasses(const std::filesystem::path& localHome, const EngineLock& /*held*/)
{
    const std::filesystem::path archive = localHome / ".Braid" / "archive.sqlite";
    // The log last: SQLite throws away a log without a database, while a database without its log would tell an
    // earlier agreement.
    for (const char* suffix : {"", "-shm", "-wal"}) {
        std::error_code error;
        std::filesystem::remove(archive.native() + suffix, error);
        if (error) return "The archive cannot be removed: " + error.message() + ".";
    }
    return std::nullopt;
}

} // namespace braid
