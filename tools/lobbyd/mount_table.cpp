#include "mount_table.h"

#include <fstream>
#include <sstream>

namespace lobby
{

namespace
{

/// Fields write blanks and the like as \ and three octal digits.
std::string unescaped(const std::string& field)
{
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            text += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0'));
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

} // namespace

std::optional<MountEntry> mountAt(const std::string& path)
{
    std::ifstream table("/proc/self/mountinfo");
    std::optional<MountEntry> found;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string mountId, parentId, root, field;
        MountEntry entry;
        if (!(fields >> mountId >> parentId >> entry.device >> root >> entry.mountPoint)) continue;
        entry.mountPoint = unescaped(entry.mountPoint);
        if (entry.mountPoint != path) continue;
        while (fields >> field && field != "-") {} // optional fields
        fields >> entry.fileSystem;
        found = entry; // later lines lie on top
    }
    return found;
}

} // namespace lobby
