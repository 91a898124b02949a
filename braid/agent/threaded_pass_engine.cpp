#include "threaded_pass_engine.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <variant>

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

PassReport runWhole(const std::filesystem::path& localHome, const PassRequest& request,
                    const std::function<void(const Progress&)>& onProgress, const std::stop_token& stop)
{
    const auto found = findNetworkHome(request.networkHome);
    if (const auto* refused = std::get_if<Refusal>(&found)) return failed(refused->code, refused->reason);
    const auto& known = std::get<std::string>(found);
    const std::string opened = platform::systemPath(known);
    auto lock = waitForLock(localHome, stop);
    if (auto* report = std::get_if<PassReport>(&lock)) return std::move(*report);
    PassSettings settings;
    settings.localHome = localHome;
    settings.networkHome = opened;
    settings.jobs = request.jobs;
    settings.onProgress = [&](const Progress& progress) {
        auto shown = progress;
        hideSystemRoot(shown, opened, known);
        onProgress(shown);
    };
    return runPass(settings, stop, std::get<std::unique_ptr<EngineLock>>(lock).get());
}

} // namespace

ThreadedPassEngine::ThreadedPassEngine(std::filesystem::path localHome, PostToMain post)
    : mLocalHome(std::move(localHome)), mPost(std::move(post))
{
}

ThreadedPassEngine::~ThreadedPassEngine() = default;

void ThreadedPassEngine::start(PassRequest request, OnProgress onProgress, OnEnd onEnd)
{
    // Joins the thread of the pass before, which has nothing left to do once its end was told.
    mThread = std::jthread([this, request = std::move(request), onProgress = std::move(onProgress),
                            onEnd = std::move(onEnd)](const std::stop_token& stop) {
        auto report = runWhole(
            mLocalHome, request,
            [&](const Progress& progress) { mPost([onProgress, progress] { onProgress(progress); }); }, stop);
        mPost([onEnd, report = std::move(report)] { onEnd(report); });
    });
}

void ThreadedPassEngine::stop()
{
    mThread.request_stop();
}

OpenMatters ThreadedPassEngine::openMatters()
{
    return braid::openMatters(mLocalHome);
}

} // namespace braid::agent
