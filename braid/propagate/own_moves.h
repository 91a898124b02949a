#pragma once

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "braid/disk/facts.h"

namespace braid
{

/// The change times of files with several names in one home, as far as this pass moved them itself: what it does to
/// one name shows at all of them, and must not be taken for somebody's work there.
class OwnMoves
{
public:
    /// The engine did something to a name of the file, which was `before` and is `now`.
    void note(const Stat& before, const Stat& now)
    {
        if (!before.linked && !now.linked) return;
        std::vector<std::int64_t>& ctimes = mFiles[now.inode];
        if (!ctimes.empty() && ctimes.back() != before.ctime) ctimes.clear(); // somebody else was at it, too
        if (ctimes.empty()) ctimes.push_back(before.ctime);
        ctimes.push_back(now.ctime);
    }

    /// What has become of a change time.
    std::int64_t now(std::uint64_t inode, std::int64_t ctime) const
    {
        const auto file = mFiles.find(inode);
        if (file == mFiles.end() || std::ranges::find(file->second, ctime) == file->second.end()) return ctime;
        return file->second.back();
    }

    bool empty() const { return mFiles.empty(); }

private:
    std::unordered_map<std::uint64_t, std::vector<std::int64_t>> mFiles; ///< Oldest first.
};

} // namespace braid
