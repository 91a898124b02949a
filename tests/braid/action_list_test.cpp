#include "braid/reconcile/action_list.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

namespace braid
{
namespace
{

Stat fileAt(std::uint64_t inode)
{
    Stat stat;
    stat.kind = Kind::File;
    stat.mode = 04755;
    stat.owner = 1000;
    stat.group = 100;
    stat.inode = inode;
    stat.size = 5'000'000'000;
    stat.mtime = -1;
    stat.ctime = std::numeric_limits<std::int64_t>::max();
    return stat;
}

auto fieldsOf(const Stat& s)
{
    return std::tuple{s.kind, s.sparse, s.mode, s.owner, s.group, s.inode, s.size, s.mtime, s.ctime};
}

auto fieldsOf(const Stamp& s)
{
    return std::tuple{s.inode, s.ctime, s.mtime, s.mode, s.attributes};
}

auto fieldsOf(const Action& a)
{
    const Entry& e = a.entry;
    return std::tuple{a.verb,
                      a.target,
                      a.job,
                      a.path,
                      a.from,
                      a.toLocal,
                      a.toNetwork,
                      a.isRecorded,
                      std::tuple{fieldsOf(a.stats.local), fieldsOf(a.stats.network), fieldsOf(a.fromStat)},
                      std::tuple{e.kind, e.size, e.digest ? e.digest->low : 0, e.unfinished.local, e.unfinished.network,
                                 fieldsOf(e.stamps.local), fieldsOf(e.stamps.network)}};
}

TEST(ActionList, GivesBackWhatItGotInLittleMemory)
{
    std::vector<Action> all(4);
    all[0].path = "plain";
    all[0].stats.local = fileAt(7);
    all[0].entry.stamps.local = {7, 0, -1, 04755, 0};

    all[1].verb = Action::Verb::Move;
    all[1].target = Peer::Local;
    all[1].job = 300;
    all[1].path = std::string(5000, 'd') + "/name";
    all[1].from = "elsewhere/was";
    all[1].stats.network = fileAt(~0ULL);
    all[1].stats.network.sparse = true;
    all[1].fromStat = fileAt(9);
    all[1].fromStat.owner = 0;
    all[1].entry.kind = Kind::File;
    all[1].entry.digest = Digest{1, 2};
    all[1].entry.unfinished.network = true;
    all[1].entry.stamps.local = {1, 2, 3, 4, 5};
    all[1].entry.stamps.network = {~0ULL, all[1].stats.network.ctime, -1, 04755, 77};

    all[2].verb = Action::Verb::Restamp;
    all[2].path = "a/b";
    all[2].stats = {fileAt(1), fileAt(2)};
    all[2].toLocal = kAllAttributes;
    all[2].toNetwork = kMode;
    all[2].isRecorded = false;
    all[3].verb = Action::Verb::Delete;
    all[3].path = "a/c";

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
