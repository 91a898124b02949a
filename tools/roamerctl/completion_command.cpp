// The completions of the shells, made of the table that the command line is parsed with.

#include <algorithm>
#include <array>
#include <cstdio>

#include "command_line.h"
#include "commands.h"

namespace roamer::ctl
{

namespace
{

enum class Kind { Nothing, Text, Users, Keys, Folders, Files, Words };

struct KindOfName {
    std::string_view name; ///< Of a positional, or of an option with its dashes.
    Kind kind;
};

constexpr std::array kKinds = std::to_array<KindOfName>({
    {"KEY", Kind::Keys},
    {"PATH", Kind::Files},
    {"USER", Kind::Users},
    {"--user", Kind::Users},
    {"FOLDER", Kind::Folders},
    {"--home", Kind::Folders},
    {"--folders", Kind::Folders},
    {"--settings", Kind::Folders},
});

/// What one shell does about each kind of value, by `Kind`.
using Actions = std::array<const char*, 7>;
constexpr Actions kBash = {"", "", "-u", "-W \"$(roamerctl keys --names)\"", "-d", "-f", nullptr};
constexpr Actions kZsh = {"", " ", "_users", "_roamerctl_keys", "_files -/", "_files", nullptr};
constexpr Actions kFish = {
    "", "-x", "-x -a \"(__fish_complete_users)\"", "-x -a \"(roamerctl keys --names)\"", "-r -F", "-r -F", nullptr};

struct Value {
    Kind kind = Kind::Nothing;
    std::string words{}; ///< Of Words, with blanks between.

