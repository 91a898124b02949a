#include <gmock/gmock.h>

#include "tests/flows/flow_rig.h"

namespace
{

using namespace roamer;
using namespace std::chrono_literals;
using sync_test::status;
using testing::ElementsAre;

/// A rig whose engine runs a pass of two seconds when it is asked to.
struct NowRig : flows_test::FlowRig {
    fakes::FakeSyncSet& set = addSet();
    const std::shared_ptr<fakes::FakeSyncSet> keep = engine.set; ///< Also when the engine forgets it.

    NowRig()
    {
        set.onStart = [this] {
            set.script(loop, {{0.5, status(SyncSetStateProcessing)}, {2.0, status(SyncSetStateIdle)}});
        };
    }
    static void runInTheBackground(NowRig& rig)
    {
        rig.set.present = status(SyncSetStateChecking);
        rig.set.script(rig.loop, {{3.0, status(SyncSetStateIdle)}});
    }
    static void syncNothing(NowRig& rig)
    {
        rig.prefer(kSyncedFolders, Array{});
        rig.prefer(kSyncPreferencesAtSyncNow, "dontSync");
    }
    static void writeReadOnly(NowRig& rig)
    {
        const Array passes{Dictionary{{platform::kFailureNameKey, platform::kAttemptToWriteToReadOnlyPeer}}};
        rig.set.onStart = [&rig, passes] {
            rig.set.script(rig.loop,
                           {{0.5, status(SyncSetStateFinished, {{platform::kProgressSyncPassStatusKey, passes}})},
                            {2.0, status(SyncSetStateIdle)}});
        };
    }
    static void die(NowRig& rig)
    {
        rig.set.onStart = nullptr;
        rig.loop.at(9, [&rig] { rig.engine.agentRunning = false; });
    }
    void stopAt(double seconds)
    {
        loop.at(seconds, [this] { pressStop(); });
    }
    void logOutAt(double seconds)
    {
        loop.at(seconds, [this] { state.mLoggingOut = true; });
    }

