#pragma once

#include <memory>
#include <optional>
#include <string>

#include "home/home_locations.h"
#include "home/roamer_preferences.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/fake_file_system.h"
#include "tests/fakes/fake_user_formats.h"
#include "tests/fakes/fake_window_system.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"
#include "tests/fakes/test_user_record.h"
#include "ui/progress_texts.h"
#include "util/preference_domains.h"

namespace ui_test
{

/// Progress texts of the account "jo" whose preferences lie in a temporary folder.
struct TextsRig {
    fakes::TempRoot root;
    fakes::RecordingLog log;
    fakes::FakeWindowSystem windows;
    fakes::FakeBundles bundles;
    fakes::FakeFileSystem fileSystem;
    fakes::FakeUserFormats formats;
    fakes::FakeEffectiveUser effectiveUser;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    roamer::PreferenceDomains domains{*store, *codec};

    const std::string home = root.real("/home/jo").string();
    const std::string originalHome = "/net/homes/jo";
    roamer::SharedState state;
    roamer::RoamerPreferences preferences{state.mUserRecord, domains, bundles, effectiveUser};
    roamer::HomeLocations locations{state.mUserRecord, fileSystem};
    roamer::ProgressTexts texts{state, preferences, locations, fileSystem, windows, bundles, formats};

    TextsRig()
    {
        std::filesystem::create_directories(home + "/Library/Preferences");
        state.mUserRecord = fakes::makeUserRecord({
            {"axAttrTypeStandard:RecordName", "jo"},
            {"axAttrTypeStandard:UniqueID", "501"},
            {"axAttrTypeStandard:NFSHomeDirectory", home},
            {"axAttrTypeStandard:OriginalNFSHomeDirectory", originalHome},
            {"axAttrTypeStandard:OriginalHomeDirectory",
             "<home_dir><url>file:///srv/homes</url><path>users/jo</path></home_dir>"},
        });
        state.mLocalizedStringsDict = {
            {"PAVO_PROG_TITLE", "%@ %@"},
            {"PAVO_PROG_TITLE_WITH_PARTS", "%@, part %@ of %@"},
            {"PAVO_PROG_TITLE_SYNCSTATE_STARTING", "Starting"},
            {"PAVO_PROG_TITLE_JOB_PREFERENCE", "preferences"},
            {"PAVO_PROG_TITLE_JOB_BACKGROUND", "background"},
            {"PAVO_PROG_PATH_HOME_PATH", "Home"},
            {"PAVO_PROG_STATUS_MESSAGE_BYTES", "%@ bytes"},
            {"PAVO_PROG_STATUS_MESSAGE_KILOBYTES", "%@ KB"},
            {"PAVO_PROG_STATUS_MESSAGE_MEGABYTES", "%@ MB"},
            {"PAVO_PROG_STATUS_MESSAGE_GIGABYTES", "%@ GB"},
            {"PAVO_CANCEL_BUTTON", "Cancel"},
            {"PAVO_SKIP_BUTTON", "Skip"},
        };
    }
    auto& shown() { return *windows.shown; }
};

} // namespace ui_test
