#include <gtest/gtest.h>

#include <cerrno>
#include <string_view>

#include "braid/disk/seam.h"
#include "history_world.h"
#include "home_view.h"
#include "sim_system.h"

namespace braid::sim
{
namespace
{

using Verb = Step::Verb;

enum class Trouble { Fails, Stops, GetsStuck };
std::stop_source gStop;
Trouble gTrouble{};
bool gIsAway = false;

/// Hits the renaming of the folders.
int hit(seam::Operation operation, const char* name)
{
    if (operation != seam::Operation::Rename) return 0;
    gIsAway = gIsAway || std::string_view{name} == "case"; // on its way from one name to the other
    if (std::string_view{"fFgG"}.find(name) == std::string_view::npos) return 0;
    if (gTrouble == Trouble::Fails) return EACCES;
    if (gTrouble == Trouble::GetsStuck) return gIsAway ? EIO : 0;
    gStop.request_stop(); // the other one is not renamed any more
    return 0;
}

TEST(Respelling, WhatAPassDidNotGetToIsStillWanted)
{
    for (const Trouble trouble : {Trouble::Fails, Trouble::Stops, Trouble::GetsStuck}) {
        SCOPED_TRACE(static_cast<int>(trouble));
        SimSystem system{1};
        system.add("local", {});
        Disk& network = system.add("network", {.folding = {true, true}, .respells = trouble != Trouble::GetsStuck});
        const std::string homes[] = {"/sim/local", "/sim/network"};
        const auto person = [&](const Step& step) {
            const SimSystem::Person doing{system};
            carryOut(step, homes[step.home]);
        };
        PassSettings settings;
        settings.localHome = homes[0];
        settings.networkHome = homes[1];
        settings.jobs.resize(1);
        const auto pass = [&](std::stop_token stop) {
            system.advance(10'000'000'000);
            system.start({}, network);
            return runPass(settings, std::move(stop));
        };
        for (const char* path : {"f/x", "g/y"})
            person({.verb = Verb::Write, .path = path, .number = 1});
        person({.verb = Verb::AddName, .path = "f/x", .other = "f/z"});
        settings.jobs[0].exclusions.push_back(std::get<MatchRule>(MatchRule::make(Comparison::PathEquals, "f/z")));
        pass({});
        settings.jobs[0].exclusions.clear();
        const std::uint64_t files[] = {viewOf(homes[0]).at("f/x").stat.inode, viewOf(homes[1]).at("f/x").stat.inode};
        const int side = trouble == Trouble::Stops ? 1 : 0;
        for (const char* path : {"f", "g"})
            person({.verb = Verb::Respell, .home = side, .path = path});
        gTrouble = trouble;
        gIsAway = false;
        gStop = {};
        seam::gWatcher = hit;
        pass(gStop.get_token());
        if (trouble != Trouble::Stops) pass({});
        seam::gWatcher = nullptr;
        person({.verb = Verb::Remove, .home = side, .path = "G/y"});
        pass({});
        for (const int home : {0, 1}) {
            std::string names;
            for (const auto& [path, seen] : viewOf(homes[home]))
                names += path + (seen.stat.inode == files[home] ? "= " : " ");
            EXPECT_EQ(names, "F F/x= F/z= G ") << "nothing is copied for it";
        }
    }
}

TEST(Respelling, ThatDoesNotHappenLeavesWhatCameBackWithoutTrust)
{
    for (const bool isKeptOut : {false, true}) {
        History history;
        history.network.folding = {true, true};
        Scene scene{history};
        scene.settings().allowMassDeletion = true;
        scene.does({.verb = Verb::Write, .path = "f/x", .number = 1});
        scene.pass();
        Job& job = scene.settings().jobs[0];
        job.exclusions.push_back(std::get<MatchRule>(MatchRule::make(Comparison::PathMatches, "[fF]")));
        scene.does({.verb = Verb::Remove, .home = 1, .path = "f/x"}); // while no job had to do with it
        scene.does({.verb = Verb::Respell, .path = "f"});
        scene.pass();
        job.exclusions.clear();
        if (isKeptOut) {
            job.options.resolveConflictsInFavorOf = Peer::Local;
            job.options.readOnlyPeer = Peer::Network;
        }
        gTrouble = Trouble::Fails;
        seam::gWatcher = isKeptOut ? nullptr : hit;
        EXPECT_EQ(scene.pass().errors.empty(), isKeptOut);
        EXPECT_TRUE(scene.view(1).contains("f"));
        seam::gWatcher = nullptr;
        job.options = {};
        scene.pass();
        EXPECT_TRUE(scene.view(0).contains("F/x") && scene.view(1).contains("F/x"));
    }
}

} // namespace
} // namespace braid::sim
