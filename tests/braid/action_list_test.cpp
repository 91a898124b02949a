#include "braid/reconcile/action_list.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

namespace braid
{
namespace
{

/// Values at the ends of their ranges, which no history has.
Stat extremeFile(std::uint64_t inode)
{
    return {.kind = Kind::File,
            .mode = 04755,
            .inode = inode,
            .size = 5'000'000'000,
            .mtime = -1,
            .ctime = std::numeric_limits<std::int64_t>::max()};
}

auto fieldsOf(const Action& a)
{
    const auto facts = [](const Stat& s) {
        return std::tuple{s.kind, s.sparse, s.mode, s.inode, s.size, s.mtime, s.ctime};
    };
    const Stamp& stamp = a.entry.stamps.network;
    return std::tuple{a.verb,
                      a.target,
                      a.job,
                      a.path,
                      a.from,
                      a.toNetwork,
                      a.keptOut,
                      facts(a.stats.network),
                      facts(a.fromStat),
                      stamp.inode,
                      stamp.ctime,
                      stamp.mtime,
                      stamp.attributes};
}

TEST(ActionList, GivesBackWhatItGotInLittleMemory)
{
    std::vector<Action> all(4);
    all[0].path = "plain";
    all[1].verb = Action::Verb::Move;
    all[1].target = Peer::Local;
    all[1].job = 300;
    all[1].path = std::string(5000, 'd') + "/name";
    all[1].from = "elsewhere/was";
    all[1].stats.network = extremeFile(~0ULL);
    all[1].stats.network.sparse = true;
    all[1].fromStat = extremeFile(9);
    all[1].entry.stamps.network = {~0ULL, all[1].fromStat.ctime, -1, 04755, 77};
    all[2].verb = Action::Verb::Restamp;
    all[2].path = "a/b";
    all[2].toNetwork = kMode;
    all[2].keptOut = kExtended;
    all[3].path = "a/c";
    all[3].toNetwork = kExtended;

    ActionList list;
    for (int round = 0; round < 1000; ++round) { // more than one block
        for (const Action& action : all)
            list.add(action);
    }
    for (ActionList::Index i = 0; i < list.size(); ++i)
        ASSERT_EQ(fieldsOf(list[i]), fieldsOf(all[i % all.size()])) << i;

    list.drop(1);
    list.drop(1);
    list.replace(2, all[0]);
    std::vector<ActionList::Index> seen;
    list.each([&](ActionList::Index index, const Action& action) {
        if (index < 4) seen.push_back(index);
        EXPECT_EQ(action.path == "plain", index % 4 == 0 || index == 2);
    });
    EXPECT_EQ(seen, (std::vector<ActionList::Index>{0, 2, 3}));
    EXPECT_EQ(list.count(), list.size() - 1);
}

} // namespace
} // namespace braid
