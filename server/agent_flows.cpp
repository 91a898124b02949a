#include "agent_flows.h"

#include "directory/directory_context.h"
#include "flows/login_logout_sync.h"
#include "flows/network_home_mount.h"
#include "flows/refresh_preferences.h"
#include "flows/sync_now.h"
#include "flows/user_account.h"
#include "home/home_locations.h"
#include "home/home_lock.h"
#include "home/home_unmount.h"
#include "home/mirror_agent.h"
#include "home/roamer_preferences.h"
#include "home/sync_times.h"
#include "lists/sync_lists.h"
#include "sync/periodic_sync.h"
#include "sync/sync_options.h"
#include "sync/sync_runner.h"
#include "sync/sync_set.h"
#include "ui/alerts.h"
#include "ui/progress_texts.h"
#include "util/ethernet_address.h"
#include "util/lobby_notify.h"
#include "util/preference_domains.h"
#include "util/vex_power_manager.h"

namespace roamer
{

namespace
{

/// One component per concern, in the order of what builds on what.
class AgentFlows final : public Flows
{
public:
    AgentFlows(const Services& s, SharedState& state)
        : mDirectoryContext(s.directory, s.identity, s.codec), mDomains(s.preferenceStore, s.codec), mPower(s.power),
          mLobby(s.messagePort, s.codec), mEthernetAddress(s.hardware),
          mPreferences(state.mUserRecord, mDomains, s.bundles, s.effectiveUser),
          mHomes(state.mUserRecord, s.fileSystem),
          mSyncTimes(mPreferences, mHomes, mDomains, s.runLoop, s.bundles, s.userFormats),
          mHomeLock(s.fileManager, s.effectiveUser), mHomeUnmount(s.disks, s.effectiveUser),
          mMirrorAgent(s.launcher, s.effectiveUser, s.syncManager, s.runLoop),
          mLists(state.mUserRecord, mPreferences, mHomes, s.fileSystem, s.predicates, s.effectiveUser),
          mOptions(mPreferences),
          mTexts(state, mPreferences, mHomes, s.fileSystem, s.windows, s.bundles, s.userFormats),
          mAlerts(state, s.messaging, s.processTable, s.runLoop, s.userNotification, s.effectiveUser, s.bundles,
                  s.systemSettings),
          mSets(s.syncManager, mHomes, s.notifications), mRunner(state, mTexts, s.syncManager, s.runLoop, mPower),
          mPeriodicSync(mSets, mLists, mOptions, mPreferences, s.runLoop),
          mAccount(state.mUserRecord, s.directory, mDirectoryContext),
          mHomeMount(state, mTexts, mRunner, s.mounts, s.threads, mLobby, s.windows, s.runLoop),
          mSyncNow({state, mAccount, mPreferences, mHomes, mSyncTimes, mHomeUnmount, mLists, mOptions, mSets, mRunner,
                    mPeriodicSync, mHomeMount, mTexts, mAlerts, s.windows, s.eventTrace, s.runLoop}),
          mRefreshPreferences(state, mAccount, mSets, mPreferences, mPeriodicSync, s.runLoop),
          mLoginLogout({.state = state,
                        .account = mAccount,
                        .preferences = mPreferences,
                        .homes = mHomes,
                        .homeLock = mHomeLock,
                        .syncTimes = mSyncTimes,
                        .homeUnmount = mHomeUnmount,
                        .mirrorAgent = mMirrorAgent,
                        .ethernetAddress = mEthernetAddress,
                        .lists = mLists,
                        .options = mOptions,
                        .sets = mSets,
                        .runner = mRunner,
                        .periodicSync = mPeriodicSync,
                        .homeMount = mHomeMount,
                        .texts = mTexts,
                        .alerts = mAlerts,
                        .syncManager = s.syncManager,
                        .standardInput = s.standardInput,
                        .windows = s.windows,
                        .runLoop = s.runLoop})
    {
    }

    bool syncNow() override { return mSyncNow.syncNow(); }
    std::int32_t refreshPreferences() override { return mRefreshPreferences.refreshPreferences(); }

    std::int32_t doPavoLoginChecks(bool firstTimeSync, bool* prefSyncCompleted) override
    {
        return mLoginLogout.doPavoLoginChecks(firstTimeSync, prefSyncCompleted);
    }
    std::int32_t doPavoLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted) override
    {
        return mLoginLogout.doPavoLogoutChecks(firstTimeSync, prefSyncCompleted);
    }

private:
    DirectoryContext mDirectoryContext;
    PreferenceDomains mDomains;
    VEXPowerManager mPower;
    LobbyNotify mLobby;
    EthernetAddress mEthernetAddress;
    RoamerPreferences mPreferences;
    HomeLocations mHomes;
    SyncTimes mSyncTimes;
    HomeLock mHomeLock;
    HomeUnmount mHomeUnmount;
    MirrorAgent mMirrorAgent;
    SyncLists mLists;
    SyncOptions mOptions;
    ProgressTexts mTexts;
    Alerts mAlerts;
    SyncSets mSets;
    SyncRunner mRunner;
    PeriodicSync mPeriodicSync;
    UserAccount mAccount;
    NetworkHomeMount mHomeMount;
    SyncNow mSyncNow;
    RefreshPreferences mRefreshPreferences;
    LoginLogoutSync mLoginLogout;
};

} // namespace

std::unique_ptr<Flows> makeAgentFlows(const Services& services, SharedState& state)
{
    return std::make_unique<AgentFlows>(services, state);
}

} // namespace roamer
