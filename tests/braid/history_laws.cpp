#include "history_laws.h"

#include <algorithm>
#include <sstream>

#include "braid/archive/archive.h"
#include "braid/disk/content.h"
#include "braid/jobs/coverage.h"
#include "braid/reconcile/decide.h"

namespace braid::sim
{

namespace
{

std::string describe(const View& view, const std::string& path)
{
    const auto found = view.find(path);
    if (found == view.end()) return "nothing";
    const Seen& seen = found->second;
    std::ostringstream text;
    text << (seen.stat.kind == Kind::Folder ? "folder"
             : seen.stat.kind == Kind::Link ? "link"
                                            : "file")
         << " " << seen.content.substr(0, 20) << " mode " << std::oct << seen.stat.mode << std::dec << " mtime "
         << seen.stat.mtime << seen.attributes;
    return text.str();
}

std::set<std::string> allPaths(const Views& views)
{
    std::set<std::string> paths;
    for (const Peer peer : kPeers) {
        for (const auto& [path, seen] : views[peer])
            paths.insert(path);
    }
    return paths;
}

const Seen& seenAt(const std::map<std::string, Seen>& view, const std::string& path)
{
    static const Seen kNothing;
    const auto found = view.find(path);
    return found == view.end() ? kNothing : found->second;
}

/// All folders above the path are folders on both sides, and no item at the path is one: then each file stands alone.
bool standsAlone(const Views& views, const std::string& path)
{
    for (const Peer peer : kPeers) {
        if (seenAt(views[peer], path).stat.kind == Kind::Folder) return false;
        for (std::string_view above = folderOf(path); !above.empty(); above = folderOf(above)) {
            if (seenAt(views[peer], std::string{above}).stat.kind != Kind::Folder) return false;
        }
    }
    return true;
}

/// As the engine has it of a file.
Digest wholeDigest(const std::string& content)
{
    constexpr auto kBlock = static_cast<std::size_t>(kBlockBytes);
    if (content.size() <= kBlock) return digestOf(content);
    std::string blocks;
    for (std::size_t at = 0; at < content.size(); at += kBlock) {
        const Digest block = digestOf(std::string_view{content}.substr(at, kBlock));
        blocks.append(reinterpret_cast<const char*>(&block), sizeof block);
    }
    return digestOf(blocks);
}

} // namespace

std::set<std::string> Laws::allContents() const
{
    std::set<std::string> all;
    for (int home = 0; home < 3; ++home)
        all.merge(contentsIn(mWorld.home(home)));
    return all;
}

Failure Laws::nothingIsLost(const std::set<std::string>& before) const
{
    const std::set<std::string> now = allContents();
    for (const std::string& content : before) {
        if (!now.contains(content)) return "lost \"" + content.substr(0, 30) + "\"";
    }
    return std::nullopt;
}

std::string Laws::key(const std::string& path) const
{
    if (!mHistory.foldsNames()) return path;
    std::string all;
    std::string_view left = path;
    while (!left.empty()) {
        std::string_view name = left.substr(0, left.find('/'));
        left.remove_prefix(std::min(left.size(), name.size() + 1));
        all += text::foldName(text::foldName(name, mHistory.local.folding), mHistory.network.folding) + "/";
    }
    return all;
}

bool Laws::isUnmistakable(const Views& views, const std::string& path) const
{
    if (!mHistory.foldsNames()) return true;
    const std::string wanted = key(path);
    const auto isOther = [&](const auto& item) { return item.first != path && key(item.first) == wanted; };
    return !std::ranges::any_of(views.local, isOther) && !std::ranges::any_of(views.network, isOther) &&
           !std::ranges::any_of(mAgreed, isOther) &&
           (path.find('/') == std::string::npos || isUnmistakable(views, std::string{folderOf(path)}));
}

const Seen* Laws::counterpart(const View& view, const std::string& path) const
{
    if (const auto exact = view.find(path); exact != view.end()) return &exact->second;
    if (!mHistory.foldsNames()) return nullptr;
    const std::string wanted = key(path);
    const auto other = std::ranges::find_if(view, [&](const auto& item) { return key(item.first) == wanted; });
    return other == view.end() ? nullptr : &other->second;
}

/// Some spelling of the path in one home is in step with one in the other.
bool Laws::hasLike(const Views& views, const std::string& path) const
{
    const std::string wanted = key(path);
    return std::ranges::any_of(views.local, [&](const auto& here) {
        return key(here.first) == wanted && std::ranges::any_of(views.network, [&](const auto& there) {
                   return key(there.first) == wanted && looksSame(here.second, there.second);
               });
    });
}

std::set<std::string> Laws::spellings(const std::set<std::string>& paths, const std::string& path) const
{
    if (path.empty() || !mHistory.foldsNames()) return {path};
    const std::string wanted = key(path);
    std::set<std::string> all;
    for (const std::string& folder : spellings(paths, std::string{folderOf(path)})) {
        for (const std::string& each : paths) {
            if (key(each) == wanted) all.insert(joinPath(folder, nameOf(each)));
        }
    }
    return all;
}

/// Some listed path is this one, or holds it, or lies in it.
bool Laws::isListed(const PassReport& report, const std::string& path) const
{
    const std::string wanted = key(path);
    const auto touches = [&](const std::string& listed) {
        const std::string each = key(listed);
        return listed == "." || each == wanted || wanted.starts_with(each + (mHistory.foldsNames() ? "" : "/")) ||
               each.starts_with(wanted + (mHistory.foldsNames() ? "" : "/"));
    };
    return std::ranges::any_of(report.conflicts, touches, &Conflict::path) ||
           std::ranges::any_of(report.errors, touches, &ItemError::path) ||
           std::ranges::any_of(report.skipped, touches);
}

bool Laws::looksSame(const Seen& local, const Seen& network) const
{
    if (!local.holdsSame(network)) return false;
    const DiskTraits& here = mHistory.local;
    const DiskTraits& there = mHistory.network;
    if (local.stat.kind == Kind::Link) return true;
    if (here.keepsModes && there.keepsModes && local.stat.mode != network.stat.mode) return false;
    if (here.keepsAttributes && there.keepsAttributes && local.attributes != network.attributes) return false;
    if (local.stat.kind == Kind::Folder) return true;
    return std::abs(local.stat.mtime - network.stat.mtime) < std::max(here.timeStep, there.timeStep);
}

Failure Laws::isInStep(const PassReport& report, const PassSettings& settings, const Views& after) const
{
    const Coverage coverage{settings.jobs};
    for (const std::string& path : allPaths(after)) {
        const Seen* local = counterpart(after.local, path);
        const Seen* network = counterpart(after.network, path);
        const bool both = local && network;
        if (both && looksSame(*local, *network)) continue;
        if (mHistory.foldsNames() && hasLike(after, path)) continue;
        if (isListed(report, path)) continue;
        const auto mayDiffer = [&](std::string_view each) {
            const auto job = coverage.jobOfPath(each);
            if (!job || !report.jobStatus[*job].name.empty()) return true;
            const JobOptions& options = settings.jobs[*job].options;
            return options.readOnlyPeer || options.abortOnWriteToReadOnlyPeer;
        };
        // What keeps a folder out keeps out all that lies in it, whatever job that belongs to.
        bool isKeptOut = mayDiffer(path);
        for (std::string_view above = folderOf(path); !above.empty(); above = folderOf(above))
            isKeptOut = isKeptOut || (coverage.jobOfPath(above) && mayDiffer(above));
        if (isKeptOut || std::ranges::any_of(spellings(allPaths(after), path), mayDiffer)) continue;
        // A folder stays where it holds something that no job of this pass may take.
        const View& there = local ? after.local : after.network;
        const bool holds = std::ranges::any_of(
            there, [&](const auto& item) { return liesBelow(item.first, path) && mayDiffer(item.first); });
        if (!both && holds) continue;
        return path + " is neither in step nor listed: " + describe(after.local, path) + " | " +
               describe(after.network, path);
    }
    return std::nullopt;
}

bool isAsBefore(const Seen& was, const Seen& is)
{
    return was.stat.inode == is.stat.inode && was.stat.mtime == is.stat.mtime && was.stat.mode == is.stat.mode &&
           was.attributes == is.attributes;
}

Failure Laws::obeysRules(const PassSettings& settings, const Views& before, const Views& after) const
{
    const Coverage coverage{settings.jobs};
    for (const Peer peer : kPeers) {
        std::set<std::string> paths = allPaths({before[peer], after[peer]});
        const auto isOpen = [&](const std::string& path) {
            const auto job = coverage.jobOfPath(path);
            return job && settings.jobs[*job].options.readOnlyPeer != peer &&
                   settings.jobs[*job].options.abortOnWriteToReadOnlyPeer != peer;
        };
        for (const std::string& path : paths) {
            if (isOpen(path)) continue;
            // A folder that is spelled in another way takes along what it holds.
            if (!isUnmistakable(before, path) || !isUnmistakable(after, path)) continue;
            const auto was = before[peer].find(path);
            const auto is = after[peer].find(path);
            const bool isThere = is != after[peer].end();
            const bool wasThere = was != before[peer].end();
            // What is done to another name of the file moves its ctime.
            if (isThere && wasThere && was->second.holdsSame(is->second) &&
                (was->second.stat.kind == Kind::Folder ||
                 (was->second.stat.linked ? isAsBefore(was->second, is->second)
                                          : was->second.stat.ctime == is->second.stat.ctime))) {
                continue;
            }
            // The way down to an included item is made.
            const auto leads = [&](const auto& item) { return liesBelow(item.first, path) && isOpen(item.first); };
            if (isThere && !wasThere && std::ranges::any_of(after[peer], leads)) continue;
            return "the pass may not touch " + path + " in " + homeWords(peer) + ": " + describe(before[peer], path) +
                   " → " + describe(after[peer], path);
        }
    }
    return std::nullopt;
}

Failure Laws::decidedRight(const PassReport& report, const PassSettings& settings, const Views& before,
                           const Views& after) const
{
    const Coverage coverage{settings.jobs};
    static const Seen kNothing;
    const auto at = [&](const View& view, const std::string& path) -> const Seen& {
        const Seen* seen = counterpart(view, path);
        return seen ? *seen : kNothing;
    };
    for (const std::string& path : allPaths(before)) {
        const auto job = coverage.jobOfPath(path);
        if (!job || !report.jobStatus[*job].name.empty() || mUnsure.contains(path)) continue;
        if (!isUnmistakable(before, path)) continue;
        const bool isMass = std::ranges::any_of(report.conflicts, [](const Conflict& c) { return c.path == "."; });
        const bool isError = std::ranges::any_of(report.errors, [&](const ItemError& error) {
            return error.path == path || liesBelow(path, error.path) || error.path == ".";
        });
        if (isMass || isError || !standsAlone(before, path)) continue;
        const Seen& local = at(before.local, path);
        const Seen& network = at(before.network, path);
        const Seen& agreed = seenAt(mAgreed, path);
        const JobOptions& options = settings.jobs[*job].options;
        std::optional<Peer> winner; // none: both stay
        if (!local.holdsSame(network)) {
            Decision decision;
            if (local.holdsSame(agreed)) {
                decision = decideWrite(Peer::Local, options);
            } else if (network.holdsSame(agreed)) {
                decision = decideWrite(Peer::Network, options);
            } else {
                decision = decideConflict("", options);
            }
            if (decision.step == braid::Step::WriteLocal) winner = Peer::Network;
            if (decision.step == braid::Step::WriteNetwork) winner = Peer::Local;
        }
        for (const Peer peer : kPeers) {
            const Seen& wanted = at(before[winner.value_or(peer)], path);
            if (wanted.holdsSame(at(after[peer], path))) continue;
            return path + " was decided wrong in " + homeWords(peer) + ": agreed " + describe(mAgreed, path) +
                   ", local " + describe(before.local, path) + ", network " + describe(before.network, path) +
                   ", became " + describe(after[peer], path);
        }
    }
    return std::nullopt;
}

Failure Laws::isKept(const Views& before, const Views& after, const std::string& path, Keep keep) const
{
    const PerPeer<Seen> was{seenAt(before.local, path), seenAt(before.network, path)};
    if (!standsAlone(before, path) || !isUnmistakable(before, path)) return std::nullopt;
    Peer winner = keep == Keep::Network ? Peer::Network : Peer::Local;
    if (keep == Keep::Both && !was.local.stat.exists()) winner = Peer::Network;
    // What was never agreed on is new on the other side, whatever was deleted here since.
    if (!was[winner].stat.exists()) return std::nullopt;
    for (const Peer peer : kPeers) {
        if (!seenAt(after[peer], path).holdsSame(was[winner]))
            return "the choice for " + path + " is not what " + homeWords(peer) +
                   " holds: " + describe(after[peer], path) + " instead of " + describe(before[winner], path);
        const auto isOther = [&](const auto& item) { return item.second.holdsSame(was[otherPeer(winner)]); };
        const bool keepsOther = keep == Keep::Both && was.local.stat.exists() && was.network.stat.exists();
        if (keepsOther && std::ranges::none_of(after[peer], isOther))
            return "the second version of " + path + " is missing in " + homeWords(peer);
    }
    return std::nullopt;
}

/// The attributes of two equal contents differ, and may be kept from the other side: then nothing is agreed on yet.
bool isKeptApart(const Seen& local, const Seen& network, const JobOptions& options)
{
    const bool isAlike = local.stat.mtime == network.stat.mtime && local.stat.mode == network.stat.mode &&
                         local.attributes == network.attributes;
    return !isAlike && (options.readOnlyPeer || options.abortOnWriteToReadOnlyPeer);
}

void Laws::agree(const PassReport& report, const PassSettings& settings, const Views& after)
{
    const Coverage coverage{settings.jobs};
    std::set<std::string> paths = allPaths(after);
    for (const auto& [path, seen] : mAgreed)
        paths.insert(path);
    for (const std::string& path : paths) {
        const Seen* local = counterpart(after.local, path);
        const Seen* network = counterpart(after.network, path);
        const auto job = coverage.jobOfPath(path);
        const bool isError = std::ranges::find(report.errors, path, &ItemError::path) != report.errors.end();
        if (!job || !report.jobStatus[*job].name.empty() || isError || !isUnmistakable(after, path)) {
            mUnsure.insert(path); // comes back without trust if either side changed
        } else if (local && network && isKeptApart(*local, *network, settings.jobs[*job].options) &&
                   !local->holdsSame(seenAt(mAgreed, path))) {
            mUnsure.insert(path);
        } else if (!local == !network && (!local || local->holdsSame(*network))) {
            mUnsure.erase(path);
            mAgreed.erase(path);
            if (local) mAgreed[path] = *local;
        } else if (!mKnowsAgreed) {
            mUnsure.insert(path);
        }
    }
    mKnowsAgreed = true;
}

/// A side that still looks like its stamp holds what the archive says that both agreed on.
Failure Laws::archiveIsTrue(const PassSettings& settings, const Views& after) const
{
    const auto idOf = [](const std::filesystem::path& home) {
        const std::string marker = readWhole(home.native() + "/.Braid/replica");
        return marker.size() > 35 ? marker.substr(3, 32) : std::string{};
    };
    const auto archive = Archive::open((settings.localHome / ".Braid").native(), true);
    if (!archive) return "the archive cannot be opened: " + archive.problem().words();
    (*archive)->usePair(idOf(settings.localHome), idOf(settings.networkHome));
    std::vector<std::string> folders{""};
    while (!folders.empty()) {
        const std::string folder = std::move(folders.back());
        folders.pop_back();
        for (const NamedEntry& row : (*archive)->children(folder)) {
            const std::string path = joinPath(folder, row.name);
            if (row.entry.kind == Kind::Folder) folders.push_back(path);
            for (const Peer peer : kPeers) {
                const Seen& seen = seenAt(after[peer], path);
                const Stamp& stamp = row.entry.stamps[peer];
                const bool isTrusted = stamp.ctime != 0 && !row.entry.unfinished.local && !row.entry.unfinished.network;
                if (seen.stat.kind != row.entry.kind || seen.stat.kind == Kind::Folder || !isTrusted) continue;
                if (seen.stat.inode != stamp.inode || seen.stat.ctime != stamp.ctime || seen.stat.mtime != stamp.mtime)
                    continue;
                const bool isTrue = seen.stat.kind == Kind::Link
                                        ? row.entry.digest == digestOf(seen.content)
                                        : row.entry.size == seen.stat.size &&
                                              (!row.entry.digest || row.entry.digest == wholeDigest(seen.content));
                if (!isTrue) return "the archive is wrong about " + path + " in " + homeWords(peer);
            }
        }
    }
    return std::nullopt;
}

} // namespace braid::sim
