#include "histories.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>

namespace braid::sim
{

namespace
{

using Verb = Step::Verb;

struct VerbFacts {
    Verb verb;
    const char* word;
    unsigned weight; ///< How often it comes, among all.
    bool onReal;
};

constexpr auto kVerbs = std::to_array<VerbFacts>({
    {Verb::Write, "writes", 24, true},
    {Verb::Replace, "replaces", 6, true},
    {Verb::EditQuietly, "edits and puts the time back of", 4, true},
    {Verb::SetMode, "sets the mode of", 4, true},
    {Verb::SetTime, "sets the time of", 3, true},
    {Verb::SetAttribute, "sets an attribute of", 3, true},
    {Verb::Remove, "removes", 12, true},
    {Verb::Rename, "renames", 12, true},
    {Verb::Respell, "respells", 6, true},
    {Verb::AddName, "links", 6, true},
    {Verb::MakeFolder, "makes the folder", 5, true},
    {Verb::MakeLink, "makes the link", 4, true},
    {Verb::Wait, "waits", 14, true},
    {Verb::TurnClockBack, "turns the clock back", 2, false},
    {Verb::Resolve, "a person decides", 4, true},
    {Verb::Pass, "pass", 26, true},
    {Verb::DryRun, "dry run", 2, true},
    {Verb::PassOfThird, "pass of the third computer", 5, true},
    {Verb::PassWithEmptyShare, "pass with an empty share", 1, false},
    {Verb::BackUpNetwork, "backs up the network home", 2, false},
    {Verb::RestoreNetwork, "restores the network home", 2, false},
    {Verb::LoseArchive, "loses the archive", 1, true},
    {Verb::DamageArchive, "damages the archive", 1, true},
});

constexpr auto kMishapWords = std::to_array<const char*>(
    {"", "killed", "power cut", "server's power cut", "call fails", "answer lost", "somebody edits meanwhile"});

constexpr auto kErrors =
    std::to_array<int>({EIO, ENOSPC, EDQUOT, EROFS, EACCES, ENAMETOOLONG, ESTALE, ENOTCONN, EINTR});

class Maker
{
public:
    Maker(std::uint64_t seed, bool isReal) : mRandom(seed), mIsReal(isReal) { mHistory.seed = seed; }

    History make();

private:
    std::size_t below(std::size_t bound) { return mRandom() % bound; }
    bool oneIn(std::size_t bound) { return below(bound) == 0; }
    DiskTraits traits();
    std::string path();
    void addStep(Verb verb);

