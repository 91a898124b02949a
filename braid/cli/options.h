#pragma once

#include <string>
#include <variant>
#include <vector>

#include "braid/engine.h"

namespace braid::cli
{

/// What `braid sync` was asked to do.
struct SyncOptions {
    PassSettings settings;
    bool json = false;
};

/// The exit statuses that scripts rely on.
enum ExitStatus : int {
    kInStep = 0,
    kMattersRemain = 1,
    kUsage = 2,
    kRefusedOrAborted = 3,
};

/// The exclusion rule that an entry "COMPARISON:VALUE" stands for; nothing for one that excludes nothing, or in words
/// why it is no rule.
std::variant<std::optional<MatchRule>, std::string> ruleFrom(const std::string& text);

/// What the command line asks for, or the exit status once everything was said (help, version, a usage error).
std::variant<SyncOptions, ExitStatus> parse(int argc, const char* const* argv);

} // namespace braid::cli
