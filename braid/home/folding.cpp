#include <algorithm>

#include "braid/disk/calls.h"
#include "braid/disk/system.h"
#include "home.h"

namespace braid
{

namespace
{

constexpr const char* kName = "Names-\xc3\xa9"; // with a composed character
constexpr const char* kOtherCase = "nAMES-\xc3\xa9";
constexpr const char* kOtherForm = "Names-e\xcc\x81";
constexpr const char* kOtherEnd = "Names-\xc3\xa9.";

bool isSame(int folder, const Stat& one, const char* other)
{
    const auto second = disk::statAt(folder, other);
    return second && one.exists() && one.kind == second->kind && one.inode == second->inode;
}

std::vector<std::string> namesIn(int root, const std::string& path)
{
    std::vector<std::string> names;
    const auto folder = disk::openFolder(root, path);
    if (folder) disk::system().listNames(folder->number(), names);
    return names;
}

char swapCase(char letter)
{
    const bool isLetter = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
    return isLetter ? static_cast<char>(letter ^ 0x20) : letter;
}

/// Nothing is known of a home whose names have no letters.
bool foldsCaseOfItems(int root)
{
    for (const std::string& name : namesIn(root, "")) {
        std::string other = name;
        std::ranges::transform(other, other.begin(), swapCase);
        if (other == name) continue;
        const auto names = namesIn(root, "");
        const auto stat = disk::statAt(root, name.c_str());
        return std::ranges::find(names, other) == names.end() && stat && isSame(root, *stat, other.c_str());
    }
    return false;
}

} // namespace

void Home::learnFolding(bool mayWrite)
{
    const auto folder = disk::openFolder(root(), ".Braid");
    if (!folder && mayWrite) return;
    auto probe = folder ? disk::statAt(folder->number(), kName) : Outcome<Stat>{Stat{}};
    if (!probe) return;
    if (!probe->exists() && !mayWrite) {
        mFolding.foldsCase = foldsCaseOfItems(root());
        return;
    }
    // Without it the names are taken as they are: what cannot be put in place beside another then shows at that time.
    if (!probe->exists()) {
        if (!disk::createFile(folder->number(), kName)) return;
        probe = disk::statAt(folder->number(), kName);
        if (!probe) return;
    }
    mFolding.foldsCase = isSame(folder->number(), *probe, kOtherCase);
    mFolding.foldsForm = isSame(folder->number(), *probe, kOtherForm);
    mFolding.dropsEnds = isSame(folder->number(), *probe, kOtherEnd);
    if (!mFolding.foldsCase) return;
    const text::NameFolding form{false, true};
    const std::string key = text::foldName(kName, form);
    const auto names = namesIn(root(), ".Braid");
    mFolding.keepsCase =
        std::ranges::any_of(names, [&](const auto& name) { return text::foldName(name, form) == key; });
}

} // namespace braid
