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

struct FoldingPair {
    explicit FoldingPair(bool respells)
        : network(system.add("network", {.folding = {true, true}, .decomposes = true, .respells = respells}))
    {
        system.add("local", {});
        settings.localHome = homes[0];
        settings.networkHome = homes[1];
        settings.jobs.resize(1);
    }

    PassReport passAfter(const Steps& steps)
    {
        for (const Step& step : steps) {
            const SimSystem::Person person{system};
            carryOut(step, homes[step.home]);
        }
        system.advance(10'000'000'000);
        system.start({}, network);
        return runPass(settings, {});
    }

    const std::string homes[2] = {"/sim/local", "/sim/network"};
    SimSystem system{1};
    Disk& network;
    PassSettings settings;
};

TEST(Folding, OneNameInTwoSpellings)
{
    for (const bool respells : {true, false}) {
        for (const FoldingCase& c : kCases) {
            SCOPED_TRACE(c.name);
            FoldingPair pair{respells};
            const auto& homes = pair.homes;
            pair.passAfter(c.first);
            const PassReport report = pair.passAfter(c.then);
            EXPECT_EQ(namesIn(homes[0]), c.local);
            EXPECT_EQ(namesIn(homes[1]), c.network.empty() ? c.local : c.network);
            EXPECT_EQ(report.counts.renamed, c.renamed);
            EXPECT_EQ(report.counts.bytes, c.bytes);
            const bool collides = std::ranges::any_of(report.conflicts, [&](const Conflict& conflict) {
                return conflict.kind == conflicts::kNameCollision && conflict.path == c.collides;
            });
            EXPECT_EQ(collides, !c.collides.empty());
            EXPECT_EQ(runPass(pair.settings, {}).counts.renamed, 0U);
        }
    }
}

TEST(Folding, WhatLiesBelowARespelledWayDownIsAgreedOnAtItsNewPath)
{
    FoldingPair pair{true};
    const std::string file = "f/x";
    pair.passAfter({put("F/x")});
    pair.settings.jobs[0].inclusions = {file};
    pair.passAfter({{.verb = Verb::Rename, .path = "F", .other = "f"}});
    pair.passAfter({{.verb = Verb::Remove, .path = file}});
    EXPECT_EQ(pair.passAfter({put("f/x")}).counts.created, 1U); // no deletion of what was there before
    for (const std::uint64_t edit : {2U, 3U}) {
        const PassReport report = pair.passAfter({put("f/x", edit)});
        EXPECT_EQ(report.counts.updated, 1U);
        EXPECT_TRUE(report.conflicts.empty());
    }
}

} // namespace
} // namespace braid::sim
