// Who serves a home, and who waits. The places of one process exclude each other as those of several do.

#include "braid/agent/agent_place.h"

#include <gtest/gtest.h>

#include "tests/fakes/temp_root.h"

namespace
{

using braid::agent::AgentPlace;
using Attempt = AgentPlace::Attempt;
using Kind = AgentPlace::Kind;

TEST(AgentPlace, ASessionsEngineNeverComesBetweenALoginsAndTheHome)
{
    const fakes::TempRoot root;
    const auto home = root.real("/home");
    std::filesystem::create_directories(home);
    AgentPlace session(home, Kind::Session), other(home, Kind::Session), login(home, Kind::Login);
    EXPECT_EQ(session.tryToTake(), Attempt::Taken);
    EXPECT_EQ(other.tryToTake(), Attempt::Busy);
    EXPECT_FALSE(other.loginIsAtWork());
    EXPECT_EQ(login.tryToTake(), Attempt::Busy);
    EXPECT_TRUE(other.loginIsAtWork());

    session.leave();
    EXPECT_EQ(session.tryToTake(), Attempt::Busy) << "the login was here first";
    EXPECT_EQ(login.tryToTake(), Attempt::Taken);
    EXPECT_EQ(other.tryToTake(), Attempt::Busy);
    login.leave();
    EXPECT_EQ(other.tryToTake(), Attempt::Taken);
}

TEST(AgentPlace, SaysWhyItCannotBeHad)
{
    AgentPlace place("/dev/null", Kind::Login);
    EXPECT_EQ(place.tryToTake(), Attempt::Impossible);
    EXPECT_NE(place.whyImpossible().find("/dev/null/.Braid"), std::string::npos);
}

} // namespace
