#pragma once

#include "flows/login_logout_sync.h"
#include "platform/linux/file_manager.h"
#include "tests/fakes/fake_process_launcher.h"
#include "tests/flows/flow_rig.h"

namespace flows_test
{

/// The password "geheim", once; afterwards the input is empty.
struct FakeStandardInput final : platform::StandardInput {
    std::string text = "geheim";
    platform::Secret readPassword() override { return platform::Secret(std::exchange(text, "")); }
};

/// The login and logout flow on real files, with an engine whose passes take two seconds and a share that is mounted
/// after one. The homes have been synced before.
struct LoginRig : FlowRig {
    static constexpr auto kLastSync = fakes::FakeRunLoop::kStart - std::chrono::hours(1);

    fakes::FakeProcessLauncher launcher;
    fakes::FakeHardwareRegistry hardware;
    FakeStandardInput input;
    std::unique_ptr<platform::FileManager> files = platform::makeFileManager();

    roamer::HomeLock homeLock{*files, effectiveUser};
    roamer::MirrorAgent mirrorAgent{launcher, effectiveUser, engine, loop};
    roamer::EthernetAddress address{hardware};
    roamer::LoginLogoutSync flow{{state,       account, preferences, homes,   homeLock, syncTimes, homeUnmount,
                                  mirrorAgent, address, lists,       options, sets,     runner,    periodic,
                                  homeMount,   texts,   alerts,      engine,  input,    windows,   loop}};
    fakes::FakeSyncSet& set = addSet();
    const std::shared_ptr<fakes::FakeSyncSet> keep = engine.set; ///< Also when the engine forgets it.

    const std::string lockFile = networkHome + "/.vexlc";
    bool wasLocked = false; ///< While the engine was started.
    bool lockStays = false; ///< Another computer's.
    int mountAnswer = 0;
    std::vector<std::uint32_t> answers; ///< The person's to the alerts, in order.
    bool completed = false;

    LoginRig()
    {
        std::filesystem::create_directory(networkHome + "/.Braid");
        prefer(roamer::kRoamerTime, roamer::Date(kLastSync));
        lobbyAnswersAt = 1.0;
        mAnswers = loop.every(platform::seconds(0.1), [this] {
            if (!mounts.asked.empty() && seconds() >= lobbyAnswersAt)
                mounts.answer(mounts.asked.size(), mountAnswer, std::vector{mountedAt});
        });
        set.onStart = [this] {
            wasLocked = std::filesystem::exists(lockFile);
            passOf(2.0);
        };
        notification.onShow = [this] {
            if (answers.empty()) return;
            notification.response.flags = answers.front();
            answers.erase(answers.begin());
        };
        launcher.onLaunch = [this](int) { engine.agentRunning = true; };
        for (const std::string button : {"SELECT_NETWORK", "SYNC_LATER", "SELECT_LOCAL"})
            state.mLocalizedStringsDict["PAVO_HOME_CHANGED_" + button + "_BUTTON"] = button;
    }

    void passOf(double length, roamer::Dictionary more = {})
    {
        set.script(loop, {{0.5, sync_test::status(roamer::SyncSetStateProcessing)},
                          {length, sync_test::status(roamer::SyncSetStateIdle, std::move(more))}});
    }
    std::int32_t login(bool first = false) { return flow.doPavoLoginChecks(first, &completed); }
    std::int32_t logout(bool first = false) { return flow.doPavoLogoutChecks(first, &completed); }

    bool preference(const char* key, bool missing)
    {
        preferences.invalidateRoamerPrefCache();
        return preferences.getRoamerBool(key, missing);
    }
    roamer::Date syncTime() { return preferences.getRoamerValue<roamer::Date>(roamer::kRoamerTime, kLastSync).value(); }

    /// What a run did, in words; and checks that it gave everything back.
    std::string done()
    {
        EXPECT_EQ(std::filesystem::exists(lockFile), lockStays) << "the lock is given back";
        EXPECT_TRUE(launcher.running.empty()) << "the engine is stopped";
        EXPECT_EQ(launcher.launched.size(), launcher.terminated.size());
        EXPECT_FALSE(engine.startsAreHeld());
        EXPECT_EQ(state.mProgress, nullptr);
        EXPECT_FALSE(engine.agentRunning && set.hasCallback());
        std::string text;
        for (const auto& [was, word] : {
                 std::pair(mounts.asked.size() == 1 || !port.requests.empty(), "mount "),
                 {disks.unmounted == std::vector{mountedAt}, "unmount "},
                 {wasLocked, "lock "},
                 {!launcher.launched.empty(), "engine "},
                 {!seen.empty(), "window "},
                 {set.count("startSync") == 1, "pass "},
                 {set.count("startSync") > 1, "passes "},
                 {engine.set && engine.set->automatic && engine.set->nextSyncTime, "periodic "},
                 {syncTime() != kLastSync, "saved "},
                 {preference(roamer::kRoamerCompleted, false), "completed "},
                 {!preference(roamer::kIsNewMobileAccount, true), "known "},
             }) {
            if (was) text += word;
        }
        return text.substr(0, text.size() - (text.empty() ? 0 : 1));
    }

private:
    platform::Timer mAnswers;
};

} // namespace flows_test
