#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace platform
{

/// The five messages that the agent accepts from other processes of the session. The first three are one-way: their
/// sender does not wait. The checks keep their caller waiting as long as the flow takes.
class Pavo_Server
{
public:
    virtual ~Pavo_Server() = default;
    virtual void pavo_quit() = 0;
    virtual void pavo_refreshPreferences() = 0;
    virtual void pavo_syncNow() = 0;
    /// `prefSyncCompleted` may be null.
    virtual std::int32_t pavo_doLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted) = 0;
    virtual std::int32_t pavo_doLoginChecks(bool firstTimeSync, bool* prefSyncCompleted) = 0;
};

/// The alert messages of the managed-client server. Texts go in only; null texts are left out. Each call runs the main
/// run loop until the person has answered. Each raises Failure when the server has gone away.
class VEXD_Server
{
public:
    virtual ~VEXD_Server() = default;
    struct AlertTexts {
        const std::string* title = nullptr;
        const std::string* msg = nullptr;
        const std::string* btn = nullptr;
        const std::string* btnAlt = nullptr;
        const std::string* btnOther = nullptr;
        const std::string* cbStr = nullptr;
    };
    virtual void vexAlertNotify(const AlertTexts& texts) = 0;
    virtual bool vexAlertQuery(const AlertTexts& texts) = 0;
    virtual std::int32_t vexAlertQueryWithOther(const AlertTexts& texts) = 0;
    virtual bool vexAlertQueryCB(const AlertTexts& texts, bool cbInitialState, bool* cbResult) = 0;
    virtual std::int32_t vexAlertQueryCBWithOther(const AlertTexts& texts, bool* cbResult) = 0;
};

/// A connection that can publish one object under one name.
class ServerConnection
{
public:
    virtual ~ServerConnection() = default; ///< Invalidates the connection: the name is given up.

    /// Publishes exactly the five messages of `root`; the messaging layer refuses all others. Borrowed.
    virtual void setRootObject(Pavo_Server& root) = 0;

    /// False when another process holds the name; no queueing.
    virtual bool registerName(const std::string& name) = 0;
};

/// Named messaging between the processes of one login session.
class ObjectMessaging
{
public:
    virtual ~ObjectMessaging() = default;

    /// Null when there is no message bus.
    virtual std::unique_ptr<ServerConnection> defaultConnection() = 0;

    /// A proxy of the agent registered under `name`; null when no process holds the name. Starts nothing. May raise
    /// Failure. The proxy's one-way calls have reached the bus when they return.
    virtual std::unique_ptr<Pavo_Server> lookUpPavoServer(const std::string& name) = 0;

    /// The same for the managed-client server.
    virtual std::unique_ptr<VEXD_Server> lookUpVexdServer(const std::string& name) = 0;
};

} // namespace platform
