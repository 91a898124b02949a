#include "threaded_pass_engine.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <utility>
#include <variant>

#include "braid/forget.h"
#include "known_state.h"
#include "platform/system_root.h"

namespace braid::agent
{

namespace
{

using namespace std::chrono_literals;

constexpr auto kLockWait = 10s;
constexpr auto kLockRetry = 100ms;

PassReport failed(int code, std::string reason)
{
    PassReport report;
    report.result = code;
    report.reason = std::move(reason);
    return report;
}

PassReport aborted()
{
    return failed(kPassAborted, "the sync was stopped");
}

/// The home's lock, once nobody else has it, or the report of a pass that could not be run for want of it.
std::variant<std::unique_ptr<EngineLock>, PassReport> waitForLock(const std::filesystem::path& home,
                                                                  const std::stop_token& stop)
{
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    const auto deadline = std::chrono::steady_clock::now() + kLockWait;
    while (true) {
        auto taken = EngineLock::take(home);
        if (auto* mine = std::get_if<std::unique_ptr<EngineLock>>(&taken)) return std::move(*mine);
        if (auto* reason = std::get_if<std::string>(&taken)) return failed(EACCES, *reason);
        if (std::chrono::steady_clock::now() >= deadline) {
            const int pid = std::get<EngineLock::Holder>(taken).pid;
            return failed(EBUSY, "the local home is being synced by another process" +
                                     (pid != 0 ? " (" + std::to_string(pid) + ")" : std::string()));
        }
        wake.wait_for(lock, stop, kLockRetry, [] { return false; });
        if (stop.stop_requested()) return aborted();
    }
}

/// Everybody else knows the network home without the system root in front.
void hideSystemRoot(Progress& progress, const std::string& opened, const std::string& known)
{
    if (progress.currentPath.starts_with(opened)) progress.currentPath.replace(0, opened.size(), known);
}

/// One request from finding the network home to giving its share back. A step answers why it must not go on, or
/// nothing.
class Work
{
public:
    /// Where the network home was found; called before anything in it is touched.
    using OnFound = std::function<void(const std::string& path)>;

    Work(const std::filesystem::path& localHome, Shares& shares, const PassRequest& request,
         const PassEngine::OnProgress& onProgress, const PassEngine::OnMatters& onMatters, const OnFound& onFound,
         const std::stop_token& stop)
        : mLocalHome(localHome), mShares(shares), mRequest(request), mOnProgress(onProgress), mOnMatters(onMatters),
          mOnFound(onFound), mStop(stop)
    {
    }

    PassResult run();

private:
    using Refused = std::optional<PassReport>;

    Refused reach();
    Refused lock();
    PassReport sync();
    PassReport decide();
    std::string opened() const { return platform::systemPath(mNetwork.path); }

