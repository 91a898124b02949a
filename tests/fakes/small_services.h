#pragma once

#include <cerrno>
#include <map>
#include <set>

#include "platform/disk_service.h"
#include "platform/distributed_notifications.h"
#include "platform/effective_user.h"
#include "platform/event_trace.h"
#include "platform/hardware_registry.h"
#include "platform/identity_service.h"
#include "platform/message_port.h"
#include "platform/mount_service.h"
#include "platform/power_service.h"
#include "platform/process_table.h"
#include "platform/system_settings.h"
#include "platform/threads.h"
#include "platform/user_formats.h"
#include "platform/user_notification.h"

/// The doubles of services that need no more than a few lines.
namespace fakes
{

struct FakeDiskService final : platform::DiskService {
    bool isPresent = true;
    std::set<std::string> mounted;
    std::vector<std::string> unmounted;    ///< Asked for, in order.
    std::function<void()> whileUnmounting; ///< What the test looks at then.

    std::variant<std::unique_ptr<Session>, Error> openSession() override
    {
        if (!isPresent) return Error{"no disk service"};
        return std::make_unique<FakeSession>(*this);
    }

private:
    struct FakeSession final : Session {
        explicit FakeSession(FakeDiskService& disks) : service(disks) {}
        std::variant<Disk, Error> diskAtMountPoint(const std::string& mountPoint) override
        {
            if (!service.mounted.contains(mountPoint)) return Error{"nothing is mounted there"};
            return Disk{mountPoint};
        }
        void requestForcedUnmount(const Disk& disk) override
        {
            service.unmounted.push_back(disk.mountPoint);
            if (service.whileUnmounting) service.whileUnmounting();
        }
        FakeDiskService& service;
    };
};

struct FakeDistributedNotifications final : platform::DistributedNotifications {
    std::vector<std::string> posted;
    void post(const std::string& name) override { posted.push_back(name); }
};

/// Says who it acts as; nothing really changes.
struct FakeEffectiveUser final : platform::EffectiveUser {
    explicit FakeEffectiveUser(unsigned realUser = 501, unsigned effectiveUser = 501)
        : real(realUser), effective(effectiveUser)
    {
    }
    unsigned effectiveUid() override { return effective; }
    unsigned realUid() override { return real; }
    Guard switchTo(unsigned uid) override
    {
        return Guard([this, before = std::exchange(effective, uid)] { effective = before; });
    }
    unsigned real;
    unsigned effective;
};

struct FakeEventTrace final : platform::EventTrace {
    std::vector<std::uint32_t> codes;
    void trace(std::uint32_t code) override { codes.push_back(code); }
};

/// One address, or the status that stands in the way of it.
struct FakeHardwareRegistry final : platform::HardwareRegistry {
    EthernetAddress answer{0, {0x00, 0x1b, 0x63, 0x0a, 0xff, 0x02}};
    EthernetAddress primaryEthernetAddress() override { return answer; }
};

/// Identities that nobody knows: every question about one fails.
struct FakeIdentityService final : platform::IdentityService {
    const Error unknown{ENOENT, "no such identity"};
    std::variant<platform::Uuid, Error> uuidOfUserName(const std::string&) override { return unknown; }
    std::variant<platform::Uuid, Error> uuidOfUid(std::uint32_t) override { return unknown; }
    std::variant<platform::Uuid, Error> uuidOfGid(std::uint32_t) override { return unknown; }
    std::variant<bool, Error> isMember(const platform::Uuid&, std::uint32_t) override { return unknown; }
    platform::Uuid randomUuid() override { return {}; }
};

/// A port behind which `answer` sits; without one nobody owns the port.
struct FakeMessagePort final : platform::MessagePort {
    struct Request {
        std::string portName;
        std::int32_t messageId = 0;
        std::vector<std::byte> body;
        std::chrono::seconds replyTimeout{};
    };
    std::function<Reply(const Request&)> answer;
    std::vector<Request> requests;

    std::optional<Reply> request(const std::string& portName, std::int32_t messageId,
                                 const std::vector<std::byte>& body, std::chrono::seconds,
                                 std::chrono::seconds replyTimeout) override
    {
        if (!answer) return std::nullopt;
        requests.push_back({portName, messageId, body, replyTimeout});
        return answer(requests.back());
    }
};

/// Holds mount requests until a test answers them.
struct FakeMountService final : platform::MountService {
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
        mPending[asked.size()] = std::move(completion);
        return {.error = 0, .request = asked.size()};
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
        if (!pending.empty()) pending.mapped()(status, shares ? &*shares : nullptr);
    }

private:
    std::map<RequestRef, Completion> mPending;
};

struct FakePowerService final : platform::PowerService {
    Handler handler; ///< Ask it what the machine would ask.
    bool registerForSystemPower(Handler newHandler) override
    {
        handler = std::move(newHandler);
        return true;
    }
    void reportUserActivity() override {}
};

/// A table of processes as the test wrote it; null for one that cannot be read.
struct FakeProcessTable final : platform::ProcessTable {
    std::optional<std::vector<platform::ProcessRecord>> table = std::vector<platform::ProcessRecord>{};
    std::optional<std::vector<platform::ProcessRecord>> processes() override { return table; }
    int ownPid() override { return 1000; }
};

/// Remembers which pane and anchor were asked for.
struct FakeSystemSettings final : platform::SystemSettings {
    std::vector<std::pair<std::string, std::string>> revealed;
    bool revealSettingsAnchor(const std::string& paneId, const std::string& anchor) override
    {
        revealed.emplace_back(paneId, anchor);
        return true;
    }
};

/// Threads that run when the test says so, on the test's own thread.
struct FakeThreads final : platform::Threads {
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

/// Formats as they are set here, with English names.
struct FakeUserFormats final : platform::UserFormats {
    std::string separator = ".";
    std::optional<std::string> time = "%H:%M:%S";

    std::string decimalSeparator() const override { return separator; }
    std::optional<std::string> timeFormat() const override { return time; }
    std::optional<std::string> shortDateFormat() const override { return "%d.%m.%y"; }
    std::optional<std::string> longDateFormat() const override { return "%d %B %Y"; }
    std::string convert(const std::tm& when, const std::string& format) const override
    {
        std::array<char, 256> text{};
        return {text.data(), std::strftime(text.data(), text.size(), format.c_str(), &when)};
    }
};

/// Answers every alert with `response` and remembers what was asked.
struct FakeUserNotification final : platform::UserNotification {
    Response response{.succeeded = true, .flags = 0};
    std::vector<platform::NotificationRequest> requests;
    std::function<void()> onShow; ///< Runs while the alert is up.

    Response show(const platform::NotificationRequest& request) override
    {
        requests.push_back(request);
        if (onShow) onShow();
        return response;
    }
};

} // namespace fakes
