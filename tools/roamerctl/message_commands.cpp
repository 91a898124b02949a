#include <chrono>
#include <cstdio>
#include <unistd.h>

#include "commands.h"
#include "pass_watcher.h"
#include "platform/failure.h"
#include "platform/linux/object_messaging.h"
#include "platform/sync_engine.h"
#include "platform/system_root.h"
#include "server/pavod_vex.h"
#include "session/status_words.h"

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

/// Follows the pass that was asked for to its end.
ExitStatus followPass(PassWatcher& watcher)
{
    const auto status = watcher.waitForPass(kStartPatience, isatty(STDERR_FILENO) != 0 ? showProgress : nullptr);
    if (!status) {
        std::fprintf(stderr, "roamerctl: no sync began within half a minute, or it broke off; "
                             "\"roamerctl log\" may say why.\n");
        return kNeedsAttention;
    }
    if (isatty(STDERR_FILENO) != 0) std::fprintf(stderr, "\r");
    if (const auto result = watcher.lastResult().value_or(-1); result != 0) {
        std::fprintf(stderr, "roamerctl: %s\n",
                     session::verdictOf(static_cast<std::int32_t>(result), false).words.c_str());
        return kNeedsAttention;
    }
    const auto conflicts = numberIn(*status, platform::kSyncSetUnresolvedConflictsCountKey);
    const auto errors = numberIn(*status, platform::kSyncSetUnresolvedErrorsCountKey);
    std::printf("The sync is over. Conflicts: %lld, items not synced: %lld.\n", static_cast<long long>(conflicts),
                static_cast<long long>(errors));
    return conflicts + errors > 0 ? kNeedsAttention : kDone;
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
        return refuse("the agent does not answer: " + failure.reason());
    }
    if (server != nullptr) return waits ? followPass(watcher) : kDone;
    if (options.message == MessageOptions::Message::Quit) {
        std::fprintf(stderr, "roamerctl: no agent runs in this session.\n");
        return kNeedsAttention;
    }
    // Without one that serves, the agent's program does the one thing itself and ends.
    const char* flag = options.message == MessageOptions::Message::SyncNow ? "-s" : "-r";
    return become(platform::systemPath(kAgent), {flag});
}

} // namespace roamer::ctl
