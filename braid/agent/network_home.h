#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "braid/engine.h"
#include "shares.h"

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

    bool isKnown() const { return path || shareURL; }
};

/// The network home within reach.
struct ReachedHome {
    std::string path;                   ///< Without the system root in front.
    std::unique_ptr<Shares::Hold> hold; ///< Keeps its share mounted; null where nobody takes it away.
};

/// Finds the place of the network home; without a path it has the share mounted. Does not look whether it is there.
std::variant<ReachedHome, Refusal> findNetworkHome(const NetworkHome& home, Shares& shares);

/// Looks at the folder that is to be the network home, which may take long when its server does not answer.
std::optional<Refusal> whyNoHome(const std::string& path);

} // namespace braid::agent
