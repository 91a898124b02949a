#pragma once

#include "lists/sync_lists.h"
#include "platform/linux/predicates.h"
#include "sync/periodic_sync.h"
#include "sync/sync_runner.h"
#include "sync/sync_state.h"
#include "tests/fakes/account_rig.h"
#include "tests/fakes/fake_sync_engine.h"
#include "tests/fakes/fake_window_system.h"

namespace sync_test
{

inline roamer::Dictionary status(int state, roamer::Dictionary more = {})
{
    return fakes::FakeSyncSet::status(state, std::move(more));
}

/// Short words for what the window shows, so that a test can write down what a person sees.
inline std::map<std::string, std::string> windowTexts()
{
    std::map<std::string, std::string> texts{
        {"PAVO_CANCEL_BUTTON", "Cancel"},
        {"PAVO_SKIP_BUTTON", "Skip"},
        {"PAVO_PROG_TITLE", "%@ %@"},
        {"PAVO_PROG_TITLE_WITH_PARTS", "%@ (%@/%@)"},
        {"PAVO_PROG_TITLE_JOB_PREFERENCE", "settings"},
        {"PAVO_PROG_PATH_HOME_PATH", "Home"},
        {"PAVO_PROG_PATH_MESSAGE", "at %@"},
        {"PAVO_PROG_STATUS_MESSAGE_PROGRESS", "%@/%@ %@%%"},
        {"PAVO_PROG_STATUS_MESSAGE_ITEMS", "%@/%@ items %@%%"},
        {"PAVO_PROG_STATUS_MESSAGE_BYTES", "%@ B"},
        {"PAVO_PROG_STATUS_MESSAGE_SYNCPPART_COMPLETE", "%@ complete"},
        {"PAVO_PROG_STATUS_MESSAGE_SYNCPART_SKIPPED", "%@ skipped"},
    };
    for (const std::string word : {"STARTING", "UPDATING", "CHECKING", "PROCESSING", "CLEANING", "CANCELLING",
                                   "SKIPPING", "FINISHING", "WINDOW_CLOSED", "SYNC_COMPLETE", "SYNC_CANCELED",
                                   "SYNC_SKIPPED", "MOUNTING_HOME", "BACKGROUND", "LOGIN", "All"}) {
        for (const auto* group : {"TITLE_SYNCSTATE_", "STATUS_MESSAGE_", "TITLE_JOB_"})
            texts["PAVO_PROG_" + (group + word)] = word;
    }
    return texts;
}

struct StateHolder {
    fakes::FakeWindowSystem windows; // outlives the controller in `state`
    roamer::SharedState state;
};

/// All components up to the sync room around a scripted engine, and a window that is a table. Time is virtual.
struct SyncRig : StateHolder, fakes::AccountRig {
    fakes::FakeRunLoop loop;
    std::unique_ptr<platform::Predicates> predicates = platform::makePredicates();
    fakes::FakeUserFormats formats;
    fakes::FakePowerService power;
    fakes::FakeSyncManager engine;
    fakes::FakeDistributedNotifications notifications;

    roamer::SyncLists lists{userRecord, preferences, homes, *fileSystem, *predicates, effectiveUser};
    roamer::SyncOptions options{preferences};
    roamer::ProgressTexts texts{state, preferences, homes, *fileSystem, windows, bundles, formats};
    roamer::VEXPowerManager powerManager{power};
    roamer::SyncSets sets{engine, homes, notifications};
    roamer::SyncRunner runner{state, texts, engine, loop, powerManager};
    roamer::PeriodicSync periodic{sets, lists, options, preferences, loop};

    /// What the window showed, one entry per change, as "title|path|message".
    std::vector<std::string> seen;

    SyncRig() : AccountRig(state.mUserRecord)
    {
        state.mLocalizedStringsDict = windowTexts();
        // The settings folder makes preference items, the whole home the background set.
        setDefaults({{roamer::kSyncedPrefFolders, roamer::Array{roamer::Dictionary{{"path", "~/Library"}}}},
                     {roamer::kSyncedFolders, roamer::Array{roamer::Dictionary{{"path", "~"}}}}});
        prefer(roamer::kPeriodicSyncOn, true);
        windows.onStep = [this] { look(); };
    }

    /// A set that the engine has already.
    fakes::FakeSyncSet& addSet(roamer::Dictionary present = {})
    {
        auto& set = engine.addSet();
        set.present = std::move(present);
        return set;
    }

    /// The window as the flows put it up before a pass.
    void showWindow(int type, unsigned part = 1, unsigned parts = 1, bool stopCancels = false)
    {
        texts.displaySyncProgress(type, part, parts, true, false, true, stopCancels, nullptr);
        look();
    }
    void look()
    {
        const auto& window = *windows.shown;
        auto now = window.top + "|" + window.middle + "|" + window.bottom;
        if (seen.empty() || seen.back() != now) seen.push_back(std::move(now));
    }
    void pressStop(bool option = false)
    {
        windows.optionKey = option;
        if (windows.owner != nullptr) windows.owner->cancel();
        windows.optionKey = false;
    }

    double seconds() const { return loop.elapsedSeconds(); }
};

} // namespace sync_test
