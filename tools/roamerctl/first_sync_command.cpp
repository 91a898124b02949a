#include <array>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "account.h"
#include "braid/engine.h"
#include "colour.h"
#include "commands.h"
#include "home/sync_times.h"
#include "lists/sync_type.h"
#include "network_home.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/user_formats.h"
#include "platform/system_root.h"
#include "session/secret.h"

namespace roamer::ctl
{

namespace
{

/// What a first login would sync, in the order of its jobs.
constexpr std::array<std::int32_t, 3> kJobTypes = {kLoginPrefSync, kLoginNonprefSync, kLoginPeriodicSync};

std::optional<std::string> passwordFor(Account& account)
{
    const auto url = account.homes.getOriginalUserHomeURL();
    if (!url || !needsPassword(*url)) return std::nullopt;
    session::Secret secret;
    if (secret.readFrom(STDIN_FILENO, [] { return true; })) return std::nullopt;
    const auto bytes = secret.bytes();
    return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

std::vector<braid::Job> jobsOf(Account& account, const NetworkHome& home, FirstSyncOptions::Truth truth)
{
    std::vector<braid::Job> jobs;
    for (const auto type : kJobTypes) {
        MatchRules rules;
        const auto paths = account.lists.getSyncLists(type, home.mountPoint(), &rules);
        if (!paths) continue;
        auto& job = jobs.emplace_back();
        job.inclusions = *paths;
        for (const auto& rule : rules) {
            auto made = braid::MatchRule::make(static_cast<braid::Comparison>(rule.form), rule.value);
            if (auto* usable = std::get_if<braid::MatchRule>(&made)) job.exclusions.push_back(std::move(*usable));
        }
        if (truth == FirstSyncOptions::Truth::Local) job.options.resolveConflictsInFavorOf = braid::Peer::Local;
        if (truth == FirstSyncOptions::Truth::Network) job.options.resolveConflictsInFavorOf = braid::Peer::Network;
    }
    return jobs;
}

/// A login would ask which home holds the truth on a computer that never completed a sync.
void noteCompletedSync(Account& account, const NetworkHome& home)
{
    const auto runLoop = platform::makeRunLoop();
    const auto formats = platform::makeUserFormats();
    SyncTimes(account.preferences, account.homes, account.domains, *runLoop, *account.bundles, *formats)
        .saveSyncTime(home.mountPoint());
}

ExitStatus bringInStep(Account& account, const NetworkHome& home, FirstSyncOptions::Truth truth)
{
    braid::PassSettings settings;
    settings.localHome = account.localHome();
    settings.networkHome = platform::systemPath(home.path());
    settings.jobs = jobsOf(account, home, truth);
    if (settings.jobs.empty()) {
        std::printf("Nothing of the home is to be synced.\n");
        return kDone;
    }
    const auto report = braid::runPass(settings, {});
    if (report.result != braid::kPassSucceeded) {
        return refuse("the homes are not in step. " + report.reason +
                      " Nothing is lost; the next sync goes on from there.");
    }
    std::printf("The homes are in step: %llu items new, %llu changed.\n",
                static_cast<unsigned long long>(report.counts.created),
                static_cast<unsigned long long>(report.counts.updated));
    for (const auto& error : report.errors)
        complain("\"" + error.path + "\" is not synced. " + error.message);
    if (!report.conflicts.empty())
        std::printf("%s\n",
                    coloured("Items that differ and wait for a decision: " + std::to_string(report.conflicts.size()) +
                                 ". \"roamerctl conflicts\" lists them.",
                             Colour::Open)
                        .c_str());
    if (!report.conflicts.empty() || !report.errors.empty()) return kNeedsAttention;
    noteCompletedSync(account, home);
    return kDone;
}

} // namespace

ExitStatus run(const FirstSyncOptions& options)
{
    auto opened = Account::open(options.user);
    if (const auto* reason = std::get_if<std::string>(&opened)) return refuse(*reason);
    auto& account = *std::get<std::unique_ptr<Account>>(opened);
    if (!becomeUserOf(account)) return refuse("only root may do this for somebody else.");
    auto password = passwordFor(account);
    auto reached = NetworkHome::reach(account, password);
    if (password) explicit_bzero(password->data(), password->size());
    if (const auto* reason = std::get_if<std::string>(&reached)) return refuse(*reason + ".");
    const auto& home = *std::get<std::unique_ptr<NetworkHome>>(reached);
    if (const auto reason = home.whyNotWritable(account)) return refuse(*reason + ".");
    if (!options.checkOnly) return bringInStep(account, home, options.truth);
    std::printf("The network home %s can be reached and written.\n", home.path().c_str());
    return kDone;
}

} // namespace roamer::ctl
