#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <variant>

namespace roamer::session
{

enum class Command { Login, Logout, Changed };

struct Arguments {
    Command command = Command::Login;
    bool firstTime = false;
    std::optional<std::chrono::seconds> timeout; ///< Null: wait as long as it takes.
    std::optional<std::string> user;             ///< Null: whoever runs the program.
    std::optional<std::string> home;             ///< Of `Changed`; null: the user's home folder.
};

inline constexpr const char* kUsage =
    "usage: roamer-session login   [--first-time] [--timeout SECONDS] [--user NAME]\n"
    "       roamer-session logout  [--first-time] [--timeout SECONDS] [--user NAME]\n"
    "       roamer-session changed [--home FOLDER] [--user NAME]\n"
    "\n"
    "login   syncs at a login; the password comes on standard input, and nothing else does\n"
    "logout  syncs at a logout\n"
    "changed notes in a home on the server that it was changed by a computer without a copy of it\n"
    "\n"
    "Exit status: 0 when the person may go on, 1 when not or when it took longer than the timeout,\n"
    "2 for wrong arguments.\n";

/// What is asked for, or in words what is wrong with it. `arguments` is without the program's name.
std::variant<Arguments, std::string> parseArguments(std::span<const char* const> arguments);

} // namespace roamer::session
