#include "log_host.h"

#include <cstdlib>
#include <fstream>
#include <pwd.h>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "user_database.h"

namespace platform
{

namespace
{

/// The value of NAME=value or NAME="value" in the description of the system; "" when it has none.
std::string systemDescription(std::string_view name)
{
    std::ifstream file("/etc/os-release");
    std::string line;
    while (std::getline(file, line)) {
        if (!line.starts_with(name) || line.size() <= name.size() || line[name.size()] != '=') continue;
        std::string_view value = std::string_view(line).substr(name.size() + 1);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        return std::string(value);
    }
    return {};
}

class LinuxLogHost final : public LogHost
{
public:
    std::optional<std::string> effectiveUserHome() override
    {
        std::vector<char> buffer(1024);
        passwd entry{};
        passwd* found = nullptr;
        while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
               buffer.size() < (1U << 20U))
            buffer.resize(buffer.size() * 2);
        if (found == nullptr || entry.pw_dir == nullptr || *entry.pw_dir == '\0') return std::nullopt;
        return entry.pw_dir;
    }

    int processId() override { return getpid(); }

    std::string systemBuildVersion() override
    {
        const std::string build = systemDescription("BUILD_ID"); // rolling distributions
        return build.empty() ? systemDescription("VERSION_ID") : build;
    }

    std::tm localTime() override
    {
        const std::time_t now = std::time(nullptr);
        std::tm parts{};
        localtime_r(&now, &parts);
        return parts;
    }

    void changeOwner(const std::string& path, unsigned uid, unsigned gid) override
    {
        // Of a link itself: where the log lies, others may write.
        static_cast<void>(lchown(path.c_str(), uid, systemGroup(gid)) == 0);
    }

    void runInShell(const std::string& command) override { static_cast<void>(std::system(command.c_str()) == 0); }
};

} // namespace

std::unique_ptr<LogHost> makeLogHost()
{
    return std::make_unique<LinuxLogHost>();
}

} // namespace platform