    std::mt19937_64 mRandom;
    bool mIsReal;
    bool mFoldsNames = false;
    bool mHasLargeFiles = false;
    History mHistory;
    std::uint64_t mSerial = 0;
    Step mWritten; ///< The last one that named a file.
};

DiskTraits Maker::traits()
{
    constexpr auto kSteps = std::to_array<std::int64_t>({1, 1, 1, 100, 1'000, 1'000'000'000, 2'000'000'000});
    DiskTraits traits;
    traits.timeStep = kSteps[below(kSteps.size())];
    traits.keepsModes = !oneIn(8);
    traits.keepsAttributes = !oneIn(8);
    traits.exchanges = !oneIn(4);
    traits.renamesNew = !oneIn(6);
    traits.hardLinks = !oneIn(6);
    traits.copiesRanges = !oneIn(3);
    traits.flushesAsAWhole = !oneIn(3);
    traits.clockSkew = oneIn(3) ? (static_cast<std::int64_t>(below(7200)) - 3600) * 1'000'000'000 : 0;
    if (mFoldsNames && !oneIn(3)) {
        traits.folding = {!oneIn(4), oneIn(2), true, oneIn(6)};
        traits.folding.keepsCase = !traits.folding.foldsCase || !oneIn(6);
        traits.decomposes = traits.folding.foldsForm && oneIn(2);
        traits.respells = oneIn(2);
    }
    if (oneIn(20)) traits.capacity = 200'000 + below(200'000);
    return traits;
}

/// A few names, so that both sides meet at the same ones, sometimes as a file and sometimes as a folder.
std::string Maker::path()
{
    constexpr auto kNames = std::to_array<const char*>(
        {"a", "b", "c\xff", "a-b", "d.x", "A", "B", "a.", "\xc3\xa9", "e\xcc\x81", "\xc3\x89", "D.x"});
    const std::size_t count = mFoldsNames ? kNames.size() : 5;
    std::string path = kNames[below(count)];
    for (std::size_t depth = below(3); depth > 0; --depth)
        path += std::string{"/"} + kNames[below(count)];
    return path;
}

void Maker::addStep(Verb verb)
{
    Step step;
    step.verb = verb;
    step.home = oneIn(12) ? 2 : static_cast<int>(below(2));
    step.path = path();
    step.other = path();
    step.number = ++mSerial;
    if (verb == Verb::AddName && !mWritten.path.empty() && !oneIn(4)) {
        step.home = mWritten.home; // what was written before is a file for sure
        step.path = mWritten.path;
    }
    if (verb == Verb::Write || verb == Verb::AddName) mWritten = step;
    const bool isContent = verb == Verb::Write || verb == Verb::Replace || verb == Verb::EditQuietly;
    if (isContent && mHasLargeFiles && !oneIn(3)) step.number += kLargeContents;
    if (verb == Verb::SetMode) {
        constexpr auto kModes = std::to_array<unsigned>({0600, 0644, 0700, 0755, 0755, 0555, 0});
        step.number = kModes[below(kModes.size())];
    }
    if (verb == Verb::Wait) {
        constexpr auto kTimes = std::to_array<std::uint64_t>({1'000'000, 1'000'000'000, 10'000'000'000});
        step.number = oneIn(10) ? 3'600'000'000'000 * (1 + below(20)) : kTimes[below(kTimes.size())];
    }
    if (verb == Verb::TurnClockBack) step.number = 1'000'000'000 * (1 + below(100'000));
    if (verb == Verb::Pass || verb == Verb::DryRun || verb == Verb::PassOfThird)
        step.number = oneIn(2) ? 0 : mRandom() >> 40U;
    if ((verb == Verb::Pass || verb == Verb::PassOfThird) && oneIn(2)) {
        step.mishap = static_cast<Mishap::Kind>(1 + below(mIsReal ? 3 : 6));
        if (mIsReal) {
            constexpr auto kKinds = std::to_array({Mishap::Kind::Killed, Mishap::Kind::Fails, Mishap::Kind::Meanwhile});
            step.mishap = kKinds[static_cast<std::size_t>(step.mishap) - 1];
        }
        step.call = static_cast<long>(1 + below(mIsReal ? 150 : oneIn(3) ? 900 : 400));
        step.code = kErrors[below(kErrors.size())];
        // An interrupted call has done nothing.
        if (step.mishap == Mishap::Kind::AnswerIsLost && step.code == EINTR) step.code = EIO;
    }
    mHistory.steps.push_back(std::move(step));
}

History Maker::make()
{
    mHistory.isReal = mIsReal;
    mFoldsNames = !mIsReal && oneIn(4);
    mHasLargeFiles = oneIn(mIsReal ? 25 : 400); // they take long
    if (!mIsReal && (mFoldsNames || !oneIn(3))) {
        mHistory.local = traits();
        mHistory.network = traits();
    }
    unsigned all = 0;
    for (const VerbFacts& facts : kVerbs)
        all += facts.weight;
    for (std::size_t left = 4 + below(22); left > 0; --left) {
        std::size_t at = below(all);
        const auto* facts = kVerbs.data();
        for (; at >= facts->weight; ++facts)
            at -= facts->weight;
        if (facts->onReal || !mIsReal) addStep(facts->verb);
    }
    addStep(Verb::Pass);
    mHistory.steps.back().mishap = Mishap::Kind::None;
    return std::move(mHistory);
}

std::string words(const DiskTraits& traits)
{
    std::ostringstream text;
    text << "time step " << traits.timeStep << " ns, skew " << traits.clockSkew / 1'000'000'000 << " s, room "
         << traits.capacity;
    const std::array<std::pair<bool, const char*>, 13> facts{{{traits.folding.foldsCase, "folds case"},
                                                              {traits.folding.foldsForm, "folds form"},
                                                              {!traits.folding.keepsCase, "keeps no case"},
                                                              {traits.decomposes, "decomposes"},
                                                              {traits.folding.dropsEnds, "drops dots"},
                                                              {!traits.respells, "respells nothing"},
                                                              {!traits.keepsModes, "no modes"},
                                                              {!traits.keepsAttributes, "no attributes"},
                                                              {!traits.exchanges, "no exchange"},
                                                              {!traits.renamesNew, "no careful rename"},
                                                              {!traits.hardLinks, "no hard links"},
                                                              {!traits.copiesRanges, "copies no ranges"},
                                                              {!traits.flushesAsAWhole, "flushes file by file"}}};
    for (const auto& [holds, word] : facts) {
        if (holds) text << ", " << word;
    }
    return text.str();
}

std::string words(const Step& step)
{
    constexpr auto kHomes = std::to_array<const char*>({"local", "network", "third"});
    std::ostringstream text;
    const char* word = std::ranges::find(kVerbs, step.verb, &VerbFacts::verb)->word;
    if (step.verb <= Verb::MakeLink) {
        text << kHomes[static_cast<std::size_t>(step.home)] << " " << word << " " << step.path;
        if (step.verb == Verb::Rename || step.verb == Verb::AddName) text << " to " << step.other;
        text << " (" << step.number << ")";
        return text.str();
    }
    text << word << " (" << step.number << ")";
    if (step.mishap == Mishap::Kind::None) return text.str();
    text << ", " << kMishapWords[static_cast<std::size_t>(step.mishap)] << " at call " << step.call;
    if (step.mishap == Mishap::Kind::Fails || step.mishap == Mishap::Kind::AnswerIsLost) text << " errno " << step.code;
    if (step.mishap == Mishap::Kind::Meanwhile) text << " at " << step.path << ", " << step.other;
    return text.str();
}

} // namespace

