#include "sync_set.h"

#include "platform/failure.h"
#include "sync_state.h"
#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/report.h"
#include "util/url_text.h"

namespace roamer
{

namespace
{

/// An engine that is asked this often and still has the set will not let go of it.
constexpr int kMostForgets = 20;

} // namespace

SyncSets::SyncSets(platform::SyncManager& manager, HomeLocations& homes,
                   platform::DistributedNotifications& notifications)
    : mManager(manager), mHomes(homes), mNotifications(notifications)
{
}

std::shared_ptr<platform::PhdSyncSet> SyncSets::getSyncSet(bool create)
{
    const auto share = homeShare();
    auto set = mManager.phdSyncSet();
    DebugLog(2, "Pavo.getSyncSet: create=%d, have phdSyncSet=%d", create, set != nullptr);

    bool isNew = false;
    if (!set && create) {
        set = createSet(share);
        isNew = set != nullptr;
    }
    if (set && !configure(*set, create, isNew, share)) return nullptr;
    return set;
}

SyncSets::HomeShare SyncSets::homeShare()
{
    HomeShare share;
    share.url = mHomes.getOriginalUserHomeURL();
    if (share.url) share.path = mHomes.getOriginalUserHomePath();
    return share;
}

std::shared_ptr<platform::PhdSyncSet> SyncSets::createSet(const HomeShare& share)
{
    const auto call = formatText("createPHDSyncSetWithName:\"%s\" remoteXMLSpec:\"%s\" mountSuffixPath:\"%s\"",
                                 kPHDSyncSetName, logText(urlWithoutUserInfo(share.url)), logText(share.path));
    DebugLog(2, "Pavo.getSyncSet: %s", call.c_str());

    std::shared_ptr<platform::PhdSyncSet> set;
    try {
        set = mManager.createPHDSyncSet(kPHDSyncSetName, share.url, share.path);
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.getSyncSet: %s caught exception: name=\"%s\", reason=\"%s\"", call.c_str(),
                 logText(failure.name()), logText(failure.reason()));
        return nullptr;
    }
    if (set) {
        mNotifications.post(kMirrorPairChangedNotification);
    } else {
        report("Pavo.getSyncSet: " + call + " returned no sync set");
    }
    return set;
}

bool SyncSets::configure(platform::PhdSyncSet& set, bool create, bool isNew, const HomeShare& share)
{
    try {
        DebugLog(2, "Pavo.getSyncSet: phdSyncSet.isAutomaticallySyncing = FALSE;");
        set.setIsAutomaticallySyncing(false);
        if (!create) return true;
        if (!isNew) {
            DebugLog(2, "Pavo.getSyncSet: phdSyncSet.remoteHomeXMLSpec = \"%s\";",
                     logText(urlWithoutUserInfo(share.url)));
            set.setRemoteHomeXMLSpec(share.url);
            DebugLog(2, "Pavo.getSyncSet: phdSyncSet.mountSuffixPath = \"%s\";", logText(share.path));
            set.setMountSuffixPath(share.path);
        }
        DebugLog(2, "Pavo.getSyncSet: phdSyncSet.remoteHomePath = nil;");
        set.setRemoteHomePath(std::nullopt);
        return true;
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.getSyncSet caught exception: name=\"%s\", reason=\"%s\"", logText(failure.name()),
                 logText(failure.reason()));
        return false;
    }
}

std::shared_ptr<platform::PhdSyncSet> SyncSets::activePHDSyncSet()
{
    auto set = mManager.phdSyncSet();
    if (!set || set->state() == SyncSetStateIdle) return nullptr;
    return set;
}

void SyncSets::forgetPHDSyncSets()
{
    for (int asked = 0; const auto set = mManager.phdSyncSet(); ++asked) {
        if (asked == kMostForgets) {
            DebugLog(1, "Pavo.forgetPHDSyncSets: the engine still has a phdSyncSet after %d removals", asked);
            return;
        }
        DebugLog(1, "Pavo.forgetPHDSyncSets: removing phdSyncSet");
        try {
            set->forget();
        } catch (const platform::Failure& failure) {
            DebugLog(1, "Pavo.forgetPHDSyncSets caught exception: name=\"%s\", reason=\"%s\"", logText(failure.name()),
                     logText(failure.reason()));
        }
    }
}

} // namespace roamer
