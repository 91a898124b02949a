#include <algorithm>
#include <map>
#include <memory>
#include <sstream>

#include "braid/archive/archive.h"
#include "braid/disk/content.h"
#include "braid/disk/seam.h"
#include "braid/jobs/coverage.h"
#include "braid/reconcile/decide.h"
#include "history_world.h"
#include "home_view.h"

namespace braid::sim
{

namespace
{

using Verb = Step::Verb;
using Failure = std::optional<std::string>;

/// Jobs of all kinds, by a number; 0 is the whole home without options.
std::vector<Job> jobsFor(std::uint64_t number)
{
    std::vector<Job> jobs(1);
    if (number == 0) return jobs;
    std::mt19937_64 random{number};
    const auto below = [&](std::size_t bound) { return random() % bound; };
    const auto peer = [&] { return below(2) == 0 ? Peer::Local : Peer::Network; };
    if (below(3) == 0) {
        jobs.resize(2);
        jobs[0].inclusions = {below(2) == 0 ? "a" : "b/a", "a-b"};
    } else if (below(4) == 0) {
        jobs[0].inclusions = {"a", "b/b", "c\xff"};
    }
    for (Job& job : jobs) {
        if (below(3) == 0) {
            const auto comparison = below(2) == 0 ? Comparison::NameEndsWith : Comparison::PathEquals;
            const char* value = comparison == Comparison::PathEquals ? "b/a" : ".X";
            job.exclusions.push_back(std::get<MatchRule>(MatchRule::make(comparison, value)));
        }
        if (below(3) == 0) job.options.resolveConflictsInFavorOf = peer();
        if (below(4) == 0) job.options.readOnlyPeer = peer();
        if (below(8) == 0) job.options.abortOnWriteToReadOnlyPeer = peer();
        job.options.abortOnConflict = below(8) == 0;
    }
    return jobs;
}

std::string words(const std::vector<Job>& jobs)
{
    std::string text;
    const auto name = [](const std::optional<Peer>& peer) { return peer == Peer::Local ? " local" : " network"; };
    for (const Job& job : jobs) {
        text += "\njob:";
        for (const std::string& path : job.inclusions)
            text += " " + path;
        for (const MatchRule& rule : job.exclusions)
            text += ", without " + rule.value();
        if (job.options.resolveConflictsInFavorOf)
            text += ", favors" + std::string{name(job.options.resolveConflictsInFavorOf)};
        if (job.options.readOnlyPeer) text += ", reads only" + std::string{name(job.options.readOnlyPeer)};
        if (job.options.abortOnWriteToReadOnlyPeer)
            text += ", aborts on write to" + std::string{name(job.options.abortOnWriteToReadOnlyPeer)};
        if (job.options.abortOnConflict) text += ", aborts on conflict";
    }
    return text;
}

/// Both homes of one pass, before or after.
using Views = PerPeer<View>;

/// What runs a history and knows what must hold.
class Run
{
public:
    explicit Run(const History& history) : mHistory(history), mWorld(World::make(history)) {}

    Failure run();
    std::string struck() const { return mWorld->struck(); }

private:
    Failure take(const Step& step);
    Failure pass(const Step& step);
    /// `decided`: what the decisions rest on, where a mishap came in between.
    Failure cleanPass(const PassSettings& settings, const Views* decided);
    Failure dryRun(const PassSettings& settings);
    PassSettings settingsFor(const Step& step, int computer) const;
    std::set<std::string> allContents() const;
    Views views(const PassSettings& settings) const;

    Failure nothingIsLost(const std::set<std::string>& before) const;
    Failure isInStep(const PassReport& report, const PassSettings& settings, const Views& after) const;
    Failure obeysRules(const PassSettings& settings, const Views& before, const Views& after) const;
    Failure decidedRight(const PassReport& report, const PassSettings& settings, const Views& before,
                         const Views& after) const;
    Failure archiveIsTrue(const PassSettings& settings, const Views& after) const;
    bool looksSame(const Seen& local, const Seen& network) const;
    void agree(const PassReport& report, const PassSettings& settings, const Views& after);