    std::string action(const Actions& actions, const std::string& before, const std::string& after) const
    {
        return kind == Kind::Words ? before + words + after : actions.at(static_cast<std::size_t>(kind));
    }
};

Value valueOf(const CLI::Option& option, const std::string& name)
{
    if (!option.get_positional() && option.get_items_expected_max() == 0) return {};
    auto type = option.get_type_name();
    if (type.find('|') != std::string::npos) {
        std::ranges::replace(type, '|', ' ');
        return {Kind::Words, type};
    }
    const auto* known = std::ranges::find(kKinds, std::string_view(name), &KindOfName::name);
    return {known != kKinds.end() ? known->kind : Kind::Text};
}

std::vector<std::string> namesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const auto& name : option.get_snames())
        names.push_back("-" + name);
    for (const auto& name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

std::string helpOf(const CLI::Option& option)
{
    auto help = option.get_description();
    help.erase(std::min(help.find(';'), help.size()));
    return help;
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const auto& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

/// Within single quotes, and safe where a shell's own marks stand for more.
std::string quoted(const std::string& text, std::string_view marks)
{
    std::string safe;
    for (const char c : text) {
        if (c == '\'') {
            safe += "'\\''";
        } else {
            if (marks.find(c) != std::string_view::npos) safe += '\\';
            safe += c;
        }
    }
    return safe;
}

template <typename Each>
void forEachOption(const CLI::App& command, const Each& each)
{
    for (const auto* option : command.get_options()) {
        const auto names = option->get_positional() ? std::vector{option->get_name(true)} : namesOf(*option);
        each(*option, names, valueOf(*option, names.back()));
    }
}

void printBash(const CLI::App& app, const std::vector<const CLI::App*>& commands)
{
    std::vector<std::string> top;
    for (const auto* command : commands)
        top.push_back(command->get_name());
    forEachOption(app, [&](const auto&, const auto& names, const auto&) { top.push_back(names.back()); });
    std::printf("# bash completion for roamerctl, as \"roamerctl completion bash\" prints it\n"
                "_roamerctl() {\n"
                "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} found=()\n"
                "    case \"$COMP_CWORD ${COMP_WORDS[1]} $before\" in\n"
                "        1\\ *) found=(-W \"%s\") ;;\n",
                joined(top).c_str());
    for (const auto* command : commands) {
        const auto name = command->get_name();
        std::vector<std::string> all;
        std::string positional;
        forEachOption(*command, [&](const auto& option, const auto& names, const Value& value) {
            const auto action = value.action(kBash, "-W \"", "\"");
            if (option.get_positional()) {
                if (positional.empty()) positional = action;
                return;
            }
            all.insert(all.end(), names.begin(), names.end());
            if (value.kind == Kind::Nothing) return;
            for (const auto& spelling : names)
                std::printf("        *\\ %s\\ %s) found=(%s) ;;\n", name.c_str(), spelling.c_str(), action.c_str());
        });
        std::printf("        *\\ %s\\ *)\n            found=(-W \"%s\")\n", name.c_str(), joined(all).c_str());
        if (!positional.empty()) std::printf("            [[ $word == -* ]] || found=(%s)\n", positional.c_str());
        std::printf("            ;;\n");
    }
    std::printf("    esac\n"
                "    COMPREPLY=()\n"
                "    [ ${#found[@]} -eq 0 ] || mapfile -t COMPREPLY < <(compgen \"${found[@]}\" -- \"$word\")\n"
                "}\n"
                "complete -o filenames -F _roamerctl roamerctl\n");
}

void printZsh(const CLI::App& /*app*/, const std::vector<const CLI::App*>& commands)
{
    std::printf("#compdef roamerctl\n"
                "# As \"roamerctl completion zsh\" prints it.\n"
                "_roamerctl_keys() {\n    compadd -- ${(f)\"$(roamerctl keys --names)\"}\n}\n"
                "_roamerctl() {\n    local -a commands=(\n");
    for (const auto* command : commands)
        std::printf("        '%s:%s'\n", command->get_name().c_str(), quoted(command->get_description(), ":").c_str());
    std::printf("    )\n"
                "    if (( CURRENT == 2 )); then\n        _describe command commands\n        return\n    fi\n"
                "    local command=$words[2]\n    shift words\n    (( CURRENT-- ))\n    case $command in\n");
    for (const auto* command : commands) {
        std::printf("        %s) _arguments", command->get_name().c_str());
        forEachOption(*command, [&](const auto& option, const auto& names, const Value& value) {
            const auto action = value.action(kZsh, "(", ")");
            const char* more = option.get_items_expected_max() > 1 ? "*" : "";
            if (option.get_positional()) {
                std::printf(" '%s:%s:%s'", *more != '\0' ? more : "", names.back().c_str(), action.c_str());
                return;
            }
            for (const auto& spelling : names) {
                std::printf(" '%s%s[%s]%s%s'", more, spelling.c_str(), quoted(helpOf(option), "[]:\\").c_str(),
                            value.kind == Kind::Nothing ? "" : ":value:", action.c_str());
            }
        });
        std::printf(" ;;\n");
    }
    std::printf("    esac\n}\n_roamerctl \"$@\"\n");
}

void printFish(const CLI::App& /*app*/, const std::vector<const CLI::App*>& commands)
{
    std::printf("# fish completion for roamerctl, as \"roamerctl completion fish\" prints it\n"
                "complete -c roamerctl -f\n");
    for (const auto* command : commands) {
        const auto name = command->get_name();
        std::printf("complete -c roamerctl -n __fish_use_subcommand -a %s -d '%s'\n", name.c_str(),
                    quoted(command->get_description(), "\\").c_str());
        forEachOption(*command, [&](const auto& option, const auto& names, const Value& value) {
            std::printf("complete -c roamerctl -n '__fish_seen_subcommand_from %s'", name.c_str());
            for (const auto& spelling : names) {
                if (spelling.starts_with("--")) {
                    std::printf(" -l %s", spelling.c_str() + 2);
                } else if (spelling.starts_with("-")) {
                    std::printf(" -s %s", spelling.c_str() + 1);
                }
            }
            const auto action = value.action(kFish, "-x -a \"", "\"");
            std::printf(" %s", action.c_str());
            if (!option.get_positional()) std::printf(" -d '%s'", quoted(helpOf(option), "\\").c_str());
            std::printf("\n");
        });
    }
}

struct Shell {
    std::string_view name;
    void (*print)(const CLI::App&, const std::vector<const CLI::App*>&);
};

constexpr std::array kShells = std::to_array<Shell>({{"bash", printBash}, {"zsh", printZsh}, {"fish", printFish}});

} // namespace

ExitStatus run(const CompletionOptions& options)
{
    const auto* shell = std::ranges::find(kShells, std::string_view(options.shell), &Shell::name);
    if (shell == kShells.end()) {
        refuse("there are completions for bash, zsh and fish, not for \"" + options.shell + "\".");
        return kUsage;
    }
    CLI::App app("", "roamerctl");
    Request request;
    declareCommands(app, request);
    const auto commands = std::as_const(app).get_subcommands([](const CLI::App*) { return true; });
    shell->print(app, {commands.begin(), commands.end()});
    return kDone;
}

} // namespace roamer::ctl
