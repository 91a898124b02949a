#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "flows/network_home_mount.h"
#include "flows/refresh_preferences.h"
#include "flows/sync_now.h"
#include "home/home_unmount.h"
#include "platform/mount_service.h"
#include "platform/threads.h"
#include "tests/fakes/fake_directory.h"
#include "tests/fakes/fake_disk_service.h"
#include "tests/fakes/fake_event_trace.h"
#include "tests/fakes/fake_message_port.h"
#include "tests/fakes/fake_object_messaging.h"
#include "tests/fakes/fake_process_table.h"
#include "tests/fakes/fake_system_settings.h"
#include "tests/fakes/fake_user_notification.h"
#include "tests/sync/sync_rig.h"
#include "ui/alerts.h"

namespace fakes
{

/// Holds mount requests until a test answers them.
class FakeMountService final : public platform::MountService
{
public:
    /// URL, user, password and flags.
    using Asked = std::tuple<std::string, std::string, std::optional<std::string>, std::uint32_t>;
    std::vector<Asked> asked;
    std::vector<RequestRef> cancelled;
    std::int32_t startError = 0;
    std::int32_t cancelError = 0; ///< Not 0: a cancelled request goes on.

    Started mountURLAsync(const std::string& url, const std::string& userName,
                          const std::optional<std::string>& password, std::uint32_t flags,
                          Completion completion) override
    {
        asked.emplace_back(url, userName, password, flags);
        if (startError != 0) return {.error = startError};
        const RequestRef request = asked.size();
        mPending[request] = std::move(completion);
        return {.error = 0, .request = request};
    }
    std::int32_t cancel(RequestRef request) override
    {
        cancelled.push_back(request);
        if (cancelError == 0) mPending.erase(request);
        return cancelError;
    }

    /// Ends a request (counted from 1) if it is still there. No shares: a null list.
    void answer(RequestRef request, std::int32_t status, const std::optional<std::vector<std::string>>& shares = {})
    {
        auto pending = mPending.extract(request);
        if (pending.empty()) return;
        pending.mapped()(status, shares ? &*shares : nullptr);
    }

private:
    std::map<RequestRef, Completion> mPending;
};

/// Threads that run when the test says so, on the test's own thread.
class FakeThreads final : public platform::Threads
{
public:
    bool detach(std::function<void()> body) override
    {
        mWaiting.push_back(std::move(body));
        return true;
    }
    void runAll()
    {
        for (const auto& body : std::exchange(mWaiting, {}))
            body();
    }

private:
    std::vector<std::function<void()>> mWaiting;
};

} // namespace fakes

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
    roamer::SyncNow syncNow{{.state = state,
                             .account = account,
                             .preferences = preferences,
                             .homes = homes,
                             .syncTimes = syncTimes,
                             .homeUnmount = homeUnmount,
                             .lists = lists,
                             .options = options,
                             .sets = sets,
                             .runner = runner,
                             .periodicSync = periodic,
                             .homeMount = homeMount,
                             .texts = texts,
                             .alerts = alerts,
                             .windows = windows,
                             .eventTrace = eventTrace,
                             .runLoop = loop}};
    roamer::RefreshPreferences refresh{state, account, sets, preferences, periodic, loop};

    FlowRig()
    {
        state.mLocalizedStringsDict["PAVO_OK_BUTTON"] = "OK";
        for (const std::string alert : {"MUST_BE_MHD", "NO_NETHOME", "HOME_CHANGED_NOSYNC", "NOTHING"}) {
            for (const auto* end : {"_TITLE", "_MESSAGE", "__MESSAGE"})
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
