#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sim_system.h"

namespace braid::sim
{

/// One thing that somebody does, or a pass. Steps that do not apply do nothing, so that any of them can be left out.
struct Step {
    enum class Verb {
        Write,
        Replace,
        EditQuietly,
        SetMode,
        SetTime,
        SetAttribute,
        Remove,
        Rename,
        Respell,
        AddName,
        MakeFolder,
        MakeLink,
        Wait,
        TurnClockBack,
        Resolve,
        Pass,
        DryRun,
        PassOfThird,
        PassWithEmptyShare,
        BackUpNetwork,
        RestoreNetwork,
        LoseArchive,
        DamageArchive,
    };
    Verb verb = Verb::Pass;
    int home{}; ///< 0 local, 1 network, 2 the local home of a third computer.
    std::string path{};
    std::string other{};    ///< The new path of Rename, the further one of AddName.
    std::uint64_t number{}; ///< Content, mode, time; what jobs a pass has.
    Mishap::Kind mishap{};
    long call{};
    int code{};
};

struct History {
    std::uint64_t seed = 0;
    bool isReal = false; ///< On real folders, where no power fails and no clock is set.
    bool foldsNames() const { return local.foldsNames() || network.foldsNames(); }
    DiskTraits local;
    DiskTraits network;
    std::vector<Step> steps;
};

/// Contents with numbers from here on are those of large files, which differ from each other in few places.
inline constexpr std::uint64_t kLargeContents = 1'000'000;

History makeHistory(std::uint64_t seed, bool isReal);

/// For a person, a step a line.
std::string words(const History& history);

/// What went wrong, or nothing. `struck` gets the call that the last mishap hit, "" where the pass ended before it.
std::optional<std::string> failureOf(const History& history, std::string* struck = nullptr);

/// The same failure with as few steps as it takes.
History shrunk(History history);

/// The failure with the shortest history that shows it, for a person.
std::string report(const History& history, const std::string& failure);

/// `name` from the environment, to replay one seed or to run for longer.
std::uint64_t setting(const char* name, std::uint64_t otherwise);

/// "" or everything to know of the first failure among the histories with these seeds.
std::string firstFailure(std::uint64_t from, std::uint64_t count, bool isReal);

} // namespace braid::sim
