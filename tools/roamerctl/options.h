#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace roamer::ctl
{

/// The exit statuses that scripts rely on.
enum ExitStatus : int {
    kDone = 0,
    kNeedsAttention = 1, ///< Something waits for a person, or the agent does not run.
    kUsage = 2,
    kRefused = 3, ///< No such account, not allowed, not reachable.
};

/// Whose account; null: the account of whoever runs the command.
using UserName = std::optional<std::string>;

struct StatusOptions {
    UserName user;
    bool reach = false; ///< Mount the network home, to see who has its lock.
    bool json = false;
};

struct MessageOptions {
    enum class Message { SyncNow, Refresh, Quit };
    Message message = Message::SyncNow;
    bool wait = false;
};

struct GetOptions {
    UserName user;
    std::string key; ///< "": every key.
    bool json = false;
};

struct SetOptions {
    UserName user;
    std::string key;
    std::vector<std::string> words; ///< None: the key is removed.
    bool managed = false;           ///< In the administrator's file.
};

struct KeysOptions {
    enum class Form { Plain, Names, Markdown, Man };
    Form form = Form::Plain;
};

struct ExplainOptions {
    UserName user;
    std::string path;
    bool json = false;
};

struct LogOptions {
    bool follow = false;
    int lines = 100;
    std::optional<int> level; ///< Set it instead of showing the log.
};

struct ConflictsOptions {
    UserName user;
    bool json = false;
};

struct AccountOptions {
    UserName user;
    bool groups = false;
    bool json = false;
};

/// Reaches the account's network home as a login does and brings both homes in step.
struct FirstSyncOptions {
    enum class Truth { Both, Local, Network }; ///< Whose item stays where both differ; Both: a person is asked.
    UserName user;
    Truth truth = Truth::Both;
    bool checkOnly = false; ///< Only see whether the network home can be reached and written.
};

struct EnrollOptions {
    std::string user;
    std::string url;
    std::string path;                  ///< Of the home in the share; "": the user's name.
    std::optional<std::string> home;   ///< Null: as the user database has it.
    std::vector<std::string> folders;  ///< The background set; none: as it is.
    std::vector<std::string> settings; ///< The login and logout set; none: as it is.
    FirstSyncOptions::Truth truth = FirstSyncOptions::Truth::Both;
    bool check = true; ///< Reach the network home now, and sync a local home that is not new.
    bool dryRun = false;
};

struct UnenrollOptions {
    std::string user;
    bool dryRun = false;
};

struct FleetOptions {
    enum class Form { Table, Json, Prometheus };
    std::string folder;
    Form form = Form::Table;
};

struct CompletionOptions {
    std::string shell;
};

using Request = std::variant<StatusOptions, MessageOptions, GetOptions, SetOptions, KeysOptions, ExplainOptions,
                             LogOptions, ConflictsOptions, AccountOptions, FirstSyncOptions, EnrollOptions,
                             UnenrollOptions, FleetOptions, CompletionOptions>;

/// What the arguments ask for, or the status to exit with when they ask for help or make no sense (and that was said).
std::variant<Request, ExitStatus> parse(int argc, const char* const* argv);

} // namespace roamer::ctl
