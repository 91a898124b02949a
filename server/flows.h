#pragma once

#include <cstdint>

namespace roamer
{

/// What the five messages start: the flows behind the server object. Each runs on the main thread, may run the main run
/// loop and may raise platform::Failure.
class Flows
{
public:
    virtual ~Flows() = default;

    /// True when the process may end after the command.
    virtual bool syncNow() = 0;

    /// A status; 0 for success.
    virtual std::int32_t refreshPreferences() = 0;

    /// A status; `prefSyncCompleted` may be null.
    virtual std::int32_t doPavoLoginChecks(bool firstTimeSync, bool* prefSyncCompleted) = 0;
    virtual std::int32_t doPavoLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted) = 0;
};

} // namespace roamer
