#pragma once

#include <memory>

#include "flows.h"
#include "services.h"
#include "ui/shared_state.h"

namespace roamer
{

/// The flows of the real agent with all components below them, on the given services and around the server object's
/// state. Borrows the state and what the services refer to.
std::unique_ptr<Flows> makeAgentFlows(const Services& services, SharedState& state);

} // namespace roamer
