#include "engine_process.h"

#include <unistd.h>

#include <QCoreApplication>

#include "braid/protocol.h"
#include "bus_service.h"
#include "conflicts_process.h"
#include "inotify_watcher.h"
#include "platform/linux/message_port.h"
#include "platform/linux/run_loop.h"
#include "server_question.h"
#include "sync_agent.h"
#include "threaded_pass_engine.h"
#include "util/debug_log.h"
#include "watched_pass_engine.h"

namespace braid::agent
{

namespace
{

using platform::seconds;
using roamer::DebugLog;

constexpr double kLoginTrySeconds = 0.05;
constexpr double kSessionTrySeconds = 0.5;
constexpr double kLoginPatienceSeconds = 8;
// Whoever ended the engine before looks for its name ten times a second, and shall see that it is gone.
constexpr double kNamePauseSeconds = 1;
// A pass that obeys has ended by then; one that does not is stuck in a call to a server that does not answer.
constexpr double kNameGoneSeconds = 0.1;
// Killing it there loses nothing.
constexpr double kLongestEndSeconds = 5;

QString latin(const char* text)
{
    return QString::fromLatin1(text);
}

} // namespace

struct EngineProcess::Serving {
    Serving(EngineProcess& process, const PostToMain& post)
        : port(platform::makeMessagePort()), shares(*port, process.mCodec), store(process.mCodec, process.mHome),
          setAside(process.mCodec, process.mHome), question(post), passes(process.mHome, shares, post),
          engine(
              passes, *process.mRunLoop, [this] { return passes.networkHome(); },
              [this](const std::string& home, std::function<void()> answered) {
                  question.ask(home, std::move(answered));
              }),
          watcher(process.mHome, post), conflictsApp(process.mBus),
          syncAgent({*process.mRunLoop, store, setAside, engine, watcher, conflictsApp},
                    process.mKind == AgentPlace::Kind::Session),
          service(new BusService(syncAgent, process.mHome, process.mBus, &process))
    {
    }

    std::unique_ptr<platform::MessagePort> port;
    Shares shares;
    SyncSetStore store;
    SetAside setAside;
    ServerQuestion question;
    ThreadedPassEngine passes;
    WatchedPassEngine engine;
    InotifyWatcher watcher;
    ConflictsProcess conflictsApp;
    SyncAgent syncAgent;
    BusService* service; ///< The process object's, as adaptors are.
};

EngineProcess::EngineProcess(std::string localHome, AgentPlace::Kind kind, platform::PropertyListCodec& codec,
                             platform::BusConnection& bus, std::function<void()> startAnew)
    : mHome(std::move(localHome)), mKind(kind), mCodec(codec), mBus(bus), mStartAnew(std::move(startAnew)),
      mRunLoop(platform::makeRunLoop()), mPlace(mHome, kind),
      mSignals(bus, [this](EndSignals::Wish wish) { asked(wish); }), mStarted(mRunLoop->now())
{
}

EngineProcess::~EngineProcess()
{
    // It speaks to what goes next.
    if (mServing) delete mServing->service;
}

EngineProcess::End EngineProcess::run()
{
    mTimer = mRunLoop->after(seconds(0), [this] { tryPlace(); });
    QCoreApplication::exec();
    return mEnd;
}

void EngineProcess::tryPlace()
{
    const auto attempt = mPlace.tryToTake();
    if (attempt == AgentPlace::Attempt::Busy) {
        if (!mayWait()) return finish(End::Failed);
        const bool isLogin = mKind == AgentPlace::Kind::Login;
        if (isLogin) mPlace.askHolderToLeave();
        mHadToWait = true;
        mTimer = mRunLoop->after(seconds(isLogin ? kLoginTrySeconds : kSessionTrySeconds), [this] { tryPlace(); });
        return;
    }
    if (attempt == AgentPlace::Attempt::Impossible) {
        DebugLog(0, "place: cannot be taken, nothing can be synced reason=\"%s\"", mPlace.whyImpossible().c_str());
    }
    const bool pauses = mHadToWait && mKind == AgentPlace::Kind::Session;
    mTimer = mRunLoop->after(seconds(pauses ? kNamePauseSeconds : 0), [this] { serve(); });
}

/// Says why not.
bool EngineProcess::mayWait()
{
    if (mKind == AgentPlace::Kind::Login) {
        if (mRunLoop->now() - mStarted < seconds(kLoginPatienceSeconds)) return true;
        DebugLog(0, "place: the engine that has the home does not leave it");
        return false;
    }
    if (mHadToWait) return true;
    if (mBus.hasOwner(latin(protocol::kBusName)) && !mPlace.loginIsAtWork()) {
        DebugLog(0, "%s is served by another process already", protocol::kBusName);
        return false;
    }
    if (!mBus.connection().registerService(latin(protocol::kWaitingBusName))) {
        DebugLog(0, "place: another engine of this session waits for it already");
        return false;
    }
    DebugLog(1, "place: waiting for the engine that has the home");
    return true;
}

void EngineProcess::serve()
{
    const PostToMain post = [this](std::function<void()> task) {
        QMetaObject::invokeMethod(this, std::move(task), Qt::QueuedConnection);
    };
    mServing = std::make_unique<Serving>(*this, post);
    if (mHadToWait) mBus.connection().unregisterService(latin(protocol::kWaitingBusName));
    if (mServing->service->takeName()) return;
    DebugLog(0, "%s is served by another process already", protocol::kBusName);
    finish(End::Failed);
}

void EngineProcess::asked(EndSignals::Wish wish)
{
    if (mIsEnding) return;
    mIsEnding = true;
    const bool comesBack = wish == EndSignals::Wish::Leave && mKind == AgentPlace::Kind::Session;
    const End end = comesBack ? End::Again : End::Done;
    if (!mServing) return finish(end);
    mBusTimer = mRunLoop->after(seconds(kNameGoneSeconds), [this] { leaveBus(); });
    mTimer = mRunLoop->after(seconds(kLongestEndSeconds), [this, comesBack] {
        DebugLog(0, "agent: the running pass did not end; ending without it");
        if (comesBack) mStartAnew();
        ::_exit(0);
    });
    mServing->syncAgent.end([this, end] { finish(end); });
}

/// The name first: who waits for it to go looks at the bus, who waits for the place looks at the lock.
void EngineProcess::leaveBus()
{
    mBusTimer.invalidate();
    mServing->service->giveUpName();
    mBus.flush();
    mPlace.leave();
}

void EngineProcess::finish(End end)
{
    mEnd = end;
    mTimer.invalidate();
    if (mServing && mIsEnding) leaveBus();
    if (mServing && (mServing->engine.isStuck() || mServing->question.isUnderWay())) {
        // Nothing waits for a server that may never come back.
        DebugLog(1, "agent: ending without what waits for the server");
        if (end == End::Again) mStartAnew();
        ::_exit(0);
    }
    QCoreApplication::quit();
}

} // namespace braid::agent