    std::optional<Date> date(const char* key)
    {
        preferences.invalidateRoamerPrefCache();
        return preferences.getRoamerValue<Date>(key, std::nullopt);
    }
    /// What came of a run.
    std::string done()
    {
        std::string text = set.count("startSync") > 0 ? " started" : "";
        if (!disks.unmounted.empty()) text += " unmounted";
        // Background syncs begin after one interval.
        if (set.automatic && set.nextSyncTime && *set.nextSyncTime == loop.date() + 1200s) text += " rearmed";
        if (date(kNetworkHomeNewerTime)) text += " newer";
        if (date(kRoamerTime)) text += " saved";
        return text.substr(text.empty() ? 0 : 1);
    }
};

TEST(SyncNow, SyncsSavesTheTimeAndRearmsAsFarAsItGets)
{
    struct Case {
        const char* name;
        void (*arrange)(NowRig&);
        const char* alert; ///< "" for none.
        const char* done;
    } const cases[] = {
        {"all well", [](NowRig&) {}, "", "started unmounted rearmed saved"},
        {"no record", [](NowRig& rig) { rig.userRecord.reset(); }, "MUST_BE_MHD", ""},
        {"no network home", [](NowRig& rig) { rig.setAccount(""); }, "", ""},
        {"a pass runs in the background", &NowRig::runInTheBackground, "", ""},
        {"nothing to sync", &NowRig::syncNothing, "NOTHING", "rearmed"},
        {"no mount", [](NowRig& rig) { rig.lobbyReplies(5, {}); }, "NO_NETHOME", "rearmed"},
        {"mounted nowhere", [](NowRig& rig) { rig.lobbyReplies(0, {}); }, "NO_NETHOME", "rearmed"},
        {"the home cannot be made", [](NowRig& rig) { rig.mountOnAFile(); }, "NO_NETHOME", "unmounted rearmed"},
        {"a stop during the mount", [](NowRig& rig) { rig.stopAt(3); }, "", "unmounted rearmed"},
        {"a logout during the mount", [](NowRig& rig) { rig.logOutAt(3); }, "", "unmounted"},
        {"a logout before the pass", [](NowRig& rig) { rig.logOutAt(6); }, "", "unmounted"},
        {"a logout during the pass", [](NowRig& rig) { rig.logOutAt(8.5); }, "", "started unmounted"},
        {"newer there", &NowRig::writeReadOnly, "HOME_CHANGED_NOSYNC", "started unmounted rearmed newer"},
        {"the engine refuses", [](NowRig& rig) { rig.set.failing = {"startSync"}; }, "", "started unmounted rearmed"},
        {"the engine dies", &NowRig::die, "", "started unmounted rearmed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        NowRig rig;
        rig.lobbyAnswersAt = 5.0;
        c.arrange(rig);
        EXPECT_TRUE(rig.syncNow.syncNow());
        EXPECT_EQ(rig.done(), c.done);
        EXPECT_EQ(rig.alerted(), c.alert);
        EXPECT_EQ(rig.state.mServerBusyState, kPavoNotBusy);
        EXPECT_EQ(rig.state.mProgress, nullptr);
        EXPECT_THAT(rig.eventTrace.codes, ElementsAre(0x21090010, 0x21090014));
    }
}

TEST(SyncNow, IsTurnedAwayWhileAnotherCommandRuns)
{
    NowRig rig;
    rig.loop.at(3.5, [&] {
        rig.state.mProgress->window()->minimize();
        EXPECT_FALSE(rig.syncNow.syncNow());
        EXPECT_FALSE(rig.windows.shown->minimized) << "it brings the first one to the front";
        EXPECT_EQ(rig.state.mServerBusyState, kPavoSyncNow);
        rig.state.mLoggingOut = true;
        EXPECT_TRUE(rig.syncNow.syncNow());
    });
    EXPECT_TRUE(rig.syncNow.syncNow());
    EXPECT_EQ(rig.set.count("startSync"), 1);
}

TEST(SyncNow, OptionSyncsPreferencesThatWouldWait)
{
    for (const auto& [option, shift, jobs] : {std::tuple(false, true, 1U), {true, false, 2U}, {true, true, 0U}}) {
        SCOPED_TRACE(jobs);
        NowRig rig;
        rig.prefer(kNetworkHomeNewerTime, Date(rig.loop.date()));
        rig.windows.optionKey = option;
        rig.windows.shiftKey = shift;
        rig.loop.at(4.0, [&rig, jobs = jobs] { EXPECT_EQ(rig.set.defaultSyncOptions.size(), jobs); });
        rig.loop.at(5.0, [&rig] { rig.engine.set->report(status(SyncSetStateIdle)); });
        rig.syncNow.syncNow();
        EXPECT_EQ(rig.set.count("forget"), jobs == 0) << "both keys forget the set";
        EXPECT_EQ(rig.date(kNetworkHomeNewerTime).has_value(), jobs < 2);
        EXPECT_EQ(rig.date(kRoamerTime).has_value(), jobs == 2) << "without the preferences no time is recorded";
    }
}

/// Not the platform's exception class: a bug, which must be seen.
struct Bug {
};

TEST(SyncNow, GivesTheShareBackWhateverIsRaised)
{
    NowRig failure;
    NowRig::writeReadOnly(failure);
    failure.loop.at(3.0, [&] { failure.state.mLocalizedStringsDict.erase("PAVO_HOME_CHANGED_NOSYNC_TITLE"); });
    EXPECT_TRUE(failure.syncNow.syncNow());
    EXPECT_THAT(failure.disks.unmounted, ElementsAre(failure.share));
    EXPECT_EQ(failure.state.mServerBusyState, kPavoSyncNow) << "as it was when the exception was raised";
    EXPECT_EQ(failure.eventTrace.codes.back(), 0x21090014U);

    NowRig bug;
    bug.loop.at(3.5, [] { throw Bug(); });
    EXPECT_THROW(bug.syncNow.syncNow(), Bug);
    EXPECT_THAT(bug.disks.unmounted, ElementsAre(bug.share));
    EXPECT_FALSE(bug.set.hasCallback());
}

} // namespace
