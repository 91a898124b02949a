#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/bundle.h"
#include "platform/effective_user.h"
#include "platform/object_messaging.h"
#include "platform/process_table.h"
#include "platform/run_loop.h"
#include "platform/system_settings.h"
#include "platform/user_notification.h"
#include "shared_state.h"

namespace roamer
{

/// Questions and bad news for the person at the screen.
///
/// Each alert takes one of two ways. At login, while the managed-client process runs, that process shows it; otherwise
/// the agent does, and nothing else of it runs until the answer is there. If the managed-client process runs but cannot
/// be reached nothing is shown, and queries answer false or -1. Nothing is shown either once the process is to end:
/// then queries answer as if they had been cancelled.
///
/// Every operation's first argument says whether this is a login. Main thread only.
class Alerts
{
public:
    /// Texts of one alert; see each operation for those that it needs.
    using Texts = platform::VEXD_Server::AlertTexts;

    /// Borrows everything.
    Alerts(const SharedState& state, platform::ObjectMessaging& messaging, platform::ProcessTable& processTable,
           platform::RunLoop& runLoop, platform::UserNotification& userNotification,
           platform::EffectiveUser& effectiveUser, platform::Bundles& bundles,
           platform::SystemSettings& systemSettings);
    ~Alerts();
    Alerts(const Alerts&) = delete;
    Alerts& operator=(const Alerts&) = delete;

    // The dialogs. Each raises platform::Failure(kInvalidArgument), and shows nothing, when a text of its own alert is
    // missing from the localized strings.

    /// Another computer holds the home: true to sync now, false to sync later.
    bool doConfirmSyncStartHomeInUseMsg(bool atLogin);
    void doSyncNetHomePathInvalidMsg(bool atLogin);
    void doNotAMobileAccountMsg(bool atLogin);
    void doUnableToMountHomeForSyncMsg(bool atLogin);
    void doCantSyncChangedNetworkPrefsMessage(bool atLogin);
    /// Offers the account's sync settings, and opens them unless OK was chosen.
    void doNothingToSyncMsg(bool atLogin);
    /// Which home is right? 0 the network's, 1 sync later, 2 the local one, 3 cancelled, -1 nobody could be asked. The
    /// times are texts to show.
    std::int32_t doSyncNetHomeTimeNewerMsg(bool atLogin, const std::string& localTime, const std::string& netTime);

    // The generic alerts. Queries are true for the default button; those with an other button answer 0 default, 1
    // alternate, 2 other, 3 cancelled, -1 nobody could be asked. `cbResult` may be null.
    void alertNotify(bool atLogin, const Texts& texts);
    bool alertQuery(bool atLogin, const Texts& texts);
    std::int32_t alertQueryWithOther(bool atLogin, const Texts& texts);
    bool alertQueryCB(bool atLogin, const Texts& texts, bool cbInitialState, bool* cbResult);
    std::int32_t alertQueryCBWithOther(bool atLogin, const Texts& texts, bool* cbResult);

    // The same, shown by the agent itself. They raise platform::Failure(kInvalidArgument) for a null text, but the
    // other button may always be null, the CB form's message and checkbox may, and all texts of the last one.
    void pavoAlertNotify(const Texts& texts);
    bool pavoAlertQuery(const Texts& texts);
    std::int32_t pavoAlertQueryWithOther(const Texts& texts);
    bool pavoAlertQueryCB(const Texts& texts, bool cbInitialState, bool* cbResult);
    std::int32_t pavoAlertQueryCBWithOther(const Texts& texts, bool* cbResult);

    /// Whether a managed-client process lives that is older than the agent.
    bool isCustodiaRunning();
    /// Whether the managed-client server is there to be sent messages. Waits for it, about ten seconds at most, while
    /// the main run loop runs.
    bool didConnectToCustodiaServer();

private:
    const std::string* text(const char* key) const;
    void notifyWithOK(bool atLogin, const char* titleKey, const char* messageKey);
    bool usesServer(bool atLogin);
    bool canReachServer(const char* operation);
    std::unique_ptr<platform::VEXD_Server> lookUpServer();
    platform::UserNotification::Response showLocally(platform::NotificationRequest request);
    void openSyncSettings();

    /// Made once and kept, also when the server goes away later.
    static std::unique_ptr<platform::VEXD_Server> gVexdServerProxy;

    const SharedState& mState;
    platform::ObjectMessaging& mMessaging;
    platform::ProcessTable& mProcessTable;
    platform::RunLoop& mRunLoop;
    platform::UserNotification& mUserNotification;
    platform::EffectiveUser& mEffectiveUser;
    platform::Bundles& mBundles;
    platform::SystemSettings& mSystemSettings;
};

} // namespace roamer
