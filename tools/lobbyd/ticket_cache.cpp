#include "ticket_cache.h"

#include <filesystem>

#include <sys/stat.h>

namespace lobby
{

std::optional<std::string> findTicketCache(const std::string& folder, uid_t user)
{
    const std::string plainName = "krb5cc_" + std::to_string(user);
    std::optional<std::string> newest;
    timespec newestTime{};
    std::error_code error;
    for (const auto& file : std::filesystem::directory_iterator(folder, error)) {
        const auto name = file.path().filename().string();
        if (name != plainName && !name.starts_with(plainName + "_")) continue;
        struct stat facts {
        };
        // Anybody may put a file of this name there.
        if (::lstat(file.path().c_str(), &facts) != 0 || !S_ISREG(facts.st_mode) || facts.st_uid != user) continue;
        if (newest && facts.st_mtim.tv_sec <= newestTime.tv_sec) continue;
        newest = file.path().string();
        newestTime = facts.st_mtim;
    }
    return newest;
}

} // namespace lobby
