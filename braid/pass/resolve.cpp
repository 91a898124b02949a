#include "braid/resolve.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "braid/archive/archive.h"
#include "braid/disk/calls.h"
#include "braid/disk/journals.h"
#include "braid/home/beside.h"
#include "braid/home/home.h"
#include "braid/jobs/coverage.h"
#include "braid/reconcile/decide.h"
#include "braid/text/folding.h"

namespace braid
{

namespace
{

std::string quoted(const std::string& path)
{
    return "\"" + text::printable(path) + "\"";
}

std::string reasonOf(const Problem& problem)
{
    return problem.words() + " (" + text::printable(problem.path) + ")";
}

/// One decision from its checks to its pass. A step answers why it must not go on, or nothing.
class Resolving
{
public:
    Resolving(const Resolution& resolution, const std::stop_token& stop, EngineLock* held)
        : mResolution(resolution), mStop(stop), mHeld(held)
    {
    }

    ResolutionReport run();

private:
    using Refusal = std::optional<std::string>;

    Refusal lockLocalHome();
    Refusal findConflicts();
    Refusal openPair();
    void decideEach();
    std::optional<Problem> decideForBoth(const std::string& path);
    Outcome<Stat> look(Peer peer, const std::string& path) const;
    Outcome<std::string> moveBeside(const std::string& path, const Stat& stat) const;
    PassReport pass() const;

