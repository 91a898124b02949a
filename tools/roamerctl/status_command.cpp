#include <QJsonDocument>
#include <QJsonObject>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "account.h"
#include "braid/home_status.h"
#include "braid/protocol.h"
#include "colour.h"
#include "commands.h"
#include "engine_view.h"
#include "home/preference_keys.h"
#include "lists/sync_type.h"
#include "network_home.h"
#include "platform/sync_engine.h"
#include "platform/system_root.h"
#include "preference_value.h"
#include "sync/sync_state.h"
#include "util/typed_reads.h"

namespace roamer::ctl
{

namespace
{

constexpr const char* kConflictsLabel = "Conflicts";
constexpr const char* kErrorsLabel = "Items not synced";
constexpr const char* kLockLabel = "Home lock";

struct Moment {
    const char* name;
    std::int32_t whole; ///< The type of the login and logout set; kAllSyncParts: there is none.
    const char* wholeName;
    std::int32_t background;
};

constexpr std::array kMoments = std::to_array<Moment>({
    {"At login", kLoginSync, "login and logout set", kLoginPeriodicSync},
    {"In the background", kPeriodicAllPrefSync, "settings", kPeriodicSync},
    {"On sync now", kNowAllPrefSync, "settings", kNowPeriodicSync},
    {"At logout", kLogoutSync, "login and logout set", kLogoutPeriodicSync},
});

bool isDue(std::int32_t syncType, Account& account)
{
    return account.options.getShouldSyncOverride(syncType) && account.lists.getSyncLists(syncType, std::nullopt);
}

std::string whatSyncs(const Moment& moment, Account& account)
{
    std::string what;
    if (isDue(moment.whole, account)) what = moment.wholeName;
    if (isDue(moment.background, account)) what += std::string(what.empty() ? "" : ", ") + "background set";
    return what.empty() ? "nothing" : what;
}

std::string localTime(Date date)
{
    const auto seconds = std::chrono::system_clock::to_time_t(date);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const auto length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return {text.data(), length};
}

constexpr const char* kFree = "free";

/// Who has the lock of the network home, which is at hand.
std::string holderOfLockIn(const std::string& networkHome)
{
    const auto path = platform::systemPath(networkHome) + "/.vexlc";
    const int lock = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (lock < 0) return kFree;
    std::array<char, 64> text{};
    const auto length = read(lock, text.data(), text.size());
    close(lock);
    if (length <= 0) return std::string(kFree) + " (a lock file without an owner lies there)";
    return "held by the computer " + std::string(text.data(), static_cast<std::size_t>(length)).substr(0, 17);
}

std::string lockHolder(const std::optional<std::string>& lastPlace, Account& account, bool mayMount)
{
    if (lastPlace && account.homes.directoryIsReadable(*lastPlace)) return holderOfLockIn(*lastPlace);
    const auto url = account.homes.getOriginalUserHomeURL();
    const bool isFolder = url && url->starts_with("file:");
    if (!mayMount && !isFolder)
        return "not known while the share is not mounted; \"roamerctl status --reach\" mounts it to look";
    const auto reached = NetworkHome::reach(account, std::nullopt);
    if (const auto* reason = std::get_if<std::string>(&reached)) return "not known: " + *reason;
    return holderOfLockIn(std::get<std::unique_ptr<NetworkHome>>(reached)->path());
}

using Facts = std::vector<std::pair<std::string, std::string>>;

constexpr const char* kOtherSession = "not known: only the account's own session tells";

/// `isOwn`: the bus of this session is the account's.
void addEngine(const braid::HomeStatus& home, bool isOwn, Facts& facts, bool& needsPerson)
{
    const auto engine = isOwn ? lookAtEngine() : std::nullopt;
    const auto conflicts = home.matters.conflicts.size();
    const auto errors = home.matters.errors.size();
    needsPerson = conflicts + errors > 0;
    if (home.partner) facts.emplace_back("Last pass", localTime(Date(std::chrono::seconds(home.partner->lastPass))));
    if (engine) {
        const auto* state = objectForKey<std::int64_t>(engine->status, platform::kSyncSetStateKey);
        facts.emplace_back("Engine", state != nullptr && *state != 0
                                         ? "syncing (" + syncStateUTF8String(static_cast<int>(*state)) + ")"
                                         : "idle");
        // On the bus a point in time is a number of seconds.
        const auto next = numberForKey(engine->set, braid::protocol::kNextSyncTime);
        const bool isOn = boolForKey(engine->set, braid::protocol::kIsAutomaticallySyncing);
        facts.emplace_back("Next sync", !isOn  ? "background syncing is off"
                                        : next ? localTime(Date(std::chrono::seconds(std::llround(*next))))
                                               : "not set yet");
    } else {
        facts.emplace_back("Engine", isOwn ? "does not run in this session" : kOtherSession);
    }
    facts.emplace_back(kConflictsLabel, std::to_string(conflicts));
    facts.emplace_back(kErrorsLabel, std::to_string(errors));
}

Facts factsOf(Account& account, bool mayMount, bool& needsPerson)
{
    Facts facts;
    const auto& record = account.record();
    facts.emplace_back("Account", account.name() + " (" + record.longName().value_or("no name") + "), uid " +
                                      std::to_string(record.uid()));
    facts.emplace_back("Portable", record.isMobileUserAccount() ? "yes" : "no");
    facts.emplace_back("Local home", account.localHome());
    const auto url = account.homes.getOriginalUserHomeURL();
    const auto path = account.homes.getOriginalUserHomePath();
    facts.emplace_back("Network home", url.value_or("(no share)") + ", folder " + path.value_or("(none)"));
    const bool isOwn = record.uid() == geteuid();
    facts.emplace_back("Agent", !isOwn          ? kOtherSession
                                : agentServes() ? "serves in this session"
                                                : "does not serve in this session");

    const auto home = braid::statusOf(account.localHome());
    addEngine(home, isOwn, facts, needsPerson);
    const auto completed = account.preferences.getRoamerValue<Date>(kRoamerTime, std::nullopt);
    facts.emplace_back("Last completed", completed ? localTime(*completed) : "never");
    if (account.preferences.getRoamerValue(kRoamerCompleted))
        facts.emplace_back("Last logout", account.preferences.getRoamerBool(kRoamerCompleted, false)
                                              ? "synced everything"
                                              : "left something out");
    if (account.preferences.getRoamerValue(kNetworkHomeNewerTime))
        facts.emplace_back("Settings", "changed on the network; left out until the next login");
    std::optional<std::string> networkHome;
    if (home.partner && !home.partner->home.empty()) networkHome = home.partner->home;
    facts.emplace_back(kLockLabel, lockHolder(networkHome, account, mayMount));
    for (const auto& moment : kMoments)
        facts.emplace_back(moment.name, whatSyncs(moment, account));
    return facts;
}

std::string colouredFact(const std::string& label, const std::string& text)
{
    if (label == kConflictsLabel || label == kErrorsLabel) return text == "0" ? text : coloured(text, Colour::Wrong);
    if (label == kLockLabel) return coloured(text, text.starts_with(kFree) ? Colour::Good : Colour::Open);
    const bool isLacking = text == "no" || text == "never" || text == "left something out" ||
                           text.starts_with("does not") || text.starts_with("changed on the network");
    return isLacking ? coloured(text, Colour::Open) : text;
}

std::string jsonName(const std::string& label)
{
    std::string name;
    bool isUpper = false;
    for (const char c : label) {
        if (c == ' ') {
            isUpper = true;
            continue;
        }
        name += static_cast<char>(isUpper ? std::toupper(c) : name.empty() ? std::tolower(c) : c);
        isUpper = false;
    }
    return name;
}

} // namespace

ExitStatus run(const StatusOptions& options)
{
    auto opened = Account::open(options.user);
    if (const auto* reason = std::get_if<std::string>(&opened)) return refuse(*reason);
    auto& account = *std::get<std::unique_ptr<Account>>(opened);

    // What cannot be looked at must not pass for a home in which nothing waits.
    const auto engineFolder = account.localHome() + "/.Braid";
    if (access(engineFolder.c_str(), R_OK | X_OK) != 0 && errno == EACCES)
        return refuse(engineFolder + ", where it stands what waits, is closed to you. As " + account.name() +
                      " or with \"sudo\" it can be looked at.");
    // The share would be mounted for whoever asks.
    if (options.reach && !becomeUserOf(account)) return refuse("only root may do this for somebody else.");
    bool needsPerson = false;
    const auto facts = factsOf(account, options.reach, needsPerson);
    QJsonObject json;
    QJsonObject settings;
    for (const auto& [label, text] : facts) {
        if (options.json) {
            const auto value = QString::fromStdString(text);
            bool isNumber = false;
            const auto number = value.toLongLong(&isNumber);
            json[QString::fromStdString(jsonName(label))] = isNumber ? QJsonValue(number) : QJsonValue(value);
        } else {
            std::printf("%-18s %s\n", (label + ":").c_str(), colouredFact(label, text).c_str());
        }
    }
    if (!options.json) std::printf("\nDecided by administrator or person:\n");
    for (const auto& key : preferenceKeys()) {
        const std::string name(key.name);
        const auto value = account.preferences.getRoamerValue(name);
        if (!value || key.section == PreferenceSection::Remembered) continue;
        const std::string by(account.decidedBy(name));
        if (options.json) {
            settings[QString::fromStdString(name)] =
                QJsonObject{{"value", QString::fromStdString(wordsOfPreferenceValue(*value))},
                            {"decidedBy", QString::fromStdString(by)}};
        } else {
            std::printf("  %-36s %s  (%s)\n", name.c_str(), wordsOfPreferenceValue(*value).c_str(),
                        colouredDecider(by).c_str());
        }
    }
    if (options.json) {
        json["settings"] = settings;
        std::printf("%s\n", QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
    }
    return needsPerson ? kNeedsAttention : kDone;
}

ExitStatus run(const ConflictsOptions& options)
{
    auto opened = Account::open(options.user);
    if (const auto* reason = std::get_if<std::string>(&opened)) return refuse(*reason);
    std::vector<std::string> arguments = {"conflicts", std::get<std::unique_ptr<Account>>(opened)->localHome()};
    if (options.json) arguments.emplace_back("--json");
    if (coloursAreForbidden()) arguments.emplace_back("--no-color");
    return become(siblingProgram("braid"), arguments);
}

} // namespace roamer::ctl
