#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "braid/engine.h"

namespace braid
{

/// What is known of a local home between passes.
struct HomeStatus {
    struct Partner {
        std::string id;
        std::string home;          ///< Where the last pass reached it; "" where that is not known.
        std::int64_t lastPass = 0; ///< Seconds since 1970.
        std::uint64_t items = 0;   ///< That both sides agreed on.
    };

    std::optional<std::string> id;  ///< Nothing: no pass ever ran here.
    std::optional<Partner> partner; ///< The network home that it synced with last.
    OpenMatters matters;            ///< With that partner.
    std::uint64_t trashedVersions = 0;
    std::uint64_t trashBytes = 0;
    std::optional<EngineLock::Holder> engine; ///< Who runs a pass at this moment.
};

/// Looks at the home and its archive, and at every version in the trash. A folder that cannot be read looks like one
/// that never synced.
HomeStatus statusOf(const std::filesystem::path& localHome);

} // namespace braid
