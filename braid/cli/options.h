#pragma once

#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "braid/resolve.h"

namespace braid::cli
{

/// The exit statuses that scripts rely on.
enum ExitStatus : int {
    kInStep = 0,
    kMattersRemain = 1,
    kUsage = 2,
    kRefusedOrAborted = 3,
};

struct SyncOptions {
    PassSettings settings;
    bool json = false;
};

struct CheckOptions {
    PassSettings settings; ///< Of a dry run.
    bool json = false;
};

struct ConflictsOptions {
    std::filesystem::path localHome;
    bool json = false;
};

struct StatusOptions {
    std::filesystem::path localHome;
    bool json = false;
};

struct ResolveOptions {
    Resolution resolution;
    bool json = false;
};

struct TrashOptions {
    enum class Verb { List, Restore, Empty };
    Verb verb = Verb::List;
    std::filesystem::path home;
    std::vector<std::string> paths; ///< With all below them; none: everything.
    std::string pass;               ///< Restore: from this one; "": the newest version.
    int days = 0;                   ///< Empty: only what is older.
    bool json = false;
};

struct ForgetOptions {
    std::filesystem::path localHome;
    bool json = false;
};

/// What a person asked for, one sub-command each.
using Request = std::variant<SyncOptions, CheckOptions, ConflictsOptions, StatusOptions, ResolveOptions, TrashOptions,
                             ForgetOptions>;

/// The exclusion rule that an entry "COMPARISON:VALUE" stands for; nothing for one that excludes nothing, or in words
/// why it is no rule.
std::variant<std::optional<MatchRule>, std::string> ruleFrom(const std::string& text);

/// What the command line asks for, or the exit status once everything was said (help, version, a usage error).
std::variant<Request, ExitStatus> parse(int argc, const char* const* argv);

} // namespace braid::cli
