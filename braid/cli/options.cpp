#include "options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>

#include "braid/home_status.h"
#include "colour.h"
#include "usual_home.h"

namespace braid::cli
{

namespace
{

struct ComparisonWord {
    std::string_view word;
    Comparison comparison;
};

constexpr auto kComparisonWords = std::to_array<ComparisonWord>({
    {"startsWith", Comparison::NameBeginsWith},
    {"endsWith", Comparison::NameEndsWith},
    {"contains", Comparison::NameContains},
    {"partialPath", Comparison::PathContains},
    {"regex", Comparison::NameMatches},
    {"regexPath", Comparison::PathMatches},
    {"is", Comparison::NameLike},
    {"fullPath", Comparison::PathLike},
});

/// Names of mail folders by kind of account; such an entry means what lies in the mail folder only.
constexpr auto kMailPrefixes = std::to_array<std::string_view>({"IMAP-", "Zil-", "Exchange-"});

struct ResolveWord {
    std::string_view word;
    std::optional<Peer> favor;
    std::optional<Peer> readOnly;
};

constexpr auto kResolveWords = std::to_array<ResolveWord>({
    {"ask", std::nullopt, std::nullopt},
    {"local", Peer::Local, std::nullopt},
    {"network", Peer::Network, std::nullopt},
    {"copy-local", Peer::Local, Peer::Local},
    {"copy-network", Peer::Network, Peer::Network},
});

struct KeepWord {
    std::string_view word;
    Keep keep;
};

constexpr int kMostDays = 36'500;

constexpr auto kKeepWords =
    std::to_array<KeepWord>({{"local", Keep::Local}, {"network", Keep::Network}, {"both", Keep::Both}});

} // namespace

std::variant<std::optional<MatchRule>, std::string> ruleFrom(const std::string& text)
{
    const auto colon = text.find(':');
    if (colon == std::string::npos) return "--exclude takes COMPARISON:VALUE, not \"" + text + "\"";
    const std::string_view word{text.data(), colon};
    std::string value = text.substr(colon + 1);
    if (value.starts_with("~/")) {
        value.erase(0, 2);
    } else if (value.starts_with("~")) {
        value.erase(0, 1);
    }
    if (value.empty()) return std::optional<MatchRule>{};

    const auto* known = std::ranges::find(kComparisonWords, word, &ComparisonWord::word);
    Comparison comparison = known == kComparisonWords.end() ? Comparison::PathEquals : known->comparison;
    const bool isMail = std::ranges::find(kMailPrefixes, value) != kMailPrefixes.end();
    if (comparison == Comparison::NameBeginsWith && isMail) {
        comparison = Comparison::PathLike;
        value = "Library/Mail/" + value + "*";
    }
    auto rule = MatchRule::make(comparison, value);
    if (const auto* reason = std::get_if<std::string>(&rule)) return "\"" + value + "\" is " + *reason;
    return std::optional<MatchRule>{std::get<MatchRule>(std::move(rule))};
}

namespace
{

void addExclusions(CLI::App& command, std::vector<MatchRule>& rules)
{
    const auto add = [&rules](const std::vector<std::string>& entries) {
        for (const std::string& entry : entries) {
            auto rule = ruleFrom(entry);
            if (const auto* reason = std::get_if<std::string>(&rule)) throw CLI::ValidationError{*reason};
            if (auto& usable = std::get<std::optional<MatchRule>>(rule)) rules.push_back(std::move(*usable));
        }
    };
    command
        .add_option_function<std::vector<std::string>>(
            "--exclude", add,
            "Not the items that match; may be repeated. Comparisons: startsWith, endsWith, contains, is "
            "(of the name), partialPath, fullPath (of the path), regex, regexPath; any other word: the path "
            "is exactly VALUE")
        ->type_name("COMPARISON:VALUE")
        ->expected(1)
        ->take_all();
}

/// Without it usualHome() is meant, which is looked for once the command is understood.
void addHome(CLI::App& command, const char* name, std::filesystem::path& home, const std::string& what)
{
    // A variable that was not set must not turn into another home.
    const auto whyNot = [](const std::string& word) { return word.empty() ? "it is an empty word" : ""; };
    command.add_option(name, home, what + "; without it the one that the working folder lies in")
        ->type_name("")
        ->check(CLI::Validator{whyNot, ""});
}

/// For takeHome().
void addPaths(CLI::App& command, std::vector<std::string>& paths, const std::string& what)
{
    command
        .add_option("PATH", paths,
                    what + "; in front of them a home, if it is not the one that the working folder lies in")
        ->type_name("");
}

void addOutput(CLI::App& command, bool& json)
{
    command.add_flag("--json", json, "Print the result as one JSON object");
    command.add_flag_callback("--no-color", forbidColours, "No colours on a terminal either");
}

/// Each of these declares a sub-command, and makes it the request once it was understood.
void declareSync(CLI::App& app, Request& request)
{
    struct Words {
        SyncOptions options;
        std::vector<std::string> includes;
        std::string resolve = "ask";
    };
    const auto words = std::make_shared<Words>();
    SyncOptions& options = words->options;
    Job& job = options.settings.jobs.emplace_back();
    CLI::App& command = *app.add_subcommand("sync", "One pass between a local home and a network home");
    command.add_option("LOCAL", options.settings.localHome, "The local home")->type_name("")->required();
    command.add_option("NETWORK", options.settings.networkHome, "The network home")->type_name("")->required();
    command.add_option("--include", words->includes, "Only this path in the home, with all below it; may be repeated")
        ->type_name("PATH")
        ->expected(1)
        ->take_all();
    addExclusions(command, job.exclusions);
    command
        .add_option("--resolve", words->resolve,
                    "Conflicts: ask leaves them to you; local or network wins; copy-local and copy-network "
                    "also leave that side unchanged")
        ->type_name("ask|local|network|copy-local|copy-network");
    command.add_flag("--abort-on-conflict", job.options.abortOnConflict, "Change nothing when there is a conflict");
    command.add_flag("--dry-run", options.settings.dryRun, "Say what would be done, and do nothing");
    command.add_flag("--allow-mass-deletion", options.settings.allowMassDeletion,
                     "Also when more than half of a home's items would be deleted");
    addOutput(command, options.json);
    command.callback([words, &request] {
        const auto* word = std::ranges::find(kResolveWords, words->resolve, &ResolveWord::word);
        if (word == kResolveWords.end()) {
            throw CLI::ValidationError{"--resolve does not know \"" + words->resolve + "\""};
        }
        Job& job = words->options.settings.jobs[0];
        job.inclusions.insert(words->includes.begin(), words->includes.end());
        job.options.resolveConflictsInFavorOf = word->favor;
        job.options.readOnlyPeer = word->readOnly;
        request = std::move(words->options);
    });
}

void declareCheck(CLI::App& app, Request& request)
{
    const auto options = std::make_shared<CheckOptions>();
    PassSettings& settings = options->settings;
    settings.dryRun = true;
    settings.allowMassDeletion = true; // a list harms nobody
    Job& job = settings.jobs.emplace_back();
    CLI::App& command = *app.add_subcommand("check", "Whether both homes and the archive agree; changes nothing");
    addHome(command, "LOCAL", settings.localHome, "The local home");
    command.add_option("NETWORK", settings.networkHome, "The network home; without it the one of the last pass")
        ->type_name("");
    addExclusions(command, job.exclusions);
    addOutput(command, options->json);
    command.footer("Exit status: 0 they agree, 1 they do not and it says where, 2 usage, 3 refused.");
    command.callback([options, &request] {
        PassSettings& settings = options->settings;
        if (settings.localHome.empty()) settings.localHome = usualHome();
        if (settings.networkHome.empty()) {
            const auto partner = statusOf(settings.localHome).partner;
            if (!partner || partner->home.empty()) throw CLI::RequiredError{"NETWORK"};
            settings.networkHome = partner->home;
        }
        request = *options;
    });
}

/// A command that needs to know of a local home only.
template <class Options>
void declareForHome(CLI::App& app, Request& request, const char* name, const char* help, const char* footer)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand(name, help);
    addHome(command, "LOCAL", options->localHome, "The local home");
    addOutput(command, options->json);
    command.footer(footer);
    command.callback([options, &request] {
        if (options->localHome.empty()) options->localHome = usualHome();
        request = *options;
    });
}

void declareResolve(CLI::App& app, Request& request)
{
    const auto options = std::make_shared<ResolveOptions>();
    Resolution& resolution = options->resolution;
    CLI::App& command = *app.add_subcommand("resolve", "Decide conflicts; what is not kept goes to the trash");
    addPaths(command, resolution.paths, "Items as \"braid conflicts\" names them");
    const auto understandKeep = [&resolution](const std::string& word) {
        const auto* known = std::ranges::find(kKeepWords, word, &KeepWord::word);
        if (known == kKeepWords.end()) throw CLI::ValidationError{"--keep does not know \"" + word + "\""};
        resolution.keep = known->keep;
    };
    command
        .add_option_function<std::string>(
            "--keep", understandKeep,
            "The version that stays. Of both, the network's gets a name of its own beside the local one; "
            "where one side deleted the item, the version that there is stays")
        ->required()
        ->type_name("local|network|both");
    command.add_option("--network", resolution.networkHome, "The network home, if it is not where the last pass was")
        ->type_name("NETWORK");
    addExclusions(command, resolution.exclusions);
    addOutput(command, options->json);
    command.footer("Exit status: 0 decided, 1 something remains, 2 usage, 3 refused or aborted.");
    command.callback([options, &request] {
        Resolution& resolution = options->resolution;
        resolution.localHome = takeHome(resolution.paths);
        if (resolution.paths.empty()) throw CLI::RequiredError{"PATH"};
        request = *options;
    });
}

void declareTrash(CLI::App& app, Request& request)
{
    struct Verb {
        TrashOptions::Verb verb;
        const char* name;
        const char* help;
    };
    static constexpr Verb kVerbs[] = {
        {TrashOptions::Verb::List, "list", "The versions in the trash, newest first"},
        {TrashOptions::Verb::Restore, "restore", "Copy versions back; what lies there now stays as it is"},
        {TrashOptions::Verb::Empty, "empty", "Remove versions for good"},
    };
    CLI::App& trash = *app.add_subcommand("trash", "Versions that a sync replaced or deleted in a home");
    trash.require_subcommand(1);
    for (const Verb& verb : kVerbs) {
        const auto options = std::make_shared<TrashOptions>();
        options->verb = verb.verb;
        CLI::App& command = *trash.add_subcommand(verb.name, verb.help);
        addOutput(command, options->json);
        command.footer("Exit status: 0 done, 1 something could not be done, 2 usage, 3 refused.");
        if (verb.verb == TrashOptions::Verb::Empty) {
            addHome(command, "HOME", options->home, "The local or the network home");
            command.add_option("--days", options->days, "Only what went there more than N days ago")
                ->type_name("N")
                ->check(CLI::Range(0, kMostDays));
            command.callback([options, &request] {
                if (options->home.empty()) options->home = usualHome();
                request = *options;
            });
            continue;
        }
        addPaths(command, options->paths, "Only this item, with all below it");
        const bool isRestore = verb.verb == TrashOptions::Verb::Restore;
        if (isRestore) {
            command.add_option("--pass", options->pass, "Not the newest version but that of this pass")
                ->type_name("NAME");
        }
        command.callback([options, isRestore, &request] {
            options->home = takeHome(options->paths);
            if (isRestore && options->paths.empty()) throw CLI::RequiredError{"PATH"};
            request = *options;
        });
    }
}

/// The words that were understood as commands, and the last of these.
std::pair<std::string, const CLI::App*> commandTyped(const CLI::App& app)
{
    std::string words = app.get_name();
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands()[0];
        words += " " + at->get_name();
    }
    return {words, at};
}

