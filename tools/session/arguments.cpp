#include "arguments.h"

#include <array>
#include <charconv>
#include <string_view>

namespace roamer::session
{

namespace
{

struct CommandName {
    std::string_view name;
    Command command;
};

constexpr std::array kCommands = std::to_array<CommandName>({
    {"login", Command::Login},
    {"logout", Command::Logout},
    {"changed", Command::Changed},
});

struct Option {
    std::string_view name;
    bool hasValue;
    bool ofChecks; ///< Of login and logout.
    bool ofChanged;
};

constexpr std::array kOptions = std::to_array<Option>({
    {"--first-time", false, true, false},
    {"--timeout", true, true, false},
    {"--user", true, true, true},
    {"--home", true, false, true},
});

constexpr int kLongestTimeoutSeconds = 7 * 24 * 3600;

std::optional<Command> findCommand(std::string_view name)
{
    for (const auto& known : kCommands) {
        if (known.name == name) return known.command;
    }
    return std::nullopt;
}

const Option* findOption(std::string_view name, Command command)
{
    for (const auto& option : kOptions) {
        const bool fits = command == Command::Changed ? option.ofChanged : option.ofChecks;
        if (option.name == name && fits) return &option;
    }
    return nullptr;
}

std::optional<std::chrono::seconds> secondsIn(std::string_view text)
{
    int count = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc{} || stop != text.data() + text.size()) return std::nullopt;
    if (count < 1 || count > kLongestTimeoutSeconds) return std::nullopt;
    return std::chrono::seconds(count);
}

/// False when the value is none for this option.
bool store(Arguments& result, const Option& option, std::string_view value)
{
    if (option.name == "--first-time") {
        result.firstTime = true;
        return true;
    }
    if (option.name == "--timeout") {
        result.timeout = secondsIn(value);
        return result.timeout.has_value();
    }
    if (value.empty()) return false;
    (option.name == "--user" ? result.user : result.home) = std::string(value);
    return true;
}

} // namespace

std::variant<Arguments, std::string> parseArguments(std::span<const char* const> arguments)
{
    if (arguments.empty()) return "what is to be done? login, logout or changed";
    const auto command = findCommand(arguments[0]);
    if (!command) return std::string("there is no command \"") + arguments[0] + "\"";
    Arguments result;
    result.command = *command;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string name = arguments[i];
        const Option* option = findOption(name, *command);
        if (option == nullptr) return std::string(arguments[0]).append(" has no option \"").append(name) + "\"";
        const bool valueIsMissing = option->hasValue && i + 1 == arguments.size();
        if (valueIsMissing) return name + " needs a value";
        const std::string value = option->hasValue ? arguments[++i] : "";
        if (!store(result, *option, value)) return std::string(name).append(" cannot be \"").append(value) + "\"";
    }
    return result;
}

} // namespace roamer::session
