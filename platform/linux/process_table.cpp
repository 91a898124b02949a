#include "process_table.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace platform
{

namespace
{

/// The line of /proc/<pid>/stat: "pid (name) state ...", where the name may itself hold blanks and parentheses.
std::optional<ProcessRecord> recordOf(const std::string& line)
{
    const auto open = line.find('(');
    const auto close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open || close + 2 >= line.size()) {
        return std::nullopt;
    }
    ProcessRecord record;
    if (std::from_chars(line.data(), line.data() + open, record.pid).ec != std::errc()) return std::nullopt;
    record.commandName = line.substr(open + 1, close - open - 1);
    record.isZombie = line[close + 2] == 'Z';
    return record;
}

class ProcTable final : public ProcessTable
{
public:
    std::optional<std::vector<ProcessRecord>> processes() override
    {
        std::error_code error;
        std::filesystem::directory_iterator folder("/proc", error);
        if (error) return std::nullopt;
        std::vector<ProcessRecord> records;
        for (; folder != std::filesystem::directory_iterator(); folder.increment(error)) {
            if (error) return std::nullopt;
            const auto name = folder->path().filename().string();
            if (name.find_first_not_of("0123456789") != std::string::npos) continue;
            // A process that ended meanwhile has no line any more.
            std::ifstream file(folder->path() / "stat");
            const std::string line{std::istreambuf_iterator<char>(file), {}};
            if (auto record = recordOf(line)) records.push_back(std::move(*record));
        }
        return records;
    }

    int ownPid() override { return ::getpid(); }
};

} // namespace

std::unique_ptr<ProcessTable> makeProcessTable()
{
    return std::make_unique<ProcTable>();
}

} // namespace platform
