#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform
{

struct ProcessRecord {
    std::string commandName; ///< The kernel's short name, possibly cut.
    int pid = 0;
    bool isZombie = false;
};

class ProcessTable
{
public:
    virtual ~ProcessTable() = default;
    /// Null when the table cannot be read.
    virtual std::optional<std::vector<ProcessRecord>> processes() = 0;
    virtual int ownPid() = 0;
};

} // namespace platform
