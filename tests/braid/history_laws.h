#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "braid/peers.h"
#include "braid/resolve.h"
#include "history_world.h"
#include "home_view.h"

namespace braid::sim
{

using Failure = std::optional<std::string>;
/// Both homes of one pass, before or after.
using Views = PerPeer<View>;

/// Jobs of all kinds, by a number; 0 is the whole home without options.
std::vector<Job> jobsFor(std::uint64_t number);
std::string words(const std::vector<Job>& jobs);

/// What must hold of the passes of a history. Each check answers what is wrong, or nothing.
class Laws
{
public:
    Laws(const History& history, const World& world) : mHistory(history), mWorld(world) {}

    std::set<std::string> allContents() const;
    Failure nothingIsLost(const std::set<std::string>& before) const;
    Failure isInStep(const PassReport& report, const PassSettings& settings, const Views& after) const;
    Failure obeysRules(const PassSettings& settings, const Views& before, const Views& after) const;
    Failure decidedRight(const PassReport& report, const PassSettings& settings, const Views& before,
                         const Views& after) const;
    /// A person's choice about one path was carried out.
    Failure isKept(const Views& before, const Views& after, const std::string& path, Keep keep) const;
    Failure archiveIsTrue(const PassSettings& settings, const Views& after) const;

    /// After a pass of the first pair that came to its end.
    void agree(const PassReport& report, const PassSettings& settings, const Views& after);
    /// The first pair's archive is gone, or no longer about these homes.
    void forgetAgreed() { mAgreed.clear(); }
    /// Until the next agree() decidedRight() has no opinion.
    void doubtAgreed() { mKnowsAgreed = false; }
    bool knowsAgreed() const { return mKnowsAgreed; }

private:
    bool looksSame(const Seen& local, const Seen& network) const;
    /// Equal for paths that one of the homes may take for the same.
    std::string key(const std::string& path) const;
    /// Nobody else has a name in the views that one of the homes may take for this.
    bool isUnmistakable(const Views& views, const std::string& path) const;
    /// The item at the path in that home, also under another spelling.
    const Seen* counterpart(const View& view, const std::string& path) const;
    /// All that the engine may call the item: a folder goes by the name of one home, and what lies in it by its own.
    std::set<std::string> spellings(const std::set<std::string>& paths, const std::string& path) const;
    bool hasLike(const Views& views, const std::string& path) const;
    bool isListed(const PassReport& report, const std::string& path) const;

    const History& mHistory;
    const World& mWorld;
    std::map<std::string, Seen> mAgreed; ///< What the first pair last agreed on, as far as it is certain.
    std::set<std::string> mUnsure;       ///< Paths that decidedRight() has no opinion about.
    bool mKnowsAgreed = true;
};

} // namespace braid::sim
