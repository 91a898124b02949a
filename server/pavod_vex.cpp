#include "pavod_vex.h"

#include <string>

#include "pavo_server.h"
#include "platform/failure.h"
#include "util/debug_log.h"
#include "util/report.h"

namespace roamer
{

namespace
{

/// The boundary of a message: runs its body and turns a failure into a log line. False after a failure.
template <typename Body>
bool guarded(const char* message, const Body& body)
{
    try {
        body();
        return true;
    } catch (const platform::Failure& failure) {
        DebugLog(1, "%s caught exception name=\"%s\", reason=\"%s\"", message, failure.name().c_str(),
                 failure.reason().c_str());
        return false;
    }
}

} // namespace

std::shared_ptr<Pavod_VEX> Pavod_VEX::init(const ServerServices& services, const FlowsFactory& makeFlows)
{
    std::shared_ptr<Pavod_VEX> server(new Pavod_VEX(services));
    server->mFlows = makeFlows(server->mShared);
    if (server->mFlows == nullptr) return nullptr;
    server->loadLocalizedStrings();
    return server;
}

Pavod_VEX::Pavod_VEX(const ServerServices& services) : mServices(services)
{
    DebugLog(2, "Pavo.init: mServerBusyState = kPavoNotBusy;");
}

Pavod_VEX::~Pavod_VEX()
{
    DebugLog(2, "Pavo Call- dealloc");
    setConnection(nullptr);
}

void Pavod_VEX::loadLocalizedStrings()
{
    auto found = mServices.bundles.bundleWithPath(platform::kCustodiaBundlePath);
    if (found == nullptr) {
        report("Roamer bundle not found");
        return;
    }
    setBundle(std::move(found));
    const auto preferred = mBundle->preferredLocalizations(mBundle->localizations());
    if (preferred.empty()) return;
    const auto path = mBundle->pathForResource("localizable", "strings", preferred.front());
    const auto texts = path ? mBundle->dictionaryWithContentsOfFile(*path) : std::nullopt;
    if (!texts) return;
    for (const auto& [key, value] : *texts) {
        if (const auto* text = value.as<std::string>()) mShared.mLocalizedStringsDict[key] = *text;
    }
}

bool Pavod_VEX::createConnection()
{
    if (mConnection != nullptr) return false;
    auto connection = mServices.messaging.defaultConnection();
    if (connection == nullptr) {
        DebugLog(1, "Pavo- Unable to get the default connection");
        return false;
    }
    connection->setRootObject(*this);
    if (!connection->registerName(kPavoServerName)) {
        DebugLog(1, "Pavo- Unable to register server");
        return false;
    }
    setConnection(std::move(connection));
    return true;
}

void Pavod_VEX::setConnection(std::unique_ptr<platform::ServerConnection> connection)
{
    mConnection.reset();
    mConnection = std::move(connection);
}

class Pavod_VEX::Running
{
public:
    explicit Running(Pavod_VEX& server) : mServer(server) { ++mServer.mRunningFlows; }
    ~Running() { --mServer.mRunningFlows; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

private:
    Pavod_VEX& mServer;
};

bool Pavod_VEX::prepareToEnd()
{
    if (mRunningFlows == 0) return true;
    DebugLog(1, "Pavo.prepareToEnd: waiting for %d running commands to clean up", mRunningFlows);
    mEndIsAskedFor = true;
    mServices.runLoop.endWaits();
    return false;
}

void Pavod_VEX::pavo_quit()
{
    DebugLog(2, "Pavo Call- pavo_quit entering");
    guarded("pavo_quit", [] { Pavo_StopPavo(); });
}

void Pavod_VEX::pavo_refreshPreferences()
{
    DebugLog(2, "Pavo Call- refreshPreferences entering");
    const bool ended = guarded("pavo_refreshPreferences", [this] {
        const Running running(*this);
        mFlows->refreshPreferences();
    });
    if (ended || shallEndNow()) Pavo_StopPavo();
}

void Pavod_VEX::pavo_syncNow()
{
    DebugLog(2, "Pavo Call- pavo_syncNow entering");
    guarded("pavo_syncNow", [this] {
        const Running running(*this);
        // The process may end now, which is no reason to stop other flows: the last of them ends it.
        if (mFlows->syncNow()) mEndIsAskedFor = true;
    });
    if (shallEndNow()) Pavo_StopPavo();
}

std::int32_t Pavod_VEX::pavo_doLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted)
{
    return answerCheck("pavo_doLogoutChecks", &Flows::doPavoLogoutChecks, firstTimeSync, prefSyncCompleted);
}

std::int32_t Pavod_VEX::pavo_doLoginChecks(bool firstTimeSync, bool* prefSyncCompleted)
{
    return answerCheck("pavo_doLoginChecks", &Flows::doPavoLoginChecks, firstTimeSync, prefSyncCompleted);
}

std::int32_t Pavod_VEX::answerCheck(const char* message, std::int32_t (Flows::*check)(bool, bool*), bool firstTimeSync,
                                    bool* prefSyncCompleted)
{
    DebugLog(2, "Pavo Call- %s entering", message);
    std::int32_t status = -1;
    const bool ended = guarded(message, [&] {
        const Running running(*this);
        status = (mFlows.get()->*check)(firstTimeSync, prefSyncCompleted);
    });
    if (!ended && prefSyncCompleted != nullptr) *prefSyncCompleted = false;
    // Not before the answer is on its way.
    if (shallEndNow()) mEnd = mServices.runLoop.after({}, [] { Pavo_StopPavo(); });
    return status;
}

bool Pavod_VEX::applicationShouldTerminate()
{
    DebugLog(2, "Pavo.applicationShouldTerminate");
    return true;
}

void Pavod_VEX::applicationWillTerminate()
{
    DebugLog(2, "Pavo.applicationWillTerminate");
}

} // namespace roamer
