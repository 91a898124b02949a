#include "progress_texts.h"

#include <algorithm>

#include "frame_text.h"
#include "home/preference_keys.h"
#include "localized_text.h"
#include "progress_words.h"
#include "size_text.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

std::optional<std::string> copied(const std::string* text)
{
    return text != nullptr ? std::optional<std::string>(*text) : std::nullopt;
}

/// Part numbers are shown as signed ones, like every number that goes through a %d.
std::string partText(std::uint32_t part)
{
    return std::to_string(static_cast<std::int32_t>(part));
}

} // namespace

ProgressTexts::ProgressTexts(SharedState& state, RoamerPreferences& preferences, HomeLocations& homeLocations,
                             platform::FileSystem& fileSystem, platform::WindowSystem& windowSystem,
                             platform::Bundles& bundles, platform::UserFormats& userFormats)
    : mState(state), mPreferences(preferences), mHomeLocations(homeLocations), mFileSystem(fileSystem),
      mWindowSystem(windowSystem), mBundles(bundles), mUserFormats(userFormats)
{
}

const std::string* ProgressTexts::localizedText(const std::string& key) const
{
    return roamer::localizedText(mState, key);
}

std::string ProgressTexts::fillText(const std::string& key, const std::vector<std::string>& values) const
{
    return fillFormat(localizedText(key), key, values);
}

std::optional<std::string> ProgressTexts::getProgressSyncType(std::int32_t syncType) const
{
    const auto* words = findSyncTypeWords(syncType);
    return words != nullptr ? copied(localizedText(words->jobKey)) : std::nullopt;
}

std::optional<std::string> ProgressTexts::getProgressTitle(std::int32_t syncType, std::int32_t syncState,
                                                           std::uint32_t syncPart, std::uint32_t syncParts) const
{
    auto stateWord = copied(localizedText(syncStateKey(syncState)));
    if (syncParts <= 1) return stateWord;
    const auto job = getProgressSyncType(syncType);
    const auto title = fillText("PAVO_PROG_TITLE", {stateWord.value_or(""), job.value_or("")});
    return fillText("PAVO_PROG_TITLE_WITH_PARTS",
                    {title, partText(std::min(syncPart, syncParts)), partText(syncParts)});
}

std::string ProgressTexts::getDisplayedSizeString(const PropertyList& number) const
{
    const auto size = sizeText(number, mUserFormats.decimalSeparator());
    auto result = fillText(size.unitKey, {size.number});
    DebugLog(2, "Pavo.getDisplayedSizeString: sizeAsNumber=\"%s\", result=\"%s\"", number.description().c_str(),
             result.c_str());
    return result;
}

void ProgressTexts::displaySyncProgress(std::int32_t syncType, std::uint32_t syncPart, std::uint32_t syncParts,
                                        bool closeable, bool keepInFront, bool allowStop, bool stopCancels,
                                        const std::string* initialMessage, WindowFrame progressPosition)
{
    const auto title = getProgressTitle(syncType, kStateStarting, syncPart, syncParts);
    const auto path = getDisplayedBasePath(syncType);
    const std::string none;
    const std::string& message = initialMessage != nullptr ? *initialMessage : none;
    const std::string* button = &none;
    if (allowStop) button = localizedText(stopCancels ? "PAVO_CANCEL_BUTTON" : "PAVO_SKIP_BUTTON");
    DebugLog(2, "Pavo.displaySyncProgress: title=\"%s\", path=\"%s\", message=\"%s\" button=\"%s\" showStopButton=%d",
             logText(title), logText(path), message.c_str(), logText(button), allowStop);

    if (mState.mProgress == nullptr) {
        mState.mProgress = std::make_unique<PavoProgress>(mWindowSystem, mBundles);
        if (closeable && progressPosition == WindowFrame{}) progressPosition = savedPosition();
        mState.mProgress->createProgress(pointerTo(title), pointerTo(path), &message, button, closeable, keepInFront,
                                         false, progressPosition);
    } else {
        mState.mProgress->updateProgress(kProgressAnimate, pointerTo(title), pointerTo(path), &message, button,
                                         keepInFront);
        mState.mProgress->enableClose(closeable);
        mState.mProgress->refreshProgress();
    }
    DebugLog(2, "Pavo.displaySyncProgress progress supposedly up.");
}

WindowFrame ProgressTexts::savedPosition()
{
    const auto saved = mPreferences.getRoamerValue(kSyncStatusPosition);
    const auto* text = saved ? saved->as<std::string>() : nullptr;
    const auto frame = text != nullptr ? frameFromString(*text) : WindowFrame{};
    DebugLog(2,
             "Pavo.displaySyncProgress: positionString = \"%s\", progressPosition.origin.x = %f, "
             "progressPosition.origin.y = %f, progressPosition.size.width = %f, progressPosition.size.height =%f",
             saved ? saved->description().c_str() : logText(text), static_cast<double>(frame.x),
             static_cast<double>(frame.y), static_cast<double>(frame.width), static_cast<double>(frame.height));
    return frame;
}

WindowFrame ProgressTexts::takeDownSyncProgress()
{
    if (mState.mProgress == nullptr) return {};
    DebugLog(2, "Pavo.takeDownSyncProgress progress coming down.");
    mState.mPavoBlockProgressTimer = true;
    const bool hasCloseBox = mState.mProgress->hasCloseBox();
    const auto frame = mState.mProgress->destroyProgress();
    mState.mProgress.reset();
    mState.mPavoBlockProgressTimer = false;

    const auto x = static_cast<double>(frame.x);
    const auto y = static_cast<double>(frame.y);
    const auto width = static_cast<double>(frame.width);
    const auto height = static_cast<double>(frame.height);
    if (hasCloseBox) {
        const auto text = stringFromFrame(frame);
        mPreferences.setRoamerValue(PropertyList(text), kSyncStatusPosition);
        DebugLog(2,
                 "Pavo.takeDownSyncProgress: positionString = \"%s\", progressPosition.origin.x = %f, "
                 "progressPosition.origin.y = %f, progressPosition.size.width = %f, progressPosition.size.height =%f",
                 text.c_str(), x, y, width, height);
    } else {
        DebugLog(2,
                 "Pavo.takeDownSyncProgress: progressPosition.origin.x = %f, progressPosition.origin.y = %f, "
                 "progressPosition.size.width = %f, progressPosition.size.height =%f",
                 x, y, width, height);
    }
    return frame;
}

} // namespace roamer
