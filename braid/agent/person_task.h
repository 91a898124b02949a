#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "pass_engine.h"
#include "sync_set.h"

namespace braid::agent
{

/// What a person wants done about some of what needs one.
struct PersonTask {
    enum class Verb {
        KeepLocal,
        KeepNetwork,
        KeepBoth,
        Delete,  ///< Most of a home: it is meant.
        Restore, ///< … it is not.
        Retry,
    };
    Verb verb = Verb::Retry;
    std::vector<std::string> paths; ///< Home-relative.
};

/// The verb of a word of the protocol (kKeepLocal …).
std::optional<PersonTask::Verb> verbOf(const std::string& keep);

/// What the engine has to do for it with the set as it is.
std::variant<PassRequest, Refusal> requestFor(const PersonTask& task, const SyncSet& set);

/// What a pass of the set's jobs is.
std::variant<PassRequest, Refusal> requestFor(const SyncSet& set);

} // namespace braid::agent
