#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>

#include "braid/cli/commands.h"
#include "braid/peers.h"
#include "home_pair.h"

/// A dry run says what the pass does, and a check finds what is not in step.
namespace braid
{
namespace
{

namespace fs = std::filesystem;
using testing::HasSubstr;

/// A few dozen edits of all kinds in one home.
void edit(const fs::path& home, std::mt19937& random)
{
    const auto pick = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
    const auto anywhere = [&] { return home / ("d" + std::to_string(pick(4))) / ("f" + std::to_string(pick(12))); };
    for (int i = 0; i < 25; ++i) {
        const fs::path at = anywhere();
        const fs::path other = anywhere();
        switch (fs::exists(at) ? pick(6) : 0) {
        case 0:
        case 1:
            if (!fs::is_directory(at)) write(at, "content " + std::to_string(random()));
            break;
        case 2:
            fs::remove_all(at);
            break;
        case 3:
            if (!fs::exists(other) && fs::exists(other.parent_path())) fs::rename(at, other);
            break;
        case 4:
            fs::permissions(at, fs::perms::owner_exec, fs::perm_options::add);
            break;
        default:
            fs::remove_all(at); // a change of kind
            write(at / "inside", std::to_string(random()));
        }
    }
}

std::set<std::string> changedPaths(const Tree& before, const Tree& after)
{
    std::set<std::string> paths;
    for (const auto& [path, item] : before)
        if (!after.contains(path) || after.at(path) != item) paths.insert(path);
    for (const auto& [path, item] : after)
        if (!before.contains(path)) paths.insert(path);
    return paths;
}

TEST(DryRun, ListsExactlyWhatThePassThenDoes)
{
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random{seed};
        const HomePair pair;
        PerPeer<fs::path> homes{pair.local(), pair.network()};
        for (int round = 0; round < 3; ++round) {
            for (const Peer peer : kPeers)
                edit(homes[peer], random);
            JobOptions options;
            options.resolveConflictsInFavorOf = Peer::Local;
            PassSettings settings = pair.settings({wholeHome(options)});
            if (round == 2) settings.jobs[0].inclusions = {"d1", "new/deep/below"};
            write(pair.local() / "new/deep/below/file", std::to_string(seed));
            settings.allowMassDeletion = true;
            settings.dryRun = true;
            const PassReport foreseen = runPass(settings, {});
            ASSERT_EQ(foreseen.result, kPassSucceeded) << foreseen.reason;

            PerPeer<std::set<std::string>> listed;
            std::size_t lines = 0;
            for (const PlannedChange& change : foreseen.planned) {
                lines += listed[change.where].insert(change.path).second ? 1 : 0;
                if (!change.from.empty()) listed[change.where].insert(change.from);
            }
            EXPECT_EQ(lines, foreseen.planned.size()) << "one line an item";
            PerPeer<Tree> before{treeOf(homes.local), treeOf(homes.network)};
            settings.dryRun = false;
            EXPECT_EQ(runPass(settings, {}).errors.size(), 0U);
            for (const Peer peer : kPeers)
                EXPECT_EQ(listed[peer], changedPaths(before[peer], treeOf(homes[peer]))) << homes[peer];
        }
    }
}

TEST(Check, FindsWhatIsNotInStepAndChangesNothing)
{
    const HomePair pair;
    std::string out;
    const auto check = [&](const fs::path& network, std::vector<const char*> more = {}) {
        std::vector<const char*> words{"braid", "check", pair.local().c_str(), network.c_str()};
        words.insert(words.end(), more.begin(), more.end());
        const auto parsed = cli::parse(static_cast<int>(words.size()), words.data());
        const auto& options = std::get<cli::CheckOptions>(std::get<cli::Request>(parsed));
        std::ostringstream said;
        std::ostringstream err;
        const int status = cli::run(options, {said, err});
        out = said.str() + err.str();
        return status;
    };
    write(pair.local() / "a", "one");
    write(pair.local() / "young", "now", true);
    const Tree untouched = footprintOf(pair.top());
    EXPECT_EQ(check(pair.network()), 1) << "never synced";
    EXPECT_EQ(footprintOf(pair.top()), untouched);
    pair.sync();
    const Tree synced = footprintOf(pair.top());
    EXPECT_EQ(check(pair.network()), 0) << out;
    EXPECT_EQ(footprintOf(pair.top()), synced);

    write(pair.network() / "a", "two");
    write(pair.local() / "alike", "the same");
    write(pair.network() / "alike", "the same");
    write(pair.local() / "skip.o", "excluded");
    EXPECT_EQ(check(pair.network(), {"--exclude", "is:*.o"}), 1);
    EXPECT_EQ(out, "local: update a\narchive: not as it holds alike\n");
    EXPECT_EQ(check(pair.network(), {"--json"}), 1);
    EXPECT_THAT(out, HasSubstr("\"agree\": false, \"changes\": [{\"do\": \"update\", \"home\": \"local\", \"path\": "
                               "\"a\"}, {\"do\": \"create\", \"home\": \"network\", \"path\": \"skip.o\"}]"));
    EXPECT_EQ(check(pair.local()), 3);
    EXPECT_THAT(out, HasSubstr("braid: "));
}

} // namespace
} // namespace braid
