#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "flows.h"
#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/object_messaging.h"
#include "platform/run_loop.h"
#include "services.h"
#include "ui/shared_state.h"

namespace roamer
{

/// The name that the command server is registered under.
inline constexpr const char* kPavoServerName = "com.kestrel.roamer";

/// Builds the flows around the state that the server object owns. Null: they cannot be built.
using FlowsFactory = std::function<std::unique_ptr<Flows>(SharedState&)>;

/// The one server object of the process. It answers the five messages, owns what the flows share, and is the
/// application's delegate. Main thread only.
///
/// Each message is a boundary: a platform::Failure that comes out of its flow is logged and becomes a status; the
/// process then keeps serving. Anything else passes through.
///
/// Commands arrive inside the waits of flows. An end that is asked for there lets the flows come back first: their
/// waits are over, they clean up, their callers get their answers, then the process ends.
class Pavod_VEX final : public platform::Pavo_Server, public platform::ApplicationDelegate
{
public:
    /// The object with its localized texts loaded, or null when its flows cannot be built. A missing bundle is reported
    /// and leaves all texts empty. Borrows the services.
    static std::shared_ptr<Pavod_VEX> init(const ServerServices& services, const FlowsFactory& makeFlows);

    Pavod_VEX(const Pavod_VEX&) = delete;
    Pavod_VEX& operator=(const Pavod_VEX&) = delete;
    ~Pavod_VEX() override;

    /// Publishes the object under kPavoServerName. False when it is published already, when there is no message bus
    /// and when another process holds the name; the log says which of the latter two.
    bool createConnection();

    platform::ServerConnection* connection() const { return mConnection.get(); }
    /// The former connection is invalidated before the new one, which may be null, takes its place.
    void setConnection(std::unique_ptr<platform::ServerConnection> connection);

    platform::Bundle* bundle() const { return mBundle.get(); }
    void setBundle(std::unique_ptr<platform::Bundle> bundle) { mBundle = std::move(bundle); }

    SharedState& sharedState() { return mShared; }
    platform::Application& application() { return mServices.application; }

    /// Whether the process may end at once. Else it ends when the last flow has come back, and their waits are over.
    bool prepareToEnd();

    void pavo_quit() override;
    void pavo_refreshPreferences() override;
    void pavo_syncNow() override;
    std::int32_t pavo_doLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted) override;
    std::int32_t pavo_doLoginChecks(bool firstTimeSync, bool* prefSyncCompleted) override;

    bool applicationShouldTerminate() override;
    void applicationWillTerminate() override;

private:
    /// A flow that runs.
    class Running;

    explicit Pavod_VEX(const ServerServices& services);
    void loadLocalizedStrings();
    bool shallEndNow() const { return mEndIsAskedFor && mRunningFlows == 0; }
    std::int32_t answerCheck(const char* message, std::int32_t (Flows::*check)(bool, bool*), bool firstTimeSync,
                             bool* prefSyncCompleted);

    ServerServices mServices;
    std::unique_ptr<platform::Bundle> mBundle;
    SharedState mShared;
    std::unique_ptr<Flows> mFlows;
    int mRunningFlows = 0;
    bool mEndIsAskedFor = false;
    platform::Timer mEnd;
    std::unique_ptr<platform::ServerConnection> mConnection; ///< Goes first: no message reaches a half-gone object.
};

} // namespace roamer
