#pragma once

#include "platform/application.h"
#include "server/pavo_server.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_object_messaging.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/recording_log.h"

namespace fakes
{

/// An application that ends nothing: terminate asks and tells the delegate, then raises ProcessEnded where a real
/// process would be gone.
class FakeApplication final : public platform::Application
{
public:
    struct ProcessEnded {
    };

    bool terminateReturns = false;     ///< As if the delegate had refused.
    std::function<void()> whileItRuns; ///< What happens inside `run`.
    platform::ApplicationDelegate* delegate = nullptr;
    int runs = 0;
    int stops = 0;

    void setDelegate(platform::ApplicationDelegate* newDelegate) override { delegate = newDelegate; }
    void run() override
    {
        ++runs;
        if (whileItRuns) whileItRuns();
    }
    void stop() override { ++stops; }
    void terminate() override
    {
        if (delegate != nullptr && delegate->applicationShouldTerminate()) delegate->applicationWillTerminate();
        if (!terminateReturns) throw ProcessEnded{};
    }
};

} // namespace fakes

/// What flows did, and how they are to end.
struct FlowScript {
    std::vector<std::string> started;
    bool syncNowEndsProcess = false;
    std::int32_t status = 0;
    bool firstTimeSync = false; ///< As a check was called.
    std::function<void()> whileRunning;

    std::int32_t run(const char* name)
    {
        started.emplace_back(name);
        if (whileRunning) whileRunning();
        return status;
    }
};

struct FakeFlows final : roamer::Flows {
    explicit FakeFlows(FlowScript& flows) : script(flows) {}
    bool syncNow() override
    {
        script.run("syncNow");
        return script.syncNowEndsProcess;
    }
    std::int32_t refreshPreferences() override { return script.run("refreshPreferences"); }
    std::int32_t doPavoLoginChecks(bool isFirst, bool* done) override { return check("login", isFirst, done); }
    std::int32_t doPavoLogoutChecks(bool isFirst, bool* done) override { return check("logout", isFirst, done); }
    std::int32_t check(const char* name, bool isFirst, bool* done)
    {
        script.firstTimeSync = isFirst;
        if (done != nullptr) *done = true;
        return script.run(name);
    }
    FlowScript& script;
};

/// Another process's agent.
struct OtherAgent final : platform::Pavo_Server {
    std::vector<std::string> received;
    bool isGone = false;

    void pavo_quit() override {}
    void pavo_refreshPreferences() override { receive("refreshPreferences"); }
    void pavo_syncNow() override { receive("syncNow"); }
    std::int32_t pavo_doLogoutChecks(bool, bool*) override { return -1; }
    std::int32_t pavo_doLoginChecks(bool, bool*) override { return -1; }

    void receive(const char* message)
    {
        if (isGone) throw platform::Failure("MessageNotSent", "it has just ended");
        received.emplace_back(message);
    }
};

/// A process with its server object, on doubles.
struct ServerRig {
    fakes::RecordingLog log;
    fakes::FakeApplication application;
    fakes::FakeBundles bundles;
    fakes::FakeObjectMessaging messaging;
    fakes::FakeRunLoop loop;
    FlowScript flows;
    bool flowsCanBeMade = true;

    ServerRig()
    {
        bundles.bundles[platform::kCustodiaBundlePath].dictionaries["English/localizable.strings"] = {{"PAVO_OK", "OK"},
                                                                                                      {"NUMBER", 1}};
    }
    ~ServerRig() { roamer::gPavoServer.reset(); }

    roamer::ServerServices services() { return {application, bundles, messaging, loop}; }
    roamer::FlowsFactory flowsFactory()
    {
        return [this](roamer::SharedState&) { return flowsCanBeMade ? std::make_unique<FakeFlows>(flows) : nullptr; };
    }
    bool start(bool createConnection = true)
    {
        return roamer::Pavo_StartPavo(roamer::kRunModeStartup, createConnection, services(), flowsFactory());
    }
    /// Whether `act` came to the point where a real process is gone.
    template <typename Act>
    bool endsProcess(const Act& act)
    {
        try {
            act();
            return false;
        } catch (const fakes::FakeApplication::ProcessEnded&) {
            return true;
        }
    }
};
