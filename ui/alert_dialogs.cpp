// The fixed dialogs: which texts each one shows, and what its answer means.

#include "alerts.h"
#include "localized_text.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

constexpr const char* kOKButton = "PAVO_OK_BUTTON";

/// Both the key and, untranslated, the text of the button that leads to the settings.
constexpr const char* kSettingsButton = "Account Mobility Preferences...";
constexpr const char* kSettingsPane = "com.kestrel.preferences.users";
constexpr const char* kSettingsAnchor = "mobilityPref";

} // namespace

const std::string* Alerts::text(const char* key) const
{
    return localizedText(mState, key);
}

void Alerts::notifyWithOK(bool atLogin, const char* titleKey, const char* messageKey)
{
    alertNotify(atLogin, {.title = text(titleKey), .msg = text(messageKey), .btn = text(kOKButton)});
}

bool Alerts::doConfirmSyncStartHomeInUseMsg(bool atLogin)
{
    DebugLog(2, "Pavo.doConfirmSyncStartHomeInUseMsg");
    const Texts texts{.title = text("PAVO_HOME_IN_USE_TITLE"),
                      .msg = text("PAVO_HOME_IN_USE_MESSAGE"),
                      .btn = text("PAVO_HOME_IN_USE_SYNC_LATER_BUTTON"),
                      .btnAlt = text("PAVO_HOME_IN_USE_SYNC_NOW_BUTTON")};
    const bool syncLater = alertQueryCB(atLogin, texts, false, nullptr);
    return !syncLater;
}

void Alerts::doSyncNetHomePathInvalidMsg(bool atLogin)
{
    DebugLog(2, "Pavo.doSyncNetHomePathInvalidMsg");
    notifyWithOK(atLogin, "PAVO_HOME_NET_HOME_MISSING_TITLE", "PAVO_HOME_NET_HOME_MISSING_MESSAGE");
}

void Alerts::doNotAMobileAccountMsg(bool atLogin)
{
    DebugLog(2, "Pavo.doNotAMobileAccountMsg");
    notifyWithOK(atLogin, "PAVO_MUST_BE_MHD_TITLE", "PAVO_MUST_BE_MHD_MESSAGE");
}

void Alerts::doUnableToMountHomeForSyncMsg(bool atLogin)
{
    DebugLog(2, "Pavo.doUnableToMountHomeForSyncMsg");
    notifyWithOK(atLogin, "PAVO_NO_NETHOME_TITLE", "PAVO_NO_NETHOME_MESSAGE");
}

void Alerts::doCantSyncChangedNetworkPrefsMessage(bool atLogin)
{
    DebugLog(2, "Pavo.doCantSyncChangedNetworkPrefsMessage");
    // Two underscores before MESSAGE: the strings tables have always had it so.
    notifyWithOK(atLogin, "PAVO_HOME_CHANGED_NOSYNC_TITLE", "PAVO_HOME_CHANGED_NOSYNC__MESSAGE");
}

void Alerts::doNothingToSyncMsg(bool atLogin)
{
    DebugLog(2, "Pavo.doNothingToSyncMsg");
    const auto menuExtra = mBundles.bundleWithPath(platform::kMenuExtraBundlePath);
    const auto settingsButton = menuExtra ? menuExtra->localizedString(kSettingsButton) : std::string();
    if (settingsButton.empty()) return notifyWithOK(atLogin, "PAVO_NOTHING_TITLE", "PAVO_NOTHING_MESSAGE");

    const bool isDone = alertQuery(atLogin, {.title = text("PAVO_NOTHING_TITLE"),
                                             .msg = text("PAVO_NOTHING_MESSAGE"),
                                             .btn = text(kOKButton),
                                             .btnAlt = &settingsButton});
    // A process that is to end has asked nobody.
    if (!isDone && !mRunLoop.waitsShallEnd()) openSyncSettings();
}

void Alerts::openSyncSettings()
{
    DebugLog(2, "Pavo.doNothingToSyncMsg activating the system settings");
    DebugLog(2, "Pavo.doNothingToSyncMsg taking pane \"%s\"", kSettingsPane);
    DebugLog(2, "Pavo.doNothingToSyncMsg revealing anchor \"%s\"", kSettingsAnchor);
    mSystemSettings.revealSettingsAnchor(kSettingsPane, kSettingsAnchor);
}

std::int32_t Alerts::doSyncNetHomeTimeNewerMsg(bool atLogin, const std::string& localTime, const std::string& netTime)
{
    DebugLog(2, "Pavo.doSyncNetHomeTimeNewerMsg");
    const std::string messageKey = "PAVO_HOME_NET_HOME_TIME_NEWER_MESSAGE";
    const auto message = fillFormat(localizedText(mState, messageKey), messageKey, {netTime, localTime});
    return alertQueryWithOther(atLogin, {.title = text("PAVO_HOME_NET_HOME_TIME_NEWER_TITLE"),
                                         .msg = &message,
                                         .btn = text("PAVO_HOME_CHANGED_SELECT_NETWORK_BUTTON"),
                                         .btnAlt = text("PAVO_HOME_CHANGED_SYNC_LATER_BUTTON"),
                                         .btnOther = text("PAVO_HOME_CHANGED_SELECT_LOCAL_BUTTON")});
}

} // namespace roamer