    const Resolution& mResolution;
    const std::stop_token& mStop;
    EngineLock* mHeld;
    std::unique_ptr<EngineLock> mLock;
    std::filesystem::path mNetworkHome;
    PerPeer<std::string> mIds;
    PerPeer<std::unique_ptr<Home>> mHomes;
    std::vector<Conflict> mConflicts;
    std::vector<ItemError> mErrors;          ///< Of decisions that could not be prepared: those conflicts stay.
    PerPeer<std::set<std::string>> mFavored; ///< Paths by the peer whose version is kept.
    ResolutionReport mReport;
};

ResolutionReport Resolving::run()
{
    // Everything is checked before the first name is changed.
    Refusal refusal = lockLocalHome();
    if (!refusal) refusal = findConflicts();
    if (!refusal) refusal = openPair();
    if (refusal) {
        mReport.pass.result = kPassRefused;
        mReport.pass.reason = *refusal;
        return std::move(mReport);
    }
    decideEach();
    mReport.pass = pass();
    std::ranges::move(mErrors, std::back_inserter(mReport.pass.errors));
    return std::move(mReport);
}

Resolving::Refusal Resolving::lockLocalHome()
{
    // Locking would make a marker folder.
    const auto marker = disk::statPath((mResolution.localHome / ".Braid").native());
    if (!marker || !marker->exists()) {
        return quoted(mResolution.localHome.native()) + " was never synced.";
    }
    if (mHeld) return std::nullopt;
    auto taken = EngineLock::take(mResolution.localHome);
    if (const auto* holder = std::get_if<EngineLock::Holder>(&taken)) {
        return holder->words() + " is syncing this home already.";
    }
    if (const auto* reason = std::get_if<std::string>(&taken)) return *reason;
    mLock = std::move(std::get<std::unique_ptr<EngineLock>>(taken));
    mHeld = mLock.get();
    return std::nullopt;
}

Resolving::Refusal Resolving::findConflicts()
{
    const auto archive = Archive::openForQuestions(mResolution.localHome);
    const auto pair = archive ? archive->useLastPair() : std::nullopt;
    if (!pair) return quoted(mResolution.localHome.native()) + " was never synced.";
    mIds = pair->ids;
    mNetworkHome = mResolution.networkHome;
    if (mNetworkHome.empty()) mNetworkHome = pair->networkHome;
    if (mNetworkHome.empty()) return "Nothing is known of where the network home is: name it with --network.";

    const std::vector<Conflict> recorded = archive->matters().conflicts;
    for (const std::string& path : mResolution.paths) {
        const auto found =
            std::ranges::find(recorded, path == "." ? std::string{"."} : normalPath(path), &Conflict::path);
        if (found == recorded.end()) return "No conflict is recorded for " + quoted(path) + ".";
        if (found->kind == conflicts::kMassDeletion) {
            return "A deletion of more than half of a home is decided with \"braid sync --allow-mass-deletion\", or by "
                   "putting the items back.";
        }
        if (found->kind == conflicts::kNameCollision) {
            return "Two items have names that one of the homes cannot tell apart. Rename one of them, here " +
                   quoted(path) + " or the one beside it; the next pass brings it across.";
        }
        mConflicts.push_back(*found);
    }
    return std::nullopt;
}

Resolving::Refusal Resolving::openPair()
{
    if (auto reason = whyNotAPair(mResolution.localHome, mNetworkHome)) return reason;
    for (const Peer peer : kPeers) {
        const std::filesystem::path& folder = peer == Peer::Local ? mResolution.localHome : mNetworkHome;
        auto home = Home::open(peer, folder);
        if (!home) return reasonOf(home.problem());
        mHomes[peer] = std::move(*home);
        const auto& marker = mHomes[peer]->marker();
        if (!marker || marker->id != mIds[peer]) {
            return quoted(folder.native()) + " is not " + homeWords(peer) + " in which these conflicts were found.";
        }
    }
    return std::nullopt;
}

Outcome<Stat> Resolving::look(Peer peer, const std::string& path) const
{
    const auto folder = mHomes[peer]->openFolder(folderOf(path));
    if (!folder) {
        const int code = folder.problem().code;
        if (code == ENOENT || code == ENOTDIR) return Stat{};
        return folder.problem();
    }
    return disk::statAt(folder->number(), std::string{nameOf(path)}.c_str());
}

void Resolving::decideEach()
{
    for (const Conflict& conflict : mConflicts) {
        if (mResolution.keep != Keep::Both) {
            mFavored[mResolution.keep == Keep::Local ? Peer::Local : Peer::Network].insert(conflict.path);
        } else if (const auto problem = decideForBoth(conflict.path)) {
            mErrors.push_back({conflict.path, problem->words()});
        }
    }
}

std::optional<Problem> Resolving::decideForBoth(const std::string& path)
{
    // What counts is what lies there now, not what the pass saw that found the conflict.
    PerPeer<Stat> stats;
    for (const Peer peer : kPeers) {
        const auto stat = look(peer, path);
        if (!stat) return stat.problem();
        stats[peer] = *stat;
    }
    const bool areFolders = stats.local.kind == Kind::Folder && stats.network.kind == Kind::Folder;
    if (!stats.local.exists() || !stats.network.exists() || areFolders) {
        mFavored[stats.local.exists() ? Peer::Local : Peer::Network].insert(path);
        return std::nullopt;
    }
    // From here the network's version is an item of its own, which the pass brings to the local home.
    const auto moved = moveBeside(path, stats.network);
    if (!moved) return moved.problem();
    mFavored.local.insert({path, *moved});
    mReport.beside.emplace_back(path, *moved);
    return std::nullopt;
}

/// Renames the network's version; the name is one that neither home has.
Outcome<std::string> Resolving::moveBeside(const std::string& path, const Stat& stat) const
{
    const std::string name{nameOf(path)};
    const auto folder = mHomes.network->openFolder(folderOf(path));
    if (!folder) return folder.problem();
    const auto joined = journals::lookJoined(folder->number(), name.c_str());
    if (!joined) return joined.problem();
    // Under another name a database would be without what its journals hold.
    if (joined->journals == Journals::Live) return Problem{EBUSY, "rename it", path};
    for (unsigned attempt = 1; attempt <= kMostNamesBeside; ++attempt) {
        const std::string wanted = nameBeside(name, "network", stat.mtime, stat.kind == Kind::Folder, attempt);
        const std::string wantedPath = joinPath(folderOf(path), wanted);
        const auto here = look(Peer::Local, wantedPath);
        if (!here) return here.problem();
        if (here->exists()) continue;
        const int code = disk::renameNew(folder->number(), name.c_str(), folder->number(), wanted.c_str());
        if (code == 0) return wantedPath;
        if (code != EEXIST) return Problem{code, "rename it", path};
    }
    return Problem{EEXIST, "rename it", path};
}

PassReport Resolving::pass() const
{
    PassSettings settings;
    settings.localHome = mResolution.localHome;
    settings.networkHome = mNetworkHome;
    settings.allowMassDeletion = true; // each path was named
    settings.occasion = Occasion::Aside;
    for (const Peer peer : kPeers) {
        if (mFavored[peer].empty()) continue; // no inclusions would mean the whole home
        Job& job = settings.jobs.emplace_back();
        job.inclusions = mFavored[peer];
        job.exclusions = mResolution.exclusions;
        job.options.resolveConflictsInFavorOf = peer;
    }
    if (settings.jobs.empty()) return {};
    return runPass(settings, mStop, mHeld);
}

} // namespace

ResolutionReport resolveConflicts(const Resolution& resolution, const std::stop_token& stop, EngineLock* held)
{
    return Resolving{resolution, stop, held}.run();
}

} // namespace braid