    const std::filesystem::path& mLocalHome;
    Shares& mShares;
    const PassRequest& mRequest;
    const PassEngine::OnProgress& mOnProgress;
    const PassEngine::OnMatters& mOnMatters;
    const OnFound& mOnFound;
    const std::stop_token& mStop;
    ReachedHome mNetwork; ///< Held until the end.
    std::unique_ptr<EngineLock> mLock;
    PassResult mResult;
};

PassResult Work::run()
{
    if (auto refused = reach()) return {*std::move(refused), {}, {}};
    if (auto refused = lock()) return {*std::move(refused), {}, {}};
    mResult.report = mRequest.decisions.empty() ? sync() : decide();
    if (!mStop.stop_requested()) mResult.computers = meetComputers(opened(), mLocalHome, mResult.report);
    return std::move(mResult);
}

Work::Refused Work::reach()
{
    auto found = findNetworkHome(mRequest.networkHome, mShares);
    if (const auto* refused = std::get_if<Refusal>(&found)) return failed(refused->code, refused->reason);
    mNetwork = std::get<ReachedHome>(std::move(found));
    mOnFound(mNetwork.path);
    // By now the stop may have been told as done.
    if (mStop.stop_requested()) return aborted();
    if (const auto refused = whyNoHome(mNetwork.path)) return failed(refused->code, refused->reason);
    return std::nullopt;
}

Work::Refused Work::lock()
{
    auto taken = waitForLock(mLocalHome, mStop);
    if (auto* report = std::get_if<PassReport>(&taken)) return std::move(*report);
    mLock = std::get<std::unique_ptr<EngineLock>>(std::move(taken));
    if (!mRequest.forgetsFirst) return std::nullopt;
    const auto reason = forgetPasses(mLocalHome, *mLock);
    return reason ? Refused(failed(EIO, *reason)) : std::nullopt;
}

PassReport Work::sync()
{
    PassSettings settings;
    settings.localHome = mLocalHome;
    settings.networkHome = opened();
    settings.jobs = mRequest.jobs;
    settings.occasion = mRequest.occasion;
    settings.allowMassDeletion = mRequest.allowMassDeletion;
    settings.onProgress = [&](const Progress& progress) {
        auto shown = progress;
        hideSystemRoot(shown, opened(), mNetwork.path);
        mOnProgress(shown);
    };
    settings.onMatters = mOnMatters;
    return runPass(settings, mStop, mLock.get());
}

PassReport Work::decide()
{
    PassReport sum;
    for (const auto& decision : mRequest.decisions) {
        Resolution resolution{mLocalHome, opened(), {}, decision.keep, decision.exclusions};
        // What another pass or program settled meanwhile needs no decision any more.
        for (const auto& conflict : braid::openMatters(mLocalHome).conflicts) {
            if (std::ranges::find(decision.paths, conflict.path) != decision.paths.end()) {
                resolution.paths.push_back(conflict.path);
            }
        }
        if (resolution.paths.empty()) continue;
        auto report = resolveConflicts(resolution, mStop, mLock.get());
        std::ranges::move(report.beside, std::back_inserter(mResult.beside));
        std::ranges::move(report.pass.errors, std::back_inserter(sum.errors));
        std::ranges::move(report.pass.conflicts, std::back_inserter(sum.conflicts));
        sum.counts.created += report.pass.counts.created;
        sum.counts.updated += report.pass.counts.updated;
        sum.counts.deleted += report.pass.counts.deleted;
        sum.counts.bytes += report.pass.counts.bytes;
        if (report.pass.result == kPassSucceeded) continue;
        sum.result = report.pass.result;
        sum.reason = report.pass.reason;
        return sum;
    }
    return sum;
}

} // namespace

ThreadedPassEngine::ThreadedPassEngine(std::filesystem::path localHome, Shares& shares, PostToMain post)
    : mLocalHome(std::move(localHome)), mShares(shares), mPost(std::move(post))
{
}

ThreadedPassEngine::~ThreadedPassEngine() = default;

void ThreadedPassEngine::start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd)
{
    setNetworkHome(request.networkHome.path.value_or(""));
    // Joins the thread of the pass before, which has nothing left to do once its end was told.
    mThread = std::jthread([this, request = std::move(request), onProgress = std::move(onProgress),
                            onMatters = std::move(onMatters), onEnd = std::move(onEnd)](const std::stop_token& stop) {
        const PassEngine::OnProgress tell = [&](const Progress& progress) {
            mPost([onProgress, progress] { onProgress(progress); });
        };
        const PassEngine::OnMatters tellMatters = [&](const OpenMatters& fresh) {
            mPost([onMatters, fresh] { onMatters(fresh); });
        };
        const Work::OnFound found = [this](const std::string& path) { setNetworkHome(path); };
        // Over before its end is told: by then the share is given back and the home unlocked.
        auto result = Work(mLocalHome, mShares, request, tell, tellMatters, found, stop).run();
        mPost([onEnd, result = std::move(result)] { onEnd(result); });
    });
}

std::string ThreadedPassEngine::networkHome() const
{
    const std::scoped_lock lock(mHomeMutex);
    return mNetworkHome;
}

void ThreadedPassEngine::setNetworkHome(const std::string& path)
{
    const std::scoped_lock lock(mHomeMutex);
    mNetworkHome = path;
}

void ThreadedPassEngine::stop()
{
    mThread.request_stop();
}

OpenMatters ThreadedPassEngine::openMatters()
{
    return braid::openMatters(mLocalHome);
}

bool ThreadedPassEngine::isAsAgreed(const std::set<std::string>& paths)
{
    return agent::isAsAgreed(mLocalHome, paths);
}

std::optional<std::string> ThreadedPassEngine::forget()
{
    auto taken = EngineLock::take(mLocalHome);
    if (const auto* reason = std::get_if<std::string>(&taken)) return *reason;
    if (const auto* holder = std::get_if<EngineLock::Holder>(&taken)) {
        return holder->words() + " is syncing this home.";
    }
    return forgetPasses(mLocalHome, *std::get<std::unique_ptr<EngineLock>>(taken));
}

} // namespace braid::agent