    const History& mHistory;
    std::unique_ptr<World> mWorld;
    std::map<std::string, Seen> mAgreed; ///< What the first pair last agreed on, as far as it is certain.
    std::set<std::string> mUnsure;       ///< Paths that decidedRight() has no opinion about.
    bool mKnowsAgreed = true;
    std::string mBackedUpMarker;
};

Failure Run::run()
{
    for (std::size_t i = 0; i < mHistory.steps.size(); ++i) {
        if (Failure failure = take(mHistory.steps[i])) {
            return "step " + std::to_string(i + 1) + ": " + *failure +
                   (mWorld->struck().empty() ? "" : " (mishap at " + mWorld->struck() + ")") +
                   words(jobsFor(mHistory.steps[i].number));
        }
    }
    return std::nullopt;
}

PassSettings Run::settingsFor(const Step& step, int computer) const
{
    PassSettings settings;
    settings.localHome = mWorld->home(computer);
    settings.networkHome = mWorld->home(1);
    settings.jobs = jobsFor(step.number);
    settings.allowMassDeletion = step.number % 4 != 1;
    return settings;
}

Failure Run::take(const Step& step)
{
    const std::string archive = mWorld->home(0) + "/.Braid/archive.sqlite";
    const std::string marker = mWorld->home(1) + "/.Braid/replica";
    const auto person = mWorld->person();
    switch (step.verb) {
    case Verb::Wait:
        mWorld->wait(static_cast<std::int64_t>(step.number));
        return std::nullopt;
    case Verb::TurnClockBack:
        mWorld->wait(-static_cast<std::int64_t>(step.number));
        return std::nullopt;
    case Verb::Pass:
    case Verb::PassOfThird:
        return pass(step);
    case Verb::DryRun:
        return dryRun(settingsFor(step, 0));
    case Verb::PassWithEmptyShare: {
        PassSettings settings = settingsFor({}, 0);
        settings.networkHome = mWorld->emptyShare();
        const View before = viewOf(settings.localHome.native());
        mWorld->pass(settings, {});
        const View after = viewOf(settings.localHome.native());
        for (const auto& [path, seen] : before) {
            if (!after.contains(path) || !after.at(path).holdsSame(seen)) return "an empty share took " + path;
        }
        return std::nullopt;
    }
    case Verb::BackUpNetwork:
        mWorld->backUp();
        mBackedUpMarker = readWhole(marker);
        return std::nullopt;
    case Verb::RestoreNetwork:
        if (!mWorld->restore()) return std::nullopt;
        if (mBackedUpMarker != readWhole(marker)) mAgreed.clear();
        mKnowsAgreed = false;
        return std::nullopt;
    case Verb::LoseArchive:
        for (const char* suffix : {"", "-wal", "-shm"})
            carryOut({.verb = Verb::Remove, .path = ".Braid/archive.sqlite" + std::string{suffix}}, mWorld->home(0));
        mAgreed.clear();
        break;
    case Verb::DamageArchive:
        if (!readWhole(archive).empty()) overwrite(archive, std::string(5'000, '?'));
        mAgreed.clear();
        break;
    case Verb::EditQuietly:
    case Verb::SetAttribute:
        // Leaves no trace but the change time, which coarse clocks may give to the engine's own work, too.
        mWorld->wait(3'000'000'000);
        carryOut(step, mWorld->home(step.home));
        break;
    default:
        carryOut(step, mWorld->home(step.home));
        break;
    }
    mWorld->settle();
    return std::nullopt;
}

std::set<std::string> Run::allContents() const
{
    std::set<std::string> all;
    for (int home = 0; home < 3; ++home)
        all.merge(contentsIn(mWorld->home(home)));
    return all;
}

Views Run::views(const PassSettings& settings) const
{
    return {viewOf(settings.localHome.native()), viewOf(settings.networkHome.native())};
}

Failure Run::nothingIsLost(const std::set<std::string>& before) const
{
    const std::set<std::string> now = allContents();
    for (const std::string& content : before) {
        if (!now.contains(content)) return "lost \"" + content.substr(0, 30) + "\"";
    }
    return std::nullopt;
}

Failure Run::pass(const Step& step)
{
    const int computer = step.verb == Verb::PassOfThird ? 2 : 0;
    const PassSettings settings = settingsFor(step, computer);
    std::set<std::string> wanted = allContents();
    const Views atStart = views(settings);
    bool isDisturbed = false;
    if (step.mishap != Mishap::Kind::None) {
        Mishap mishap{step.mishap, step.call, step.code, nullptr};
        // What people delete or overwrite themselves is no loss.
        mishap.meanwhile = [&] {
            const std::set<std::string> before = allContents();
            std::mt19937_64 random{step.number + static_cast<std::uint64_t>(step.call)};
            constexpr auto kVerbs = std::to_array({Verb::Write, Verb::Replace, Verb::Remove, Verb::Rename});
            for (const std::string& path : {step.path, step.other}) {
                carryOut({.verb = kVerbs[random() % kVerbs.size()],
                          .path = path,
                          .other = step.other,
                          .number = 10'000 + static_cast<std::uint64_t>(step.call) * 2 + (path == step.path ? 1U : 0U)},
                         mWorld->home(static_cast<int>(random() % 2)));
            }
            mWorld->settle();
            const std::set<std::string> after = allContents();
            for (const std::string& content : before) {
                if (!after.contains(content)) wanted.erase(content);
            }
            wanted.insert(after.begin(), after.end());
            isDisturbed = true;
        };
        mWorld->pass(settings, mishap);
        if (Failure failure = nothingIsLost(wanted)) return "after the mishap " + *failure;
    }
    mWorld->settle();
    mWorld->wait(1'000'000);
    if (isDisturbed) mKnowsAgreed = false;
    const bool isTroubled = step.mishap != Mishap::Kind::None && !isDisturbed;
    Failure failure = cleanPass(settings, isTroubled ? &atStart : nullptr);
    if (!failure) failure = nothingIsLost(wanted);
    return failure;
}

Failure Run::cleanPass(const PassSettings& settings, const Views* decided)
{
    const bool isFirstPair = settings.localHome.native() == mWorld->home(0);
    const Views before = views(settings);
    const std::set<std::string> contents = allContents();
    const PassReport report = mWorld->pass(settings, {});
    const bool isFull = mHistory.local.capacity < (1U << 30) || mHistory.network.capacity < (1U << 30);
    if (report.result != kPassSucceeded) {
        if (isFull) return nothingIsLost(contents);
        return "result " + std::to_string(report.result) + ": " + report.reason;
    }
    const Views after = views(settings);
    Failure failure = nothingIsLost(contents);
    if (!failure) failure = isInStep(report, settings, after);
    if (!failure) failure = obeysRules(settings, before, after);
    if (!failure && isFirstPair && mKnowsAgreed)
        failure = decidedRight(report, settings, decided ? *decided : before, after);
    if (!failure) failure = archiveIsTrue(settings, after);
    if (isFull) mKnowsAgreed = false;
    if (failure || isFull) return failure;
    if (isFirstPair) agree(report, settings, after);

    // What one job kept out of a folder that another one made is looked at afresh.
    const bool isMixed = settings.jobs.size() > 1 && std::ranges::any_of(settings.jobs, [](const Job& job) {
                             return job.options.readOnlyPeer || job.options.abortOnWriteToReadOnlyPeer;
                         });
    if (isMixed) mWorld->pass(settings, {});
    const PassReport again = mWorld->pass(settings, {});
    const Counts& counts = again.counts;
    for (const auto& home : {settings.localHome, settings.networkHome}) {
        const auto staged = stagedIn(home.native());
        if (again.errors.empty() && !staged.empty()) return "the pass left " + *staged.begin() + " behind";
    }
    // What failed is tried again, with what hangs on it.
    if (report.errors.empty() && again.errors.empty() &&
        counts.created + counts.updated + counts.deleted + counts.renamed + counts.bytes > 0) {
        std::ostringstream text;
        text << "the second pass was not idle: created " << counts.created << " updated " << counts.updated
             << " deleted " << counts.deleted << " renamed " << counts.renamed << " bytes " << counts.bytes;
        return text.str();
    }
    return archiveIsTrue(settings, views(settings));
}

Failure Run::dryRun(const PassSettings& settings)
{
    PassSettings dry = settings;
    dry.dryRun = true;
    const Views before = views(settings);
    const PassReport promised = mWorld->pass(dry, {});
    const Views after = views(settings);
    for (const Peer peer : kPeers) {
        for (const auto& [path, seen] : before[peer]) {
            if (!after[peer].contains(path) || after[peer].at(path).stat.ctime != seen.stat.ctime)
                return "the dry run changed " + path;
        }
    }
    return std::nullopt;
}

bool Run::looksSame(const Seen& local, const Seen& network) const
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

/// Some listed path is this one, or holds it, or lies in it.
bool isListed(const PassReport& report, const std::string& path)
{
    const auto touches = [&](const std::string& listed) {
        return listed == "." || listed == path || liesBelow(path, listed) || liesBelow(listed, path);
    };
    return std::ranges::any_of(report.conflicts, touches, &Conflict::path) ||
           std::ranges::any_of(report.errors, touches, &ItemError::path) ||
           std::ranges::any_of(report.skipped, touches);
}

Failure Run::isInStep(const PassReport& report, const PassSettings& settings, const Views& after) const
{
    const Coverage coverage{settings.jobs};
    for (const std::string& path : allPaths(after)) {
        const auto local = after.local.find(path);
        const auto network = after.network.find(path);
        const bool both = local != after.local.end() && network != after.network.end();
        if (both && looksSame(local->second, network->second)) continue;
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
        if (isKeptOut) continue;
        // A folder stays where it holds something that no job of this pass may take.
        const View& there = local != after.local.end() ? after.local : after.network;
        const bool holds = std::ranges::any_of(
            there, [&](const auto& item) { return liesBelow(item.first, path) && mayDiffer(item.first); });
        if (!both && holds) continue;
        return path + " is neither in step nor listed: " + describe(after.local, path) + " | " +
               describe(after.network, path);
    }
    return std::nullopt;
}

Failure Run::obeysRules(const PassSettings& settings, const Views& before, const Views& after) const
{
    const Coverage coverage{settings.jobs};
    for (const Peer peer : kPeers) {
        std::set<std::string> paths = allPaths({before[peer], after[peer]});
        for (const std::string& path : paths) {
            const auto job = coverage.jobOfPath(path);
            const bool isOpen = job && settings.jobs[*job].options.readOnlyPeer != peer &&
                                settings.jobs[*job].options.abortOnWriteToReadOnlyPeer != peer;
            if (isOpen) continue;
            const auto was = before[peer].find(path);
            const auto is = after[peer].find(path);
            const bool isThere = is != after[peer].end();
            const bool wasThere = was != before[peer].end();
            if (isThere && wasThere && was->second.holdsSame(is->second) &&
                (was->second.stat.kind == Kind::Folder || was->second.stat.ctime == is->second.stat.ctime)) {
                continue;
            }
            // The way down to an included item is made.
            if (!job && isThere && !wasThere && is->second.stat.kind == Kind::Folder) continue;
            return "the pass may not touch " + path + " in " + homeWords(peer) + ": " + describe(before[peer], path) +
                   " → " + describe(after[peer], path);
        }
    }
    return std::nullopt;
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

Failure Run::decidedRight(const PassReport& report, const PassSettings& settings, const Views& before,
                          const Views& after) const
{
    const Coverage coverage{settings.jobs};
    for (const std::string& path : allPaths(before)) {
        const auto job = coverage.jobOfPath(path);
        if (!job || !report.jobStatus[*job].name.empty() || mUnsure.contains(path)) continue;
        const bool isMass = std::ranges::any_of(report.conflicts, [](const Conflict& c) { return c.path == "."; });
        const bool isError = std::ranges::any_of(report.errors, [&](const ItemError& error) {
            return error.path == path || liesBelow(path, error.path) || error.path == ".";
        });
        if (isMass || isError || !standsAlone(before, path)) continue;
        const Seen& local = seenAt(before.local, path);
        const Seen& network = seenAt(before.network, path);
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
            const Seen& wanted = seenAt(before[winner.value_or(peer)], path);
            if (wanted.holdsSame(seenAt(after[peer], path))) continue;
            return path + " was decided wrong in " + homeWords(peer) + ": agreed " + describe(mAgreed, path) +
                   ", local " + describe(before.local, path) + ", network " + describe(before.network, path) +
                   ", became " + describe(after[peer], path);
        }
    }
    return std::nullopt;
}

void Run::agree(const PassReport& report, const PassSettings& settings, const Views& after)
{
    const Coverage coverage{settings.jobs};
    std::set<std::string> paths = allPaths(after);
    for (const auto& [path, seen] : mAgreed)
        paths.insert(path);
    for (const std::string& path : paths) {
        const Seen& local = seenAt(after.local, path);
        const auto job = coverage.jobOfPath(path);
        if (!job || !report.jobStatus[*job].name.empty()) {
            mUnsure.insert(path); // comes back without trust if either side changed
        } else if (local.holdsSame(seenAt(after.network, path))) {
            mUnsure.erase(path);
            mAgreed.erase(path);
            if (local.stat.exists()) mAgreed[path] = local;
        } else if (!mKnowsAgreed) {
            mUnsure.insert(path);
        }
    }
    mKnowsAgreed = true;
}

/// A side that still looks like its stamp holds what the archive says that both agreed on.
Failure Run::archiveIsTrue(const PassSettings& settings, const Views& after) const
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
                                              (!row.entry.digest || row.entry.digest == digestOf(seen.content));
                if (!isTrue) return "the archive is wrong about " + path + " in " + homeWords(peer);
            }
        }
    }
    return std::nullopt;
}

} // namespace

Failure failureOf(const History& history, std::string* struck)
{
    Run run{history};
    Failure failure = run.run();
    if (struck) *struck = run.struck();
    return failure;
}

} // namespace braid::sim
