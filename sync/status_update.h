#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sync_callback_data.h"
#include "ui/progress_texts.h"
#include "values/property_list.h"

namespace roamer
{

/// A number of the engine's status; 0 when it is missing or no number.
std::int32_t statusInteger(const Dictionary& status, const char* key);
std::uint32_t statusCount(const Dictionary& status, const char* key);
bool statusFlag(const Dictionary& status, const char* key);

/// What one status of the engine changes in the progress window.
struct StatusUpdate {
    double value = kProgressUnchanged; ///< As PavoProgress::updateProgress takes it.
    std::optional<std::string> title;
    std::optional<std::string> path;
    std::string message;
    bool relaxKeepInFront = false; ///< The engine's own application needs the front.
};

/// Words a status for the pass in `data`. Paths and figures are shown only while the pass is active. Raises
/// platform::Failure when a text to fill in is missing.
StatusUpdate statusUpdate(ProgressTexts& texts, const SyncCallbackData& data, const Dictionary& status);

} // namespace roamer
