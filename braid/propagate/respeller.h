#pragma once

#include <map>
#include <string>

#include "workbench.h"

namespace braid
{

/// Gives items the names of the plan where a home takes the old and the new one for the same. Done before anything
/// else, since all paths of the plan are those of afterwards; what an item that cannot be renamed holds is left alone.
class Respeller
{
public:
    explicit Respeller(Workbench& bench) : mBench(bench) {}

    std::optional<Problem> run();

    /// Renames within one folder, whose path in the home is `above`, also where the new name leads to the item already.
    /// 0 or an errno value; EAGAIN: something else has that name.
    static int rename(const Home& home, int folder, std::string_view above, const std::string& from,
                      const std::string& to);
    /// What a killed pass was about to rename gets its old name back. Before that no pass may look for it.
    static std::optional<Problem> recover(const Home& home);

private:
    int respell(const Respelling& respelling);
    void tellArchive(const std::vector<Respelling>& done);
    void refresh();
    void refresh(const std::string& path, PerPeer<Stat>& stats, Entry& entry) const;

    Workbench& mBench;
    std::map<std::string, PerPeer<Stat>> mRenamed; ///< What it looks like now, by path.
};

/// True for an item that is found in the open folder under a name that the folder does not list.
bool isOtherSpelling(int folder, const std::string& name);

} // namespace braid
