#pragma once

#include <optional>
#include <unordered_map>

#include "braid/disk/facts.h"

namespace braid
{

/// What files with several names in one home were found to hold, so that a pass reads such a file once and not once
/// for each name. Remembers a few thousand at most.
class ReadFiles
{
public:
    std::optional<Digest> find(const Stat& file) const
    {
        const auto known = mFiles.find(file.inode);
        if (known == mFiles.end() || !isUnchanged(known->second.file, file)) return std::nullopt;
        return known->second.digest;
    }
    void keep(const Stat& file, const Digest& digest)
    {
        constexpr std::size_t kMost = 4096;
        if (mFiles.size() >= kMost) mFiles.clear();
        mFiles.insert_or_assign(file.inode, Known{file, digest});
    }

private:
    struct Known {
        Stat file;
        Digest digest;
    };
    std::unordered_map<std::uint64_t, Known> mFiles; ///< By inode.
};

} // namespace braid
