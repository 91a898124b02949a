#include "local_home.h"

#include <cerrno>
#include <optional>
#include <vector>

#include <pwd.h>

namespace braid::agent
{

namespace
{

constexpr const char* kUsers = "axRecTypeStandard:Users";
constexpr const char* kHomeAttribute = "axAttrTypeStandard:NFSHomeDirectory";

std::optional<std::string> homeOfPasswd(uid_t uid)
{
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    while (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
        buffer.resize(buffer.size() * 2);
    }
    if (found == nullptr || found->pw_dir[0] != '/') return std::nullopt;
    return found->pw_dir;
}

} // namespace

std::variant<std::string, NoHome> findLocalHome(platform::DirectoryService& directory, uid_t uid)
{
    const std::string name = directory.loginName();
    platform::DirectoryError error;
    const auto node = directory.openNode(platform::kLocalNodeType, error);
    const auto record = node ? node->lookUp(kUsers, name, {kHomeAttribute}, error) : nullptr;
    if (!record && error.code != 0) {
        return NoHome{"the directory record of \"" + name + "\" cannot be read: " + error.description};
    }
    if (record) {
        const auto values = record->valuesForAttribute(kHomeAttribute);
        const auto* home = values && !values->empty() ? values->front().as<std::string>() : nullptr;
        if (home != nullptr && home->starts_with('/')) return *home;
        return NoHome{"the directory record of \"" + name + "\" names no home folder"};
    }
    if (auto home = homeOfPasswd(uid)) return *std::move(home);
    return NoHome{"the user " + std::to_string(uid) + " has no home folder"};
}

} // namespace braid::agent
