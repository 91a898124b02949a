#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

#include "account.h"
#include "colour.h"
#include "commands.h"
#include "engine_view.h"
#include "network_home.h"
#include "pass_watcher.h"
#include "platform/failure.h"
#include "platform/linux/object_messaging.h"
#include "platform/sync_engine.h"
#include "platform/system_root.h"
#include "server/pavod_vex.h"
#include "session/status_words.h"
#include "util/typed_reads.h"

namespace roamer::ctl
{

namespace
{

constexpr const char* kAgent = "/System/Library/Hearth/Custodia.app/Contents/ZilOS/roamer";
constexpr std::chrono::seconds kStartPatience{30}; ///< A share may have to be mounted first.

std::int64_t numberIn(const Dictionary& status, const char* key)
{
    const auto entry = status.find(key);
    return entry == status.end() ? 0 : entry->second.integerReading().value_or(0);
}

void showProgress(const Dictionary& status)
{
    const auto total = numberIn(status, platform::kProgressTotalItemsKey);
    if (total == 0) return;
    std::fprintf(stderr, "\r%lld of %lld items ",
                 static_cast<long long>(numberIn(status, platform::kProgressCompletedItemsKey)),
                 static_cast<long long>(total));
}

/// Why no pass came: most often the network home is not there.
ExitStatus explainNoPass()
{
    std::string reason = "the agent did not begin one; \"roamerctl log\" may say why";
    auto opened = Account::open(std::nullopt);
    if (auto* account = std::get_if<std::unique_ptr<Account>>(&opened)) {
        const auto reached = NetworkHome::reach(**account, std::nullopt);
        if (const auto* problem = std::get_if<std::string>(&reached)) {
            reason = *problem;
        } else if (const auto fault = std::get<std::unique_ptr<NetworkHome>>(reached)->whyNotWritable(**account)) {
            reason = *fault;
        }
    } else {
        reason = std::get<std::string>(opened);
    }
    complain("nothing was synced: " + reason + ". The files on this computer are safe.");
    return kNeedsAttention;
}

/// In the engine's own words where it has some.
std::string whyFailed(const Dictionary& status, std::int64_t result)
{
    const auto found = status.find(platform::kProgressSyncPassStatusKey);
    const auto* entries = found != status.end() ? found->second.as<Array>() : nullptr;
    for (std::size_t i = 0; entries != nullptr && i < entries->size(); ++i) {
        const auto* entry = (*entries)[i].as<Dictionary>();
        const auto* reason =
            entry != nullptr ? objectForKey<std::string>(*entry, platform::kFailureReasonKey) : nullptr;
        if (reason != nullptr && !reason->empty()) return *reason;
    }
    const auto words = session::wordsOf(static_cast<std::int32_t>(result));
    return words.why + "; " + words.help + ".";
}

/// Follows the pass that was asked for to its end; nothing when none began.
std::optional<ExitStatus> followPass(PassWatcher& watcher, const std::function<bool()>& mayBegin)
{
    const bool onTerminal = isatty(STDERR_FILENO) != 0;
    const auto status = watcher.waitForPass(kStartPatience, onTerminal ? showProgress : nullptr, mayBegin);
    const bool hasBegun = !watcher.lastBusyStatus().empty();
    if (!status && !hasBegun) return std::nullopt;
    if (onTerminal) std::fprintf(stderr, "\r\033[K");
    if (!status) {
        complain("the sync broke off: the engine ended before it was done. The files in both homes are safe; the next "
                 "sync goes on from there.");
        return kNeedsAttention;
    }
    if (const auto result = watcher.lastResult().value_or(0); result != 0) {
        complain("the sync did not come to its end. " + whyFailed(watcher.lastBusyStatus(), result) +
                 " The files on this computer are safe; the next sync tries again.");
        return kNeedsAttention;
    }
    const auto conflicts = numberIn(*status, platform::kSyncSetUnresolvedConflictsCountKey);
    const auto errors = numberIn(*status, platform::kSyncSetUnresolvedErrorsCountKey);
    if (conflicts + errors == 0) {
        std::printf("%s\n", coloured("The homes are in step.", Colour::Good).c_str());
        return kDone;
    }
    std::printf("%s\n", coloured("The sync is over. Conflicts: " + std::to_string(conflicts) + ", items not synced: " +
                                     std::to_string(errors) + ". \"roamerctl conflicts\" lists them.",
                                 Colour::Wrong)
                            .c_str());
    return kNeedsAttention;
}

/// The agent's program does it itself, and this process watches.
ExitStatus syncWithoutServer(PassWatcher& watcher)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) return refuse(std::string("no process can be started: ") + std::strerror(errno) + ".");
    if (child == 0) _exit(become(platform::systemPath(kAgent), {"-s"}));
    bool runs = true;
    const auto status = followPass(watcher, [&] {
        runs = runs && waitpid(child, nullptr, WNOHANG) == 0;
        return runs;
    });
    if (runs) waitpid(child, nullptr, 0);
    return status ? *status : explainNoPass();
}

/// An agent that was still closing an earlier sync did not hear, and ends with that sync.
ExitStatus followServer(PassWatcher& watcher)
{
    bool serves = true;
    const auto status = followPass(watcher, [&serves] { return serves = agentServes(); });
    if (status) return *status;
    return serves ? explainNoPass() : syncWithoutServer(watcher);
}

void send(MessageOptions::Message message, platform::Pavo_Server& server)
{
    switch (message) {
    case MessageOptions::Message::SyncNow:
        return server.pavo_syncNow();
    case MessageOptions::Message::Refresh:
        return server.pavo_refreshPreferences();
    case MessageOptions::Message::Quit:
        return server.pavo_quit();
    }
}

} // namespace

ExitStatus run(const MessageOptions& options)
{
    const auto messaging = platform::makeObjectMessaging([] {});
    const bool waits = options.message == MessageOptions::Message::SyncNow && options.wait;
    PassWatcher watcher;
    std::unique_ptr<platform::Pavo_Server> server;
    try {
        server = messaging->lookUpPavoServer(kPavoServerName);
        if (server != nullptr) send(options.message, *server);
    } catch (const platform::Failure& failure) {
        return refuse("the agent does not answer: " + failure.reason() +
                      ". \"systemctl --user restart roamer\" starts it anew.");
    }
    if (server != nullptr) return waits ? followServer(watcher) : kDone;
    if (messaging->defaultConnection() == nullptr)
        return refuse("there is no message bus in this session; a login through the greeter, or \"dbus-run-session\", "
                      "makes one.");
    if (options.message == MessageOptions::Message::Quit) {
        complain("no agent runs in this session.");
        return kNeedsAttention;
    }
    if (waits) return syncWithoutServer(watcher);
    // Without one that serves, the agent's program does the one thing itself and ends.
    const char* flag = options.message == MessageOptions::Message::SyncNow ? "-s" : "-r";
    return become(platform::systemPath(kAgent), {flag});
}

} // namespace roamer::ctl
