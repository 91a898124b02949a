#include <algorithm>
#include <memory>
#include <sstream>

#include "braid/reconcile/decide.h"
#include "history_laws.h"

namespace braid::sim
{

namespace
{

using Verb = Step::Verb;

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
    Failure resolve(const Step& step);
    PassSettings settingsFor(const Step& step, int computer) const;
    Views views(const PassSettings& settings) const;

    const History& mHistory;
    std::unique_ptr<World> mWorld;
    Laws mLaws{mHistory, *mWorld};
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
    case Verb::Resolve:
        return resolve(step);
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
        if (mBackedUpMarker != readWhole(marker)) mLaws.forgetAgreed();
        mLaws.doubtAgreed();
        return std::nullopt;
    case Verb::LoseArchive:
        for (const char* suffix : {"", "-wal", "-shm"})
            carryOut({.verb = Verb::Remove, .path = ".Braid/archive.sqlite" + std::string{suffix}}, mWorld->home(0));
        mLaws.forgetAgreed();
        break;
    case Verb::DamageArchive:
        if (!readWhole(archive).empty()) overwrite(archive, std::string(5'000, '?'));
        mLaws.forgetAgreed();
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

Views Run::views(const PassSettings& settings) const
{
    return {viewOf(settings.localHome.native()), viewOf(settings.networkHome.native())};
}

Failure Run::pass(const Step& step)
{
    const int computer = step.verb == Verb::PassOfThird ? 2 : 0;
    const PassSettings settings = settingsFor(step, computer);
    std::set<std::string> wanted = mLaws.allContents();
    const Views atStart = views(settings);
    bool isDisturbed = false;
    if (step.mishap != Mishap::Kind::None) {
        Mishap mishap{step.mishap, step.call, step.code, nullptr};
        // What people delete or overwrite themselves is no loss.
        mishap.meanwhile = [&] {
            const std::set<std::string> before = mLaws.allContents();
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
            const std::set<std::string> after = mLaws.allContents();
            for (const std::string& content : before) {
                if (!after.contains(content)) wanted.erase(content);
            }
            wanted.insert(after.begin(), after.end());
            isDisturbed = true;
        };
        mWorld->pass(settings, mishap);
        if (Failure failure = mLaws.nothingIsLost(wanted)) return "after the mishap " + *failure;
    }
    mWorld->settle();
    mWorld->wait(1'000'000);
    if (isDisturbed) mLaws.doubtAgreed();
    const bool isTroubled = step.mishap != Mishap::Kind::None && !isDisturbed;
    Failure failure = cleanPass(settings, isTroubled ? &atStart : nullptr);
    if (!failure) failure = mLaws.nothingIsLost(wanted);
    return failure;
}

Failure Run::cleanPass(const PassSettings& settings, const Views* decided)
{
    const bool isFirstPair = settings.localHome.native() == mWorld->home(0);
    const Views before = views(settings);
    const std::set<std::string> contents = mLaws.allContents();
    const PassReport report = mWorld->pass(settings, {});
    const bool isFull = mHistory.local.capacity < (1U << 30) || mHistory.network.capacity < (1U << 30);
    if (report.result != kPassSucceeded) {
        if (isFull) return mLaws.nothingIsLost(contents);
        return "result " + std::to_string(report.result) + ": " + report.reason;
    }
    const Views after = views(settings);
    Failure failure = mLaws.nothingIsLost(contents);
    if (!failure) failure = mLaws.isInStep(report, settings, after);
    if (!failure) failure = mLaws.obeysRules(settings, before, after);
    if (!failure && isFirstPair && mLaws.knowsAgreed())
        failure = mLaws.decidedRight(report, settings, decided ? *decided : before, after);
    if (!failure) failure = mLaws.archiveIsTrue(settings, after);
    if (isFull) mLaws.doubtAgreed();
    if (failure || isFull) return failure;
    if (isFirstPair) mLaws.agree(report, settings, after);

    // What one job kept out of a folder that another one made is looked at afresh.
    const bool isMixed = settings.jobs.size() > 1 && std::ranges::any_of(settings.jobs, [](const Job& job) {
                             return job.options.readOnlyPeer || job.options.abortOnWriteToReadOnlyPeer;
                         });
    // And what collided with an item that this pass took away gets its place.
    const bool hasCollided = std::ranges::any_of(
        report.conflicts, [](const Conflict& conflict) { return conflict.kind == conflicts::kNameCollision; });
    if (isMixed || hasCollided) mWorld->pass(settings, {});
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
    return mLaws.archiveIsTrue(settings, views(settings));
}

/// A person decides about one of the recorded conflicts.
Failure Run::resolve(const Step& step)
{
    const auto [conflicts, errors] = openMatters(mWorld->home(0));
    if (conflicts.empty()) return std::nullopt;
    constexpr auto kKeeps = std::to_array({Keep::Local, Keep::Network, Keep::Both});
    const PassSettings settings = settingsFor({}, 0);
    const std::string path = conflicts[step.number / kKeeps.size() % conflicts.size()].path;
    const Keep keep = kKeeps[step.number % kKeeps.size()];
    const Views before = views(settings);
    const std::set<std::string> contents = mLaws.allContents();
    mWorld->wait(3'000'000'000);
    const ResolutionReport report = mWorld->resolve({settings.localHome, settings.networkHome, {path}, keep, {}});
    const Views after = views(settings);
    mLaws.doubtAgreed();
    if (Failure failure = mLaws.nothingIsLost(contents)) return "after the decision " + *failure;
    if (report.pass.result != kPassSucceeded || !report.pass.errors.empty() || !report.pass.skipped.empty() ||
        !report.pass.conflicts.empty()) {
        return std::nullopt;
    }
    return mLaws.isKept(before, after, path, keep);
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

} // namespace

Failure failureOf(const History& history, std::string* struck)
{
    Run run{history};
    Failure failure = run.run();
    if (struck) *struck = run.struck();
    return failure;
}

} // namespace braid::sim
