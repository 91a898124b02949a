#pragma once

#include "flows/network_home_mount.h"
#include "flows/refresh_preferences.h"
#include "flows/sync_now.h"
#include "home/home_unmount.h"
#include "tests/fakes/fake_object_messaging.h"
#include "tests/sync/sync_rig.h"
#include "ui/alerts.h"

namespace flows_test
{

/// The whole agent but its server object. The login session manager mounts the share 0.3 seconds after it was asked.
struct FlowRig : sync_test::SyncRig {
    fakes::FakeDirectory directory;
    fakes::FakeDiskService disks;
    fakes::FakeEventTrace eventTrace;
    fakes::FakeMessagePort port;
    fakes::FakeMountService mounts;
    fakes::FakeObjectMessaging messaging;
    fakes::FakeProcessTable processes;
    fakes::FakeSystemSettings settings;
    fakes::FakeThreads threads;
    fakes::FakeUserNotification notification;

    double lobbyAnswersAt = 0.3; ///< Seconds on the virtual clock.
    std::string mountedAt = share;

    roamer::LobbyNotify lobby{port, *codec};
    roamer::UserAccount account{state.mUserRecord, directory, fakes::testDirectoryContext()};
    roamer::SyncTimes syncTimes{preferences, homes, domains, loop, bundles, formats};
    roamer::HomeUnmount homeUnmount{disks, effectiveUser};
    roamer::Alerts alerts{state, messaging, processes, loop, notification, effectiveUser, bundles, settings};
    roamer::NetworkHomeMount homeMount{state, texts, runner, mounts, threads, lobby, windows, loop};
    roamer::SyncNow syncNow{{state, account, preferences, homes, syncTimes, homeUnmount, lists, options, sets, runner,
                             periodic, homeMount, texts, alerts, windows, eventTrace, loop}};
    roamer::RefreshPreferences refresh{state, account, sets, preferences, periodic, loop};

    FlowRig()
    {
        state.mLocalizedStringsDict["PAVO_OK_BUTTON"] = "OK";
        for (const std::string alert : {"MUST_BE_MHD", "NO_NETHOME", "HOME_CHANGED_NOSYNC", "NOTHING", "HOME_IN_USE",
                                        "HOME_NET_HOME_MISSING", "HOME_NET_HOME_TIME_NEWER"}) {
            for (const auto* end : {"_TITLE", "_MESSAGE", "__MESSAGE", "_SYNC_LATER_BUTTON", "_SYNC_NOW_BUTTON"})
                state.mLocalizedStringsDict["PAVO_" + alert + end] = alert;
        }
        disks.mounted.insert(share);
        lobbyReplies(0, share);
    }

    void lobbyReplies(int error, const std::optional<std::string>& mountAt)
    {
        roamer::Dictionary reply{{roamer::kLobbyErrorKey, error}};
        if (mountAt) reply[roamer::kLobbyMountAtKey] = *mountAt;
        const auto text = codec->serialise(reply, platform::PropertyListCodec::Format::Xml);
        port.answer = [data = std::get<std::vector<std::byte>>(text)](const auto&) {
            return platform::MessagePort::Reply{.result = 0, .data = data};
        };
    }

    void mountOnAFile()
    {
        mountedAt = localHome + "/file";
        fakes::TempRoot::writeFile(mountedAt, "no folder");
        disks.mounted.insert(mountedAt);
        lobbyReplies(0, mountedAt);
    }
    std::string alerted() const
    {
        std::string titles;
        for (const auto& request : notification.requests)
            titles += request.header.value_or("untitled");
        return titles;
    }

private:
    platform::Timer mWorker = loop.every(platform::seconds(0.05), [this] {
        if (seconds() >= lobbyAnswersAt) threads.runAll();
    });
};

} // namespace flows_test
