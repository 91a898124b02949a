#include "status_update.h"

#include <algorithm>
#include <limits>

#include "platform/sync_engine.h"
#include "sync_state.h"
#include "util/debug_log.h"
#include "util/format_text.h"

namespace roamer
{

namespace
{

const PropertyList* find(const Dictionary& status, const char* key)
{
    const auto item = status.find(key);
    return item != status.end() ? &item->second : nullptr;
}

const PropertyList* findNumber(const Dictionary& status, const char* key)
{
    const auto* value = find(status, key);
    return value != nullptr && value->isNumber() ? value : nullptr;
}

std::string numberText(const PropertyList* number)
{
    return number != nullptr ? number->description() : "(null)";
}

/// The "done" number is there and the "total" one is not 0: only then does "x of y" tell anything.
bool isTelling(const PropertyList* done, const PropertyList* total)
{
    return done != nullptr && total != nullptr && total->number() != 0.0;
}

std::optional<std::string> pathLine(ProgressTexts& texts, std::int32_t syncType, const Dictionary& status)
{
    const auto* value = find(status, platform::kProgressCurrentItemPathKey);
    const std::optional<std::string> shown =
        texts.getDisplayPath(syncType, value != nullptr ? value->as<std::string>() : nullptr);
    if (!shown || shown->empty()) return std::nullopt;
    return texts.fillText("PAVO_PROG_PATH_MESSAGE", {*shown});
}

std::string figuresMessage(ProgressTexts& texts, const Dictionary& status, double percent)
{
    const auto* items = findNumber(status, platform::kProgressCompletedItemsKey);
    const auto* totalItems = findNumber(status, platform::kProgressTotalItemsKey);
    const auto* bytes = findNumber(status, platform::kProgressCompletedBytesKey);
    const auto* totalBytes = findNumber(status, platform::kProgressTotalBytesKey);
    DebugLog(2, "Pavo.statusCallBack: completedItems=%s, totalItems=%s, completedBytes=%s, totalBytes=%s",
             numberText(items).c_str(), numberText(totalItems).c_str(), numberText(bytes).c_str(),
             numberText(totalBytes).c_str());

    const auto percentText = formatText("%d", static_cast<int>(percent));
    if (isTelling(bytes, totalBytes)) {
        return texts.fillText(
            "PAVO_PROG_STATUS_MESSAGE_PROGRESS",
            {texts.getDisplayedSizeString(*bytes), texts.getDisplayedSizeString(*totalBytes), percentText});
    }
    if (isTelling(items, totalItems)) {
        return texts.fillText("PAVO_PROG_STATUS_MESSAGE_ITEMS",
                              {numberText(items), numberText(totalItems), percentText});
    }
    return "";
}

void addProcessing(StatusUpdate& update, ProgressTexts& texts, std::int32_t syncType, const Dictionary& status)
{
    const auto* number = findNumber(status, platform::kProgressPercentCompleteKey);
    DebugLog(2, "Pavo.statusCallBack: percentComplete=%s", numberText(number).c_str());
    // The engine promises 0 to 100; a wild figure must not reach the window or the conversion to int.
    const double figure = number != nullptr ? number->number().value_or(0.0) : 0.0;
    const double percent = figure > 0.0 ? std::min(figure, 100.0) : 0.0; // not a number counts as 0 too
    if (number != nullptr) update.message = figuresMessage(texts, status, percent);
    update.value = percent / 100.0;
    update.path = pathLine(texts, syncType, status);
}

} // namespace

std::int32_t statusInteger(const Dictionary& status, const char* key)
{
    const auto* value = find(status, key);
    const std::int64_t number = value != nullptr ? value->integerReading().value_or(0) : 0;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, std::numeric_limits<std::int32_t>::min(),
                                                              std::numeric_limits<std::int32_t>::max()));
}

std::uint32_t statusCount(const Dictionary& status, const char* key)
{
    return static_cast<std::uint32_t>(std::max(statusInteger(status, key), 0));
}

bool statusFlag(const Dictionary& status, const char* key)
{
    const auto* value = find(status, key);
    return value != nullptr && value->boolReading().value_or(false);
}

StatusUpdate statusUpdate(ProgressTexts& texts, const SyncCallbackData& data, const Dictionary& status)
{
    const auto state = statusInteger(status, platform::kSyncSetStateKey);
    StatusUpdate update;
    update.title = texts.getProgressTitle(data.syncType, state, data.syncPart, data.syncParts);
    update.path = "";
    update.relaxKeepInFront = statusFlag(status, platform::kSyncSetUIAppRunningKey);
    if (!data.syncIsActive) return update;
    if (state >= SyncSetStateStarting && state <= SyncSetStateChecking) {
        update.path = pathLine(texts, data.syncType, status);
    } else if (state == SyncSetStateProcessing) {
        addProcessing(update, texts, data.syncType, status);
    }
    return update;
}

} // namespace roamer