History makeHistory(std::uint64_t seed, bool isReal)
{
    return Maker{seed, isReal}.make();
}

std::string words(const History& history)
{
    std::string text = "local disk: " + words(history.local) + "\nnetwork disk: " + words(history.network) + "\n";
    for (const Step& step : history.steps)
        text += words(step) + "\n";
    return text;
}

History shrunk(History history)
{
    const auto stillFails = [](const History& tried) { return failureOf(tried).has_value(); };
    for (std::size_t size = history.steps.size() / 2; size > 0;) {
        bool isShorter = false;
        for (std::size_t at = 0; at + size <= history.steps.size();) {
            History tried = history;
            const auto from = tried.steps.begin() + static_cast<std::ptrdiff_t>(at);
            tried.steps.erase(from, from + static_cast<std::ptrdiff_t>(size));
            if (stillFails(tried)) {
                history = std::move(tried);
                isShorter = true;
            } else {
                at += size;
            }
        }
        if (!isShorter || size > history.steps.size()) size = std::min(size / 2, history.steps.size());
    }
    // Then without what makes it special.
    const auto attempt = [&](auto simplify) {
        History tried = history;
        simplify(tried);
        if (stillFails(tried)) history = std::move(tried);
    };
    attempt([](History& tried) { tried.local = {}; });
    attempt([](History& tried) { tried.network = {}; });
    for (std::size_t i = 0; i < history.steps.size(); ++i) {
        attempt([i](History& tried) { tried.steps[i].mishap = Mishap::Kind::None; });
        if (history.steps[i].verb >= Verb::Pass) attempt([i](History& tried) { tried.steps[i].number = 0; });
    }
    return history;
}

std::string report(const History& history, const std::string& failure)
{
    const History shorter = shrunk(history);
    return "seed " + std::to_string(history.seed) + ": " + failure + "\nshrunk to " +
           std::to_string(shorter.steps.size()) + " steps:\n" + words(shorter) + failureOf(shorter).value_or("?");
}

std::uint64_t setting(const char* name, std::uint64_t otherwise)
{
    const char* text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

std::string firstFailure(std::uint64_t from, std::uint64_t count, bool isReal)
{
    for (std::uint64_t seed = from; seed < from + count; ++seed) {
        const History history = makeHistory(seed, isReal);
        if (const auto failure = failureOf(history)) return report(history, *failure);
    }
    return "";
}

} // namespace braid::sim
