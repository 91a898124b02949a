#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <array>
#include <cstdio>
#include <filesystem>

#include "account.h"
#include "colour.h"
#include "commands.h"
#include "home/preference_keys.h"
#include "lists/exclusion_entry.h"
#include "lists/list_keys.h"

namespace roamer::ctl
{

namespace
{

/// A job of a sync, as people know the syncs.
struct Occasion {
    std::string_view when;
    std::string_view share;
    std::int32_t syncType;
};

constexpr std::array kOccasions = std::to_array<Occasion>({
    {"login", "settings", kLoginPrefSync},
    {"login", "other folders", kLoginNonprefSync},
    {"login", "background set", kLoginPeriodicSync},
    {"background", "settings", kPeriodicAllPrefSync},
    {"background", "background set", kPeriodicSync},
    {"sync now", "settings", kNowAllPrefSync},
    {"sync now", "background set", kNowPeriodicSync},
    {"logout", "settings", kLogoutPrefSync},
    {"logout", "other folders", kLogoutNonprefSync},
    {"logout", "background set", kLogoutPeriodicSync},
});

struct Answer {
    bool isSynced = false;
    std::string why;
};

/// The path and every folder above it, the outermost first.
std::vector<std::string> withParents(const std::string& path)
{
    std::vector<std::string> paths;
    for (auto slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1))
        paths.push_back(path.substr(0, slash));
    paths.push_back(path);
    return paths;
}

bool holdsRule(const std::optional<Array>& list, const MatchRule& rule)
{
    if (!list) return false;
    for (const auto& element : *list) {
        if (ruleFromExclusionEntry(element) == rule) return true;
    }
    return false;
}

/// Whose list a rule of the type stands in.
std::string originOf(const MatchRule& rule, std::int32_t syncType, RoamerPreferences& preferences)
{
    const auto& keys = listKeys(syncType);
    if (holdsRule(preferences.getRoamerValue<Array>(keys.exclusionsManaged, std::nullopt), rule))
        return std::string("the administrator's ") + keys.exclusionsManaged;
    if (holdsRule(preferences.getDefaultList(kExcludedAlways), rule)) return "the rules of every sync";
    if (holdsRule(preferences.getRoamerValue<Array>(keys.exclusions, std::nullopt), rule))
        return std::string("the person's ") + keys.exclusions;
    if (holdsRule(preferences.getDefaultList(keys.exclusions), rule))
        return std::string("the default ") + keys.exclusions;
    return "what the settings' own job takes";
}

Answer answerFor(const std::string& path, std::int32_t syncType, Account& account)
{
    if (!account.options.getShouldSyncOverride(syncType)) return {false, "a preference says \"dontSync\""};
    MatchRules rules;
    const auto list = account.lists.getSyncLists(syncType, std::nullopt, &rules);
    if (!list) return {false, "nothing of this share is synced"};
    const auto paths = withParents(path);
    const bool isCovered =
        list->empty() || std::ranges::any_of(paths, [&list](const std::string& item) { return list->contains(item); });
    if (!isCovered) return {false, "no folder of the list holds it"};
    for (const auto& item : paths) {
        for (const auto& rule : rules) {
            if (!account.predicates->compile(rule)(item)) continue;
            std::string why = std::string(comparisonFormat(rule.form));
            why.replace(why.find("%@"), 2, "\"" + rule.value + "\"");
            why += ", of " + originOf(rule, syncType, account.preferences);
            if (item != path) why += ", leaves out " + item;
            return {false, why};
        }
    }
    return {true, ""};
}

/// The path below the home; nothing when it is not in the home.
std::optional<std::string> pathInHome(const std::string& path, const std::string& home)
{
    if (path.starts_with("~/")) return path.substr(2);
    const auto absolute = std::filesystem::absolute(path).lexically_normal();
    auto relative = absolute.lexically_relative(std::filesystem::path(home).lexically_normal()).string();
    if (relative.ends_with('/')) relative.pop_back();
    if (relative.empty() || relative == "." || relative == ".." || relative.starts_with("../")) return std::nullopt;
    return relative;
}

} // namespace

ExitStatus run(const ExplainOptions& options)
{
    auto opened = Account::open(options.user);
    if (const auto* reason = std::get_if<std::string>(&opened)) return refuse(*reason);
    auto& account = *std::get<std::unique_ptr<Account>>(opened);
    const auto path = pathInHome(options.path, account.localHome());
    if (!path) return refuse(options.path + " is not below the home " + account.localHome() + ".");

    bool isSyncedAtAll = false;
    QJsonArray json;
    for (const auto& occasion : kOccasions) {
        const auto answer = answerFor(*path, occasion.syncType, account);
        isSyncedAtAll = isSyncedAtAll || answer.isSynced;
        if (options.json) {
            json.append(QJsonObject{{"when", occasion.when.data()},
                                    {"share", occasion.share.data()},
                                    {"synced", answer.isSynced},
                                    {"why", QString::fromStdString(answer.why)}});
        } else {
            std::printf("%-11s %-15s %s\n", occasion.when.data(), occasion.share.data(),
                        (answer.isSynced ? coloured("synced", Colour::Good)
                                         : coloured("not synced: ", Colour::Open) + answer.why)
                            .c_str());
        }
    }
    if (options.json) std::printf("%s\n", QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
    return isSyncedAtAll ? kDone : kNeedsAttention;
}

} // namespace roamer::ctl
