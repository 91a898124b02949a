#pragma once

#include <optional>
#include <string>
#include <variant>

#include "braid/engine.h"

namespace braid::agent
{

/// Why a pass cannot be run: a PassReport's result and reason.
struct Refusal {
    int code = kPassRefused;
    std::string reason;
};

/// What the set says about the place of the network home.
struct NetworkHome {
    std::optional<std::string> path; ///< Where it lies now, when somebody has mounted it.
    std::optional<std::string> shareURL;
    std::optional<std::string> pathInShare;
};

/// The folder that is the network home, without the system root in front. Looks at it, which may take long when its
/// server does not answer.
std::variant<std::string, Refusal> findNetworkHome(const NetworkHome& home);

} // namespace braid::agent
