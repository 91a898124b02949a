#pragma once

#include <map>
#include <string>

namespace platform
{

/// The shares that a process uses without a mount: folders of `file://` URLs. Counted, so that the folder counts as
/// held until everyone has given it up. Main thread.
class ShareHolds
{
public:
    void hold(const std::string& path) { ++mCounts[path]; }
    bool isHeld(const std::string& path) const { return mCounts.contains(path); }
    /// False when nobody held it.
    bool giveUp(const std::string& path)
    {
        const auto found = mCounts.find(path);
        if (found == mCounts.end()) return false;
        if (--found->second == 0) mCounts.erase(found);
        return true;
    }

private:
    std::map<std::string, int> mCounts;
};

} // namespace platform
