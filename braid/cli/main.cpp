#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <thread>

#include "options.h"
#include "output.h"

namespace
{

using namespace braid;

std::stop_source gStop;
std::atomic<bool> gSignalled{false};

void onSignal(int)
{
    gSignalled = true;
}

/// Turns a signal into a stop request; request_stop() itself is nothing that a signal handler may call.
void watchSignals(const std::stop_token& ended)
{
    while (!ended.stop_requested()) {
        if (gSignalled) {
            gStop.request_stop();
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{20});
    }
}

/// Waits a little for another engine to end, since a pass is often a matter of seconds.
std::variant<std::unique_ptr<EngineLock>, std::string> waitForLock(const std::filesystem::path& localHome)
{
    constexpr std::chrono::seconds kPatience{5};
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (true) {
        auto taken = EngineLock::take(localHome);
        if (auto* lock = std::get_if<std::unique_ptr<EngineLock>>(&taken)) return std::move(*lock);
        if (auto* reason = std::get_if<std::string>(&taken)) return std::move(*reason);
        if (gSignalled) return std::string{"Stopped."};
        if (std::chrono::steady_clock::now() >= end) {
            return "Process " + std::to_string(std::get<EngineLock::Holder>(taken).pid) +
                   " is syncing this home already.";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{100});
    }
}

void showProgress(const Progress& progress)
{
    std::cerr << "\r\033[K" << cli::progressLine(progress) << std::flush;
}

PassReport runWithLock(const PassSettings& settings)
{
    PassReport report;
    if (auto reason = whyNotAPair(settings.localHome, settings.networkHome)) {
        report.result = kPassRefused;
        report.reason = *reason;
        return report;
    }
    if (settings.dryRun) return runPass(settings, gStop.get_token());
    auto lock = waitForLock(settings.localHome);
    if (auto* reason = std::get_if<std::string>(&lock)) {
        report.result = kPassRefused;
        report.reason = *reason;
        return report;
    }
    return runPass(settings, gStop.get_token(), std::get<std::unique_ptr<EngineLock>>(lock).get());
}

int runSync(cli::SyncOptions options)
{
    const bool onTerminal = ::isatty(STDERR_FILENO) == 1 && !options.json;
    if (onTerminal) options.settings.onProgress = showProgress;
    const PassReport report = runWithLock(options.settings);
    if (onTerminal) std::cerr << "\r\033[K";

    const bool dryRun = options.settings.dryRun;
    std::cout << (options.json ? cli::jsonReport(report, dryRun) : cli::plainReport(report, dryRun)) << std::flush;
    if (report.result != kPassSucceeded) {
        std::cerr << "braid: " << report.reason << "\n";
        return cli::kRefusedOrAborted;
    }
    for (const JobStatus& status : report.jobStatus) {
        if (status.name.empty()) continue;
        std::cerr << "braid: " << status.reason << "\n";
        return cli::kRefusedOrAborted;
    }
    return report.conflicts.empty() && report.errors.empty() ? cli::kInStep : cli::kMattersRemain;
}

} // namespace

int main(int argc, char** argv)
{
    auto parsed = cli::parse(argc, argv);
    if (const auto* status = std::get_if<cli::ExitStatus>(&parsed)) return *status;

    struct sigaction action {
    };
    action.sa_handler = onSignal;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGHUP, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    const std::jthread watcher{watchSignals};
    return runSync(std::get<cli::SyncOptions>(std::move(parsed)));
}
