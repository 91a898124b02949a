#pragma once

#include <cstdint>
#include <unordered_map>

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
        const auto [file, isNew] = mFiles.try_emplace(now.inode, Span{before.ctime, now.ctime});
        if (isNew) return;
        if (file->second.last != before.ctime) file->second.first = before.ctime; // somebody else was at it, too
        file->second.last = now.ctime;
    }

    /// What has become of a change time.
    std::int64_t now(std::uint64_t inode, std::int64_t ctime) const
    {
        const auto file = mFiles.find(inode);
        if (file == mFiles.end()) return ctime;
        const auto [first, last] = file->second;
        // In between there were only others of the engine's own.
        return ctime == first || (ctime > first && ctime < last) ? last : ctime;
    }

    bool empty() const { return mFiles.empty(); }

private:
    struct Span {
        std::int64_t first = 0; ///< Before the engine began.
        std::int64_t last = 0;
    };
    std::unordered_map<std::uint64_t, Span> mFiles; ///< By inode.
};

} // namespace braid
