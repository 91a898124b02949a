#include <gtest/gtest.h>

#include <algorithm>

#include "braid/reconcile/decide.h"
#include "home_view.h"
#include "sim_system.h"

namespace braid::sim
{
namespace
{

using Verb = Step::Verb;
using Steps = std::vector<Step>;
using Names = std::vector<std::string>;

Step put(const char* path, std::uint64_t number = 1)
{
    return {.verb = Verb::Write, .path = path, .number = number};
}

Step respell(int home, const char* path)
{
    return {.verb = Verb::Respell, .home = home, .path = path};
}

struct FoldingCase {
    const char* name;
    Steps first; ///< Synced,
    Steps then;  ///< and synced again.
    Names local;
    Names network; ///< Empty: the same.
    std::uint64_t renamed;
    std::uint64_t bytes;
    std::string collides;
};

const Names kFolder{"F", "F/g", "F/g/y", "F/x"};
const FoldingCase kCases[] = {
    {"a file's case travels without a copy", {put("doc")}, {respell(0, "doc")}, {"Doc"}, {}, 1, 0, ""},
    {"and from the server", {put("doc")}, {respell(1, "doc")}, {"Doc"}, {}, 1, 0, ""},
    {"a folder's, with an edit", {put("f/x"), put("f/g/y")}, {respell(0, "f"), put("F/x", 5)}, kFolder, {}, 1, 17, ""},
    {"and from the server", {put("f/x"), put("f/g/y")}, {respell(1, "f"), put("f/x", 5)}, kFolder, {}, 1, 17, ""},
    {"what the server holds stays", {put("doc")}, {put("DOC", 5)}, {"DOC", "doc"}, {"doc"}, 0, 0, "DOC"},
    {"a new folder", {}, {put("f/b"), put("f/B", 5)}, {"f", "f/B", "f/b"}, {"f", "f/B"}, 0, 17, "f/b"},
    {"another name helps",
     {put("doc"), put("DOC", 5)},
     {{.verb = Verb::Rename, .path = "doc", .other = "other"}},
     {"DOC", "other"},
     {},
     0,
     17,
     ""},
    {"the server's own form", {put("\xc3\xa9")}, {put("\xc3\xa9", 5)}, {"\xc3\xa9"}, {"e\xcc\x81"}, 0, 17, ""},
};

Names namesIn(const std::string& home)
{
    Names names;
    for (const auto& [path, seen] : viewOf(home))
        names.push_back(path);
    return names;
}

TEST(Folding, OneNameInTwoSpellings)
{
    for (const bool respells : {true, false}) {
        for (const FoldingCase& c : kCases) {
            SCOPED_TRACE(c.name);
            SimSystem system{1};
            system.add("local", {});
            Disk& network = system.add("network", {.folding = {true, true}, .decomposes = true, .respells = respells});
            const std::string homes[] = {"/sim/local", "/sim/network"};
            PassSettings settings;
            settings.localHome = homes[0];
            settings.networkHome = homes[1];
            settings.jobs.resize(1);
            PassReport report;
            for (const Steps* steps : {&c.first, &c.then}) {
                for (const Step& step : *steps) {
                    const SimSystem::Person person{system};
                    carryOut(step, homes[step.home]);
                }
                system.advance(10'000'000'000);
                system.start({}, network);
                report = runPass(settings, {});
            }
            EXPECT_EQ(namesIn(homes[0]), c.local);
            EXPECT_EQ(namesIn(homes[1]), c.network.empty() ? c.local : c.network);
            EXPECT_EQ(report.counts.renamed, c.renamed);
            EXPECT_EQ(report.counts.bytes, c.bytes);
            const bool collides = std::ranges::any_of(report.conflicts, [&](const Conflict& conflict) {
                return conflict.kind == conflicts::kNameCollision && conflict.path == c.collides;
            });
            EXPECT_EQ(collides, !c.collides.empty());
            EXPECT_EQ(runPass(settings, {}).counts.renamed, 0U);
        }
    }
}

} // namespace
} // namespace braid::sim
