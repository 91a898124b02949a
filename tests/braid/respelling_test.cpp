#include <gtest/gtest.h>

#include <cerrno>
#include <string_view>

#include "braid/disk/seam.h"
#include "home_view.h"
#include "sim_system.h"

namespace braid::sim
{
namespace
{

using Verb = Step::Verb;

std::stop_source gStop;
bool gFails = false;

/// Hits the renaming of the folders.
int hit(seam::Operation operation, const char* name)
{
    if (operation != seam::Operation::Rename || std::string_view{"fFgG"}.find(name) == std::string_view::npos) return 0;
    if (gFails) return EACCES;
    gStop.request_stop(); // the other one is not renamed any more
    return 0;
}

TEST(Respelling, WhatAPassDidNotGetToIsStillWanted)
{
    for (const bool fails : {true, false}) {
        SCOPED_TRACE(fails ? "failed twice" : "stopped");
        SimSystem system{1};
        system.add("local", {});
        Disk& network = system.add("network", {.folding = {true, true}});
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
        pass({});
        const int side = fails ? 0 : 1;
        for (const char* path : {"f", "g"})
            person({.verb = Verb::Respell, .home = side, .path = path});
        gFails = fails;
        gStop = {};
        seam::gWatcher = hit;
        pass(gStop.get_token());
        if (fails) pass({});
        seam::gWatcher = nullptr;
        person({.verb = Verb::Remove, .home = side, .path = "G/y"});
        pass({});
        for (const std::string& home : homes) {
            std::string names;
            for (const auto& [path, seen] : viewOf(home))
                names += path + " ";
            EXPECT_EQ(names, "F F/x G ");
        }
    }
}

} // namespace
} // namespace braid::sim
