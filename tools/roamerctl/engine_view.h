#pragma once

#include <optional>

#include "values/property_list.h"

namespace roamer::ctl
{

/// What the session's engine says of itself; nothing is started for it.
struct EngineView {
    Dictionary set;    ///< As its protocol describes it; empty: it has none.
    Dictionary status; ///< The present status dictionary.
};

/// Null when no engine runs in this session or it does not answer.
std::optional<EngineView> lookAtEngine();

/// Whether an agent serves in this session.
bool agentServes();

} // namespace roamer::ctl