/// What is wrong with what was typed, and the help that fits.
std::string complaint(const CLI::App& app, const CLI::ParseError& error)
{
    const auto [words, command] = commandTyped(app);
    const auto unknown = app.remaining(true);
    const bool lacksCommand = command->get_require_subcommand_min() > 0 && !unknown.empty();
    return (lacksCommand ? "there is no \"" + words + " " + unknown.front() + "\"" : error.what()) + "\nTry \"" +
           words + " --help\".\n";
}

} // namespace

std::variant<Request, ExitStatus> parse(int argc, const char* const* argv)
{
    CLI::App app{"Keeps two folders in step, both ways, and loses nothing.", "braid"};
    app.set_version_flag("--version", "braid " BRAID_VERSION);
    app.require_subcommand(1);
    Request request;
    declareSync(app, request);
    declareCheck(app, request);
    declareForHome<ConflictsOptions>(app, request, "conflicts",
                                     "What waits for a person: conflicts, and items not synced",
                                     "Exit status: 0 nothing waits, 1 something does, 3 there is no such home.");
    declareForHome<StatusOptions>(app, request, "status",
                                  "What is known of a home: its partner, its last pass, its trash",
                                  "Exit status: 0 said, 3 there is no such home.");
    declareResolve(app, request);
    declareTrash(app, request);
    declareForHome<ForgetOptions>(app, request, "forget",
                                  "Forget what both homes agreed on, and all recorded conflicts",
                                  "Both homes and their trash stay as they are; the next sync runs as a first one.\n"
                                  "Exit status: 0 done, 3 refused.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        app.exit(help);
        return kInStep;
    } catch (const CLI::ParseError& error) {
        std::cerr << "braid: " << complaint(app, error);
        return kUsage;
    }
    return request;
}

} // namespace braid::cli
