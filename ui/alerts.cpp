// The generic alerts: the way through the managed-client process, and the agent's own.

#include "alerts.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/failure.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

using Request = platform::NotificationRequest;
using Response = platform::UserNotification::Response;

constexpr const char* kCustodiaServerName = "com.kestrel.vexd";
constexpr std::string_view kCustodiaProcessName = "Custodia";
constexpr std::size_t kLongestProcessName = 16; ///< What the kernel keeps of a name.

constexpr int kConnectAttempts = 101;
constexpr double kSecondsBetweenAttempts = 0.1;

constexpr std::int32_t kUnreachable = -1;
constexpr std::uint32_t kButtonMask = 3;
constexpr std::uint32_t kDefaultButton = 0;

std::optional<std::string> optionalText(const std::string* text)
{
    return text != nullptr ? std::optional<std::string>(*text) : std::nullopt;
}

std::string requiredText(const std::string* text, const char* what)
{
    if (text == nullptr) {
        throw platform::Failure(platform::kInvalidArgument, std::string("An alert needs a ") + what + ".");
    }
    return *text;
}

Request notifyRequest(const Alerts::Texts& texts)
{
    Request request;
    request.header = requiredText(texts.title, "title");
    request.message = requiredText(texts.msg, "message");
    request.defaultButton = requiredText(texts.btn, "default button");
    return request;
}

Request queryRequest(const Alerts::Texts& texts)
{
    auto request = notifyRequest(texts);
    request.alternateButton = requiredText(texts.btnAlt, "alternate button");
    return request;
}

std::int32_t button(const Response& response)
{
    return static_cast<std::int32_t>(response.flags & kButtonMask);
}

bool isDefaultButton(const Response& response)
{
    return (response.flags & kButtonMask) == kDefaultButton;
}

void storeCheckBox(const Response& response, const Alerts::Texts& texts, bool* cbResult)
{
    if (cbResult == nullptr) return;
    *cbResult =
        texts.cbStr != nullptr && response.succeeded && (response.flags & platform::kNotificationCheckBoxChecked) != 0;
}

} // namespace

std::unique_ptr<platform::VEXD_Server> Alerts::gVexdServerProxy;

Alerts::Alerts(const SharedState& state, platform::ObjectMessaging& messaging, platform::ProcessTable& processTable,
               platform::RunLoop& runLoop, platform::UserNotification& userNotification,
               platform::EffectiveUser& effectiveUser, platform::Bundles& bundles,
               platform::SystemSettings& systemSettings)
    : mState(state), mMessaging(messaging), mProcessTable(processTable), mRunLoop(runLoop),
      mUserNotification(userNotification), mEffectiveUser(effectiveUser), mBundles(bundles),
      mSystemSettings(systemSettings)
{
}

Alerts::~Alerts()
{
    // The proxy must not outlive the messaging that made it.
    gVexdServerProxy.reset();
}

void Alerts::alertNotify(bool atLogin, const Texts& texts)
{
    if (!usesServer(atLogin)) return pavoAlertNotify(texts);
    if (canReachServer("alertNotify")) gVexdServerProxy->vexAlertNotify(texts);
}

bool Alerts::alertQuery(bool atLogin, const Texts& texts)
{
    if (!usesServer(atLogin)) return pavoAlertQuery(texts);
    return canReachServer("alertQuery") && gVexdServerProxy->vexAlertQuery(texts);
}

std::int32_t Alerts::alertQueryWithOther(bool atLogin, const Texts& texts)
{
    if (!usesServer(atLogin)) return pavoAlertQueryWithOther(texts);
    return canReachServer("alertQueryWithOther") ? gVexdServerProxy->vexAlertQueryWithOther(texts) : kUnreachable;
}

bool Alerts::alertQueryCB(bool atLogin, const Texts& texts, bool cbInitialState, bool* cbResult)
{
    if (!usesServer(atLogin)) return pavoAlertQueryCB(texts, cbInitialState, cbResult);
    return canReachServer("alertQueryCB") && gVexdServerProxy->vexAlertQueryCB(texts, cbInitialState, cbResult);
}

std::int32_t Alerts::alertQueryCBWithOther(bool atLogin, const Texts& texts, bool* cbResult)
{
    if (!usesServer(atLogin)) return pavoAlertQueryCBWithOther(texts, cbResult);
    return canReachServer("alertQueryCBWithOther") ? gVexdServerProxy->vexAlertQueryCBWithOther(texts, cbResult)
                                                   : kUnreachable;
}

void Alerts::pavoAlertNotify(const Texts& texts)
{
    showLocally(notifyRequest(texts));
}

