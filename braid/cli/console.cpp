#include "console.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <ostream>
#include <thread>

namespace braid::cli
{

namespace
{

constexpr std::chrono::seconds kPatience{5}; // a pass is often a matter of seconds

std::atomic<bool> gSignalled{false};

void onSignal(int)
{
    gSignalled = true;
}

/// Turns a signal into a stop request; request_stop() itself is nothing that a signal handler may call.
void watchSignals(const std::stop_token& ended, const std::stop_source& stop)
{
    while (!ended.stop_requested()) {
        if (gSignalled) {
            stop.request_stop();
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{20});
    }
}

} // namespace

PassReport runInterruptibly(const std::function<PassReport(std::stop_token)>& work)
{
    struct sigaction action {
    };
    action.sa_handler = onSignal;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    std::stop_source stop;
    const std::jthread watcher{watchSignals, stop};
    return work(stop.get_token());
}

std::variant<std::unique_ptr<EngineLock>, std::string> waitForLock(const std::filesystem::path& localHome,
                                                                   const std::stop_token& stop)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (true) {
        auto taken = EngineLock::take(localHome);
        if (auto* lock = std::get_if<std::unique_ptr<EngineLock>>(&taken)) return std::move(*lock);
        if (auto* reason = std::get_if<std::string>(&taken)) return std::move(*reason);
        if (stop.stop_requested()) return std::string{"Stopped."};
        if (std::chrono::steady_clock::now() >= end) {
            return std::get<EngineLock::Holder>(taken).words() +
                   " is syncing this home already. Try again when it is done.";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{100});
    }
}

std::optional<std::string> whyNoFolder(const std::filesystem::path& folder)
{
    std::error_code error;
    const auto status = std::filesystem::status(folder, error);
    if (std::filesystem::is_directory(status)) {
        // What is not readable would pass for a home without conflicts that was never synced.
        const bool isHidden = ::access((folder / ".Braid").c_str(), R_OK | X_OK) != 0 && errno == EACCES;
        return isHidden ? std::optional("The permissions do not allow to look into \"" + folder.native() + "\".")
                        : std::nullopt;
    }
    if (std::filesystem::exists(status)) return "\"" + folder.native() + "\" is no folder.";
    if (error == std::errc::permission_denied)
        return "The permissions do not allow to reach \"" + folder.native() + "\".";
    return "There is no folder \"" + folder.native() + "\".";
}

PassReport refused(std::string reason)
{
    PassReport report;
    report.result = kPassRefused;
    report.reason = std::move(reason);
    return report;
}

ExitStatus statusOf(const PassReport& report, Streams streams)
{
    if (report.result != kPassSucceeded) {
        streams.err << "braid: " << report.reason << "\n";
        return kRefusedOrAborted;
    }
    for (const JobStatus& status : report.jobStatus) {
        if (status.name.empty()) continue;
        streams.err << "braid: " << status.reason << "\n";
        return kRefusedOrAborted;
    }
    return report.conflicts.empty() && report.errors.empty() ? kInStep : kMattersRemain;
}

} // namespace braid::cli
