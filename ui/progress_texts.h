#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "home/home_locations.h"
#include "home/roamer_preferences.h"
#include "platform/bundle.h"
#include "platform/file_system.h"
#include "platform/user_formats.h"
#include "platform/window_system.h"
#include "shared_state.h"
#include "values/property_list.h"
#include "values/window_frame.h"

namespace roamer
{

/// The words of the progress window, and its coming and going.
///
/// Texts come from SharedState::mLocalizedStringsDict. A missing text is null, and so is what would be built on it;
/// filling a missing format raises platform::Failure(kInvalidArgument).
class ProgressTexts
{
public:
    /// States for getProgressTitle besides the engine's own 0 to 6.
    static constexpr std::int32_t kStateStarting = 1;
    static constexpr std::int32_t kStateCancelling = 7;
    static constexpr std::int32_t kStateSkipping = 8;

    /// Borrows everything.
    ProgressTexts(SharedState& state, RoamerPreferences& preferences, HomeLocations& homeLocations,
                  platform::FileSystem& fileSystem, platform::WindowSystem& windowSystem, platform::Bundles& bundles,
                  platform::UserFormats& userFormats);

    /// Null when missing. Valid as long as the state's texts are.
    const std::string* localizedText(const std::string& key) const;
    /// The format of the key with the values in its placeholders; see fillFormat.
    std::string fillText(const std::string& key, const std::vector<std::string>& values) const;

    /// The job word of a sync type; null for an unknown type.
    std::optional<std::string> getProgressSyncType(std::int32_t syncType) const;

    /// The state's word; with more than one part also the job and "part of parts", and then it may raise.
    std::optional<std::string> getProgressTitle(std::int32_t syncType, std::int32_t syncState, std::uint32_t syncPart,
                                                std::uint32_t syncParts) const;

    /// What a person calls the home, or its library folder for a preference sync; ends with "/". Null for an unknown
    /// type.
    std::optional<std::string> getDisplayedBasePath(std::int32_t syncType) const;

    /// What a person calls the item at `path`, which may lie in either home or on a mounted volume. Nothing below a
    /// package is shown. A null or empty path gives the type's base path.
    std::optional<std::string> getDisplayPath(std::int32_t syncType, const std::string* path) const;

    /// A number of bytes in the unit that suits it. May raise.
    std::string getDisplayedSizeString(const PropertyList& number) const;

    /// Puts the window up, or resets the one that is there: starting title, base path, animated bar, cancel armed. With
    /// allowStop the button cancels or (stopCancels false) skips. A closeable window without a position opens where the
    /// last one was. May raise for more than one part.
    void displaySyncProgress(std::int32_t syncType, std::uint32_t syncPart, std::uint32_t syncParts, bool closeable,
                             bool keepInFront, bool allowStop, bool stopCancels, const std::string* initialMessage,
                             WindowFrame progressPosition = {});

    /// Takes it down and returns where it was, all zero when there was none. A window with a close box leaves its place
    /// in the preferences.
    WindowFrame takeDownSyncProgress();

private:
    struct Located; ///< A path split into the folder on disk and the rest below it.

    std::optional<std::string> home() const;
    Located locate(const std::string& path) const;
    WindowFrame savedPosition();

    SharedState& mState;
    RoamerPreferences& mPreferences;
    HomeLocations& mHomeLocations;
    platform::FileSystem& mFileSystem;
    platform::WindowSystem& mWindowSystem;
    platform::Bundles& mBundles;
    platform::UserFormats& mUserFormats;
};

} // namespace roamer
