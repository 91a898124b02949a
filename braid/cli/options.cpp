#include "options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <iostream>

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

ExitStatus refuse(const std::string& reason)
{
    std::cerr << "braid: " << reason << "\nTry \"braid sync --help\".\n";
    return kUsage;
}

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

std::variant<SyncOptions, ExitStatus> parse(int argc, const char* const* argv)
{
    CLI::App app{"Keeps two folders in step, both ways, and loses nothing.", "braid"};
    app.set_version_flag("--version", "braid " BRAID_VERSION);
    app.require_subcommand(1);
    CLI::App& sync = *app.add_subcommand("sync", "One pass between a local home and a network home");

    SyncOptions options;
    std::string local;
    std::string network;
    std::vector<std::string> includes;
    std::vector<std::string> excludes;
    std::string resolve = "ask";
    bool abortOnConflict = false;
    sync.add_option("LOCAL", local, "The local home")->required();
    sync.add_option("NETWORK", network, "The network home")->required();
    sync.add_option("--include", includes, "Only this path in the home, with all below it; may be repeated")
        ->type_name("PATH")
        ->expected(1)
        ->take_all();
    sync.add_option("--exclude", excludes,
                    "Not the items that match; may be repeated. Comparisons: startsWith, endsWith, contains, is "
                    "(of the name), partialPath, fullPath (of the path), regex, regexPath; any other word: the path "
                    "is exactly VALUE")
        ->type_name("COMPARISON:VALUE")
        ->expected(1)
        ->take_all();
    sync.add_option("--resolve", resolve,
                    "Conflicts: ask leaves them to you; local or network wins; copy-local and copy-network "
                    "also leave that side unchanged")
        ->type_name("ask|local|network|copy-local|copy-network");
    sync.add_flag("--abort-on-conflict", abortOnConflict, "Change nothing when there is a conflict");
    sync.add_flag("--dry-run", options.settings.dryRun, "Say what would be done, and do nothing");
    sync.add_flag("--allow-mass-deletion", options.settings.allowMassDeletion,
                  "Also when more than half of a home's items would be deleted");
    sync.add_flag("--json", options.json, "Print the result as one JSON object");

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        app.exit(help);
        return kInStep;
    } catch (const CLI::ParseError& error) {
        return refuse(error.what());
    }

    Job job;
    for (const std::string& path : includes)
        job.inclusions.insert(path);
    for (const std::string& text : excludes) {
        auto rule = ruleFrom(text);
        if (const auto* reason = std::get_if<std::string>(&rule)) return refuse(*reason);
        if (auto& usable = std::get<std::optional<MatchRule>>(rule)) job.exclusions.push_back(std::move(*usable));
    }
    const auto* word = std::ranges::find(kResolveWords, resolve, &ResolveWord::word);
    if (word == kResolveWords.end()) return refuse("--resolve does not know \"" + resolve + "\"");
    job.options.resolveConflictsInFavorOf = word->favor;
    job.options.readOnlyPeer = word->readOnly;
    job.options.abortOnConflict = abortOnConflict;
    options.settings.localHome = local;
    options.settings.networkHome = network;
    options.settings.jobs.push_back(std::move(job));
    return options;
}

} // namespace braid::cli
