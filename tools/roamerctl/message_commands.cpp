#include <chrono>
#include <cstdio>
#include <thread>

#include "commands.h"
#include "engine_view.h"
#include "platform/failure.h"
#include "platform/linux/object_messaging.h"
#include "platform/sync_engine.h"
#include "platform/system_root.h"
#include "server/pavod_vex.h"

namespace roamer::ctl
{

namespace
{

constexpr const char* kAgent = "/System/Library/Hearth/Custodia.app/Contents/ZilOS/roamer";
constexpr std::chrono::milliseconds kLook{500};
constexpr int kLooksForStart = 60; ///< Half a minute: a share may have to be mounted first.

std::int64_t numberIn(const Dictionary& status, const char* key)
{
    const auto entry = status.find(key);
    return entry == status.end() ? 0 : entry->second.integerReading().value_or(0);
}

/// Follows the pass that was asked for to its end.
ExitStatus followPass()
{
    bool hasStarted = false;
    for (int look = 0; hasStarted || look < kLooksForStart; ++look) {
        std::this_thread::sleep_for(kLook);
        const auto engine = lookAtEngine();
        const bool runs = engine && numberIn(engine->status, platform::kSyncSetStateKey) != 0;
        if (runs) {
            hasStarted = true;
            const auto total = numberIn(engine->status, platform::kProgressTotalItemsKey);
            if (total > 0) {
                std::fprintf(stderr, "\r%lld of %lld items ",
                             static_cast<long long>(numberIn(engine->status, platform::kProgressCompletedItemsKey)),
                             static_cast<long long>(total));
            }
            continue;
        }
        if (!hasStarted) continue;
        std::fprintf(stderr, "\r");
        const auto conflicts = engine ? numberIn(engine->status, platform::kSyncSetUnresolvedConflictsCountKey) : 0;
        const auto errors = engine ? numberIn(engine->status, platform::kSyncSetUnresolvedErrorsCountKey) : 0;
        std::printf("The sync is over: %lld conflicts, %lld items not synced.\n", static_cast<long long>(conflicts),
                    static_cast<long long>(errors));
        return conflicts + errors > 0 ? kNeedsAttention : kDone;
    }
    std::fprintf(stderr, "roamerctl: no sync began within half a minute; \"roamerctl log\" may say why.\n");
    return kNeedsAttention;
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
    std::unique_ptr<platform::Pavo_Server> server;
    try {
        server = messaging->lookUpPavoServer(kPavoServerName);
        if (server != nullptr) send(options.message, *server);
    } catch (const platform::Failure& failure) {
        return refuse("the agent does not answer: " + failure.reason());
    }
    if (server != nullptr)
        return options.message == MessageOptions::Message::SyncNow && options.wait ? followPass() : kDone;
    if (options.message == MessageOptions::Message::Quit) {
        std::fprintf(stderr, "roamerctl: no agent runs in this session.\n");
        return kNeedsAttention;
    }
    // Without one that serves, the agent's program does the one thing itself and ends.
    const char* flag = options.message == MessageOptions::Message::SyncNow ? "-s" : "-r";
    return become(platform::systemPath(kAgent), {flag});
}

} // namespace roamer::ctl
