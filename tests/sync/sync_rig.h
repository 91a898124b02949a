#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "home/home_locations.h"
#include "home/preference_keys.h"
#include "home/roamer_preferences.h"
#include "lists/sync_lists.h"
#include "platform/bundle.h"
#include "platform/linux/file_system.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "sync/periodic_sync.h"
#include "sync/sync_options.h"
#include "sync/sync_runner.h"
#include "sync/sync_set.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_distributed_notifications.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/fake_power_service.h"
#include "tests/fakes/fake_predicates.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/fake_sync_engine.h"
#include "tests/fakes/fake_user_formats.h"
#include "tests/fakes/fake_window_system.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"
#include "tests/fakes/test_user_record.h"
#include "ui/progress_texts.h"
#include "ui/shared_state.h"
#include "util/preference_domains.h"
#include "util/vex_power_manager.h"

namespace sync_test
{

/// Short words for what the window shows, so that a test can write down what a person sees.
inline std::map<std::string, std::string> windowTexts()
{
    return {
        {"PAVO_PROG_TITLE", "%@ %@"},
        {"PAVO_PROG_TITLE_WITH_PARTS", "%@ (%@/%@)"},
        {"PAVO_PROG_TITLE_JOB_PREFERENCE", "settings"},
        {"PAVO_PROG_TITLE_JOB_BACKGROUND", "home"},
        {"PAVO_PROG_TITLE_JOB_LOGIN", "login"},
        {"PAVO_PROG_TITLE_JOB_All", "all"},
        {"PAVO_PROG_TITLE_SYNCSTATE_STARTING", "starting"},
        {"PAVO_PROG_TITLE_SYNCSTATE_UPDATING", "updating"},
        {"PAVO_PROG_TITLE_SYNCSTATE_CHECKING", "checking"},
        {"PAVO_PROG_TITLE_SYNCSTATE_PROCESSING", "copying"},
        {"PAVO_PROG_TITLE_SYNCSTATE_CLEANING", "cleaning"},
        {"PAVO_PROG_TITLE_SYNCSTATE_CANCELLING", "cancelling"},
        {"PAVO_PROG_TITLE_SYNCSTATE_SKIPPING", "skipping"},
        {"PAVO_PROG_TITLE_SYNCSTATE_FINISHING", "finishing"},
        {"PAVO_PROG_PATH_HOME_PATH", "Home"},
        {"PAVO_PROG_PATH_MESSAGE", "at %@"},
        {"PAVO_PROG_STATUS_MESSAGE_WINDOW_CLOSED", "closed"},
        {"PAVO_PROG_STATUS_MESSAGE_SYNC_COMPLETE", "complete"},
        {"PAVO_PROG_STATUS_MESSAGE_SYNCPPART_COMPLETE", "%@ complete"},
        {"PAVO_PROG_STATUS_MESSAGE_SYNC_CANCELED", "cancelled"},
        {"PAVO_PROG_STATUS_MESSAGE_SYNC_SKIPPED", "skipped"},
        {"PAVO_PROG_STATUS_MESSAGE_SYNCPART_SKIPPED", "%@ skipped"},
        {"PAVO_PROG_STATUS_MESSAGE_PROGRESS", "%@ of %@, %@%%"},
        {"PAVO_PROG_STATUS_MESSAGE_ITEMS", "%@ of %@ items, %@%%"},
        {"PAVO_PROG_STATUS_MESSAGE_BYTES", "%@ B"},
        {"PAVO_PROG_STATUS_MESSAGE_KILOBYTES", "%@ KB"},
        {"PAVO_PROG_STATUS_MESSAGE_MOUNTING_HOME", "mounting"},
        {"PAVO_CANCEL_BUTTON", "Cancel"},
        {"PAVO_SKIP_BUTTON", "Skip"},
    };
}

/// The account "jo" with both homes in a temporary folder, all components up to the sync room around a scripted
/// engine, and a window that is a table. Time is virtual.
struct SyncRig {
    fakes::TempRoot root;
    fakes::RecordingLog log;
    fakes::FakeRunLoop loop;
    const std::string localHome = makeHome("/home/jo");
    const std::string share = makeHome("/srv/homes");
    const std::string networkHome = makeHome("/srv/homes/jo");

    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    std::unique_ptr<platform::FileSystem> fileSystem = platform::makeFileSystem();
    fakes::FakePredicates predicates;
    fakes::FakeBundles bundles;
    fakes::FakeEffectiveUser effectiveUser;
    fakes::FakeUserFormats formats;
    fakes::FakeWindowSystem windows;
    fakes::FakePowerService power;
    fakes::FakeSyncManager engine;
    fakes::FakeDistributedNotifications notifications;

    roamer::PreferenceDomains domains{*store, *codec};
    roamer::SharedState state;
    roamer::RoamerPreferences preferences{state.mUserRecord, domains, bundles, effectiveUser};
    roamer::HomeLocations homes{state.mUserRecord, *fileSystem};
    roamer::SyncLists lists{state.mUserRecord, preferences, homes, *fileSystem, predicates, effectiveUser};
    roamer::SyncOptions options{preferences};
    roamer::ProgressTexts texts{state, preferences, homes, *fileSystem, windows, bundles, formats};
    roamer::VEXPowerManager powerManager{power};
    roamer::SyncSets sets{engine, homes, notifications};
    roamer::SyncRunner runner{state, texts, engine, loop, powerManager};
    roamer::PeriodicSync periodic{sets, lists, options, preferences, loop};

    /// What the window showed, one entry per change, as "title|path|message".
    std::vector<std::string> seen;

    SyncRig()
    {
        state.mLocalizedStringsDict = windowTexts();
        setAccount("file:///srv/homes", "jo");
        // The settings folder makes preference items, the whole home the background set.
        bundles.bundles[platform::kCustodiaBundlePath].dictionaries["PavoDefaults.plist"] = {
            {roamer::kSyncedPrefFolders, roamer::Array{roamer::Dictionary{{"path", "~/Library"}}}},
            {roamer::kSyncedFolders, roamer::Array{roamer::Dictionary{{"path", "~"}}}},
        };
        prefer(roamer::kPeriodicSyncOn, true);
        windows.onStep = [this] { look(); };
    }

    /// No URL and path: an account whose home is nowhere on the network.
    void setAccount(const std::optional<std::string>& url, const std::optional<std::string>& path)
    {
        std::string location;
        if (url) location += "<url>" + *url + "</url>";
        if (path) location += "<path>" + *path + "</path>";
        state.mUserRecord = fakes::makeUserRecord({
            {"axAttrTypeStandard:RecordName", "jo"},
            {"axAttrTypeStandard:UniqueID", "501"},
            {"axAttrTypeStandard:NFSHomeDirectory", localHome},
            {"axAttrTypeStandard:OriginalHomeDirectory", "<home_dir>" + location + "</home_dir>"},
        });
    }
    void prefer(const char* key, const roamer::PropertyList& value) { preferences.setRoamerValue(value, key); }

    fakes::FakeSyncSet& addSet() { return engine.addSet(); }

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
    void pressStop()
    {
        if (windows.owner != nullptr) windows.owner->cancel();
    }
    void pressStopWithOption()
    {
        windows.optionKey = true;
        pressStop();
        windows.optionKey = false;
    }
    void clickCloseBox()
    {
        if (windows.owner != nullptr) windows.owner->windowShouldClose();
    }

    double seconds() const { return loop.elapsedSeconds(); }

private:
    std::string makeHome(const std::string& path)
    {
        std::filesystem::create_directories(root.real(path + "/Library/Preferences"));
        return root.real(path).string();
    }
};

} // namespace sync_test