bool Alerts::pavoAlertQuery(const Texts& texts)
{
    return isDefaultButton(showLocally(queryRequest(texts)));
}

std::int32_t Alerts::pavoAlertQueryWithOther(const Texts& texts)
{
    auto request = queryRequest(texts);
    request.otherButton = optionalText(texts.btnOther);
    return button(showLocally(std::move(request)));
}

bool Alerts::pavoAlertQueryCB(const Texts& texts, bool cbInitialState, bool* cbResult)
{
    Request request;
    request.header = requiredText(texts.title, "title");
    request.message = optionalText(texts.msg);
    request.defaultButton = requiredText(texts.btn, "default button");
    request.alternateButton = requiredText(texts.btnAlt, "alternate button");
    request.checkBox = optionalText(texts.cbStr);
    if (cbInitialState) request.flags |= platform::kNotificationCheckBoxChecked;
    const auto response = showLocally(std::move(request));
    storeCheckBox(response, texts, cbResult);
    return isDefaultButton(response);
}

std::int32_t Alerts::pavoAlertQueryCBWithOther(const Texts& texts, bool* cbResult)
{
    Request request;
    request.header = optionalText(texts.title);
    request.message = optionalText(texts.msg);
    request.defaultButton = optionalText(texts.btn);
    request.alternateButton = optionalText(texts.btnAlt);
    request.otherButton = optionalText(texts.btnOther);
    request.checkBox = optionalText(texts.cbStr);
    const auto response = showLocally(std::move(request));
    storeCheckBox(response, texts, cbResult);
    return button(response);
}

Response Alerts::showLocally(Request request)
{
    // A process that is to end asks nobody any more.
    if (mRunLoop.waitsShallEnd()) return {};
    if (const auto bundle = mBundles.bundleWithPath(platform::kCustodiaBundlePath)) {
        request.iconPath = bundle->pathForResource("mobility_64", "tiff");
    }
    // The superuser may also draw on a screen where nobody is logged in.
    std::optional<platform::EffectiveUser::Guard> superuser;
    if (mEffectiveUser.effectiveUid() != 0) superuser.emplace(mEffectiveUser.switchTo(0));
    return mUserNotification.show(request);
}

bool Alerts::usesServer(bool atLogin)
{
    return atLogin && isCustodiaRunning();
}

bool Alerts::isCustodiaRunning()
{
    const auto processes = mProcessTable.processes();
    if (!processes) return false;
    const int ownPid = mProcessTable.ownPid();
    return std::any_of(processes->begin(), processes->end(), [ownPid](const platform::ProcessRecord& process) {
        return std::string_view(process.commandName).substr(0, kLongestProcessName) == kCustodiaProcessName &&
               !process.isZombie && process.pid < ownPid;
    });
}

bool Alerts::canReachServer(const char* operation)
{
    if (!mRunLoop.waitsShallEnd() && didConnectToCustodiaServer()) return true;
    DebugLog(1, "Pavo.%s failed to connect to Custodia server", operation);
    return false;
}

bool Alerts::didConnectToCustodiaServer()
{
    DebugLog(2, "Pavo.didConnectToCustodiaServer");
    if (gVexdServerProxy != nullptr) return true;

    int failures = 0;
    while ((gVexdServerProxy = lookUpServer()) == nullptr) {
        if (failures == 0) DebugLog(1, "Pavo.didConnectToCustodiaServer waiting for Custodia server");
        ++failures;
        mRunLoop.runFor(platform::seconds(kSecondsBetweenAttempts));
        // Another alert may have connected while the loop ran.
        if (gVexdServerProxy != nullptr) break;
        if (failures == kConnectAttempts || mRunLoop.waitsShallEnd()) {
            DebugLog(1,
                     "Pavo.didConnectToCustodiaServer Could not open connection to Custodia process after waiting %f "
                     "secs",
                     failures * kSecondsBetweenAttempts);
            return false;
        }
    }
    if (failures > 0) {
        DebugLog(1, "Pavo.didConnectToCustodiaServer Finally opened connection to Custodia after %d retries (%f secs)",
                 failures, failures * kSecondsBetweenAttempts);
    }
    return true;
}

std::unique_ptr<platform::VEXD_Server> Alerts::lookUpServer()
{
    try {
        return mMessaging.lookUpVexdServer(kCustodiaServerName);
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.didConnectToCustodiaServer caught exception %s: %s", failure.name().c_str(),
                 failure.reason().c_str());
        return nullptr;
    }
}

} // namespace roamer
