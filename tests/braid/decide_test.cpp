#include "braid/reconcile/decide.h"

#include <gtest/gtest.h>

#include <span>

#include "home_pair.h"

namespace braid
{
namespace
{

Facts file(std::uint64_t content, std::int64_t mtime = 100, std::uint16_t mode = 0644, std::uint64_t attributes = 0)
{
    return {Kind::File, Digest{0, content}, mode, mtime, attributes};
}
Facts folder(std::uint16_t mode = 0755)
{
    return {Kind::Folder, {}, mode, 0, 0};
}
Facts link(std::uint64_t target)
{
    return {Kind::Link, Digest{1, target}, 0, 100, 0};
}
const Facts kNone{};

Decision plain(Step step)
{
    return {.step = step};
}
Decision conflict(std::string_view kind)
{
    return {.step = Step::Conflict, .conflict = kind};
}
Decision restamp(AttributeSet toLocal, AttributeSet toNetwork)
{
    return {.step = Step::Restamp, .toLocal = toLocal, .toNetwork = toNetwork};
}

Peer mirrored(Peer peer)
{
    return otherPeer(peer);
}
Decision mirrored(Decision decision)
{
    std::swap(decision.toLocal, decision.toNetwork);
    if (decision.step == Step::WriteLocal) {
        decision.step = Step::WriteNetwork;
    } else if (decision.step == Step::WriteNetwork) {
        decision.step = Step::WriteLocal;
    }
    return decision;
}
JobOptions mirrored(JobOptions options)
{
    for (auto* peer :
         {&options.resolveConflictsInFavorOf, &options.readOnlyPeer, &options.abortOnWriteToReadOnlyPeer}) {
        if (*peer) *peer = mirrored(**peer);
    }
    return options;
}

struct DecideCase {
    const char* name;
    Facts before, local, network;
    Decision expected;
};

const DecideCase kWithoutOptions[] = {
    {"never there", kNone, kNone, kNone, plain(Step::Nothing)},
    {"gone on both: only forget it", file(1), kNone, kNone, plain(Step::Forget)},
    {"in step", file(1), file(1), file(1), plain(Step::Nothing)},
    {"new on one side", kNone, file(1), kNone, plain(Step::WriteNetwork)},
    {"the same appeared on both", kNone, file(1), file(1), plain(Step::Record)},
    {"edited on one side", file(1), file(2), file(1), plain(Step::WriteNetwork)},
    {"the same edit on both", file(1), file(2), file(2), plain(Step::Record)},
    {"deleted, untouched on the other side: the deletion wins", file(1), kNone, file(1), plain(Step::WriteNetwork)},
    {"deleted, only touched on the other side: the deletion wins", file(1), kNone, file(1, 200),
     plain(Step::WriteNetwork)},
    {"never agreed: it is new, not deleted", kNone, kNone, file(1), plain(Step::WriteLocal)},
    {"edited on both", file(1), file(2), file(3), conflict(conflicts::kModifyModify)},
    {"deleted and edited", file(1), kNone, file(2), conflict(conflicts::kModifyDelete)},
    {"two new ones of one name", kNone, file(1), file(2), conflict(conflicts::kCreateCreate)},
    {"a file here, a folder there", kNone, file(1), folder(), conflict(conflicts::kTypeType)},
    {"a file turned into a link on one side", file(1), link(1), file(1), plain(Step::WriteNetwork)},
    {"a file turned into a link here and a folder there", file(1), link(1), folder(), conflict(conflicts::kTypeType)},
    {"links that lead elsewhere", link(1), link(2), link(3), conflict(conflicts::kModifyModify)},
    {"folders on both sides are no conflict", kNone, folder(), folder(), plain(Step::Record)},
    {"folder deleted", folder(), kNone, folder(), plain(Step::WriteNetwork)},
};

const DecideCase kAttributes[] = {
    {"touched here", file(1), file(1, 200), file(1), restamp(0, kModifiedTime)},
    {"set back in time here", file(1), file(1, 50), file(1), restamp(0, kModifiedTime)},
    {"mode here, time there: both travel", file(1), file(1, 100, 0600), file(1, 200), restamp(kModifiedTime, kMode)},
    {"both changed the time: the later one", file(1), file(1, 150), file(1, 200), restamp(kModifiedTime, 0)},
    {"attributes taken off there", file(1, 100, 0644, 7), file(1, 100, 0644, 7), file(1), restamp(kExtended, 0)},
    {"folder mode", folder(0755), folder(0700), folder(0755), restamp(0, kMode)},
    {"an edit carries its attributes along", file(1), file(2, 200, 0600), file(1), plain(Step::WriteNetwork)},
    {"an edit here takes a mode and attributes from there along",
     file(1),
     file(2),
     file(1, 200, 0600, 7),
     {.step = Step::WriteNetwork, .toLocal = kMode | kExtended}},
    {"modes on both sides: the editor's", file(1), file(2, 100, 0640), file(1, 100, 0600), plain(Step::WriteNetwork)},
    {"first sync, same content, other times: no conflict", kNone, file(1, 100), file(1, 200),
     restamp(kModifiedTime, 0)},
};

TEST(Decide, WithoutOptionsAlikeFromBothSides)
{
    for (const std::span<const DecideCase> cases : {std::span<const DecideCase>{kWithoutOptions}, {kAttributes}}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            EXPECT_EQ(decide(c.before, c.local, c.network, {}), c.expected);
            EXPECT_EQ(decide(c.before, c.network, c.local, {}), mirrored(c.expected));
        }
    }
}

JobOptions favor(Peer peer)
{
    JobOptions options;
    options.resolveConflictsInFavorOf = peer;
    return options;
}
JobOptions endOnConflict()
{
    JobOptions options;
    options.abortOnConflict = true;
    return options;
}

constexpr Decision kEndsByWrite{.step = Step::KeptOut, .jobEnd = JobEnd::WriteToReadOnlyPeer};

struct OptionCase {
    const char* name;
    JobOptions options;
    Facts before, local, network;
    Decision expected;
};

/// A conflict that one side wins, or that ends the job.
Decision met(Step step, std::string_view kind = conflicts::kModifyModify, JobEnd end = {})
{
    return {.step = step, .conflict = kind, .jobEnd = end};
}
constexpr Decision kTimeComesButNotTheMode{.step = Step::Restamp, .toLocal = kModifiedTime, .keptOut = kMode};

const OptionCase kOptions[] = {
    {"local wins", favor(Peer::Local), file(1), file(2), file(3), met(Step::WriteNetwork)},
    {"local wins though it deleted", favor(Peer::Local), file(1), kNone, file(3),
     met(Step::WriteNetwork, conflicts::kModifyDelete)},
    {"a resolution decides no plain change", favor(Peer::Local), file(1), file(1), file(3), plain(Step::WriteLocal)},
    {"read-only: its own changes come", copyFrom(Peer::Network), file(1), file(1), file(2), plain(Step::WriteLocal)},
    {"read-only: changes for it wait", copyFrom(Peer::Network), file(1), file(2), file(1), plain(Step::KeptOut)},
    {"read-only: deletions for it wait", copyFrom(Peer::Network), file(1), kNone, file(1), plain(Step::KeptOut)},
    {"read-only: it wins conflicts", copyFrom(Peer::Network), file(1), file(2), file(3), met(Step::WriteLocal)},
    {"read-only: a touched file waits", copyFrom(Peer::Network), file(1), file(1, 200), file(1), plain(Step::KeptOut)},
    {"read-only: what may travel does, and the rest waits", copyFrom(Peer::Network), file(1), file(1, 100, 0600),
     file(1, 200), kTimeComesButNotTheMode},
    {"copy or end: its changes come", copyOrEnd(Peer::Local), file(1), file(2), file(1), plain(Step::WriteNetwork)},
    {"copy or end: a write would be needed", copyOrEnd(Peer::Local), file(1), file(1), file(2), kEndsByWrite},
    {"copy or end: a conflict counts as such a write", copyOrEnd(Peer::Local), file(1), file(2), file(3),
     met(Step::Conflict, conflicts::kModifyModify, JobEnd::WriteToReadOnlyPeer)},
    {"copy or end: a touched file is a write, too", copyOrEnd(Peer::Local), file(1), file(1), file(1, 200),
     kEndsByWrite},
    {"end on conflict", endOnConflict(), file(1), file(2), file(3),
     met(Step::Conflict, conflicts::kModifyModify, JobEnd::Conflict)},
    {"end on conflict: no conflict", endOnConflict(), file(1), file(2), file(1), plain(Step::WriteNetwork)},
};

TEST(Decide, JobOptionsAlikeForBothPeers)
{
    for (const auto& c : kOptions) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(decide(c.before, c.local, c.network, c.options), c.expected);
        EXPECT_EQ(decide(c.before, c.network, c.local, mirrored(c.options)), mirrored(c.expected));
    }
}

} // namespace
} // namespace braid
