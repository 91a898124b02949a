// How a pass ended, shown in the progress window.

#include "lists/sync_type.h"
#include "sync_pass.h"
#include "sync_runner.h"
#include "sync_state.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

const std::string* failureText(const PropertyList& pass, const char* key)
{
    const auto* entry = pass.as<Dictionary>();
    if (entry == nullptr) return nullptr;
    const auto item = entry->find(key);
    return item != entry->end() ? item->second.as<std::string>() : nullptr;
}

} // namespace

void SyncRunner::showOutcome(Pass& pass)
{
    if (pass.waitWasEnded) abandon(pass);
    if (pass.waitWasEnded || !mState.mProgress) return;
    if (mState.mProgress->wasCancelled()) {
        showCancelled(pass);
    } else if (mState.mProgress->userRequestsClose()) {
        showClosed(pass);
    } else if (wroteReadOnlyPeer(pass)) {
        pass.status = kSyncWroteReadOnlyPeer;
    } else {
        showComplete(pass);
    }
}

/// As if the person had cancelled, but a background pass that was only watched goes on without a watcher.
void SyncRunner::abandon(Pass& pass)
{
    pass.outcome.wasCancelled = true;
    pass.outcome.allCancelled = true;
    if (!pass.set || pass.type == kPeriodicSync) return;
    DebugLog(2, "Pavo.doSync:%s [phdSyncSet abortSync];", pass.name.c_str());
    pass.set->abortSync();
}

void SyncRunner::showClosed(Pass& pass)
{
    updateWindow(kProgressUnchanged, mTexts.localizedText("PAVO_PROG_STATUS_MESSAGE_WINDOW_CLOSED"), nullptr, false);
    waitTillSyncIdle(pass.set, 2.0, 0.0);
}

bool SyncRunner::wroteReadOnlyPeer(const Pass& pass) const
{
    if (!mSyncData.lastSyncPassStatus) return false;
    for (const auto& entry : *mSyncData.lastSyncPassStatus) {
        const auto* name = failureText(entry, platform::kFailureNameKey);
        DebugLog(2, "Pavo.doSync:%s syncPassStatus name=\"%s\", reason=\"%s\"", pass.name.c_str(), logText(name),
                 logText(failureText(entry, platform::kFailureReasonKey)));
        if (name != nullptr && *name == platform::kAttemptToWriteToReadOnlyPeer) return true;
    }
    return false;
}

void SyncRunner::showComplete(Pass& pass)
{
    pass.outcome.syncCompleted = true;
    std::optional<std::string> message;
    if (pass.parts < 2) {
        if (const auto* text = mTexts.localizedText("PAVO_PROG_STATUS_MESSAGE_SYNC_COMPLETE")) message = *text;
    } else {
        message = partMessage("PAVO_PROG_STATUS_MESSAGE_SYNCPPART_COMPLETE", pass);
    }
    const std::optional<std::string> title =
        mTexts.getProgressTitle(pass.type, SyncSetStateCleanup, pass.part, pass.parts);
    updateWindow(1.0, pointerTo(title), pointerTo(message), std::nullopt);
    waitTillSyncIdle(pass.set, 2.0, 30.0);
    if (isCurrent(pass) && mState.mProgress && mState.mProgress->wasCancelled()) {
        pass.outcome.allCancelled = !mState.mProgress->wasOptionCancelled();
    }
}

void SyncRunner::showCancelled(Pass& pass)
{
    pass.outcome.wasCancelled = true;
    pass.outcome.allCancelled = !mState.mProgress->wasOptionCancelled();
    if (pass.set) {
        DebugLog(2, "Pavo.doSync:%s [phdSyncSet abortSync];", pass.name.c_str());
        pass.set->abortSync();
    }
    const auto title = cancelTitle(pass);
    const std::string noMessage;
    updateWindow(kProgressAnimate, pointerTo(title), &noMessage, false);
    waitTillSyncIdle(pass.set, 1.0, 30.0);
    if (!isCurrent(pass)) return;
    const auto message = cancelMessage(pass);
    updateWindow(kProgressStopAnimation, pointerTo(title), pointerTo(message), false);
    waitTillSyncIdle(pass.set, 2.0, 0.0);
}

std::optional<std::string> SyncRunner::cancelTitle(const Pass& pass)
{
    const auto state = pass.stopCancels ? ProgressTexts::kStateCancelling : ProgressTexts::kStateSkipping;
    if (pass.part < pass.parts && pass.outcome.allCancelled) return mTexts.getProgressTitle(kAllSyncParts, state, 1, 1);
    return mTexts.getProgressTitle(pass.type, state, pass.part, pass.parts);
}

std::optional<std::string> SyncRunner::cancelMessage(const Pass& pass)
{
    const bool partOnly = pass.part < pass.parts && !pass.outcome.allCancelled;
    if (!pass.stopCancels && partOnly) return partMessage("PAVO_PROG_STATUS_MESSAGE_SYNCPART_SKIPPED", pass);
    const auto* text = mTexts.localizedText(pass.stopCancels ? "PAVO_PROG_STATUS_MESSAGE_SYNC_CANCELED"
                                                             : "PAVO_PROG_STATUS_MESSAGE_SYNC_SKIPPED");
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::string SyncRunner::partMessage(const char* key, const Pass& pass)
{
    const std::optional<std::string> kind = mTexts.getProgressSyncType(pass.type);
    return mTexts.fillText(key, {kind.value_or("")});
}

void SyncRunner::updateWindow(double value, const std::string* title, const std::string* message,
                              std::optional<bool> relaxKeepInFront)
{
    if (!mState.mProgress) return;
    const std::string noPath;
    mState.mProgress->updateProgress(value, title, &noPath, message, nullptr, relaxKeepInFront);
}

} // namespace roamer
