#include <unistd.h>

#include <ostream>

#include "commands.h"
#include "console.h"
#include "output.h"

namespace braid::cli
{

namespace
{

PassReport runWithLock(const PassSettings& settings, const std::stop_token& stop)
{
    if (auto reason = whyNotAPair(settings.localHome, settings.networkHome)) return refused(std::move(*reason));
    if (settings.dryRun) return runPass(settings, stop);
    auto lock = waitForLock(settings.localHome, stop);
    if (auto* reason = std::get_if<std::string>(&lock)) return refused(std::move(*reason));
    return runPass(settings, stop, std::get<std::unique_ptr<EngineLock>>(lock).get());
}

/// A pass that could not begin has not even zeros to tell of.
bool hasSomethingToSay(const PassReport& report, bool dryRun)
{
    if (report.result == kPassSucceeded) return true;
    const auto& [created, updated, deleted, renamed, bytes] = report.counts;
    return !dryRun && (report.result == kPassAborted || created + updated + deleted + renamed > 0);
}

} // namespace

ExitStatus run(const SyncOptions& options, Streams streams)
{
    PassSettings settings = options.settings;
    const bool onTerminal = ::isatty(STDERR_FILENO) == 1 && !options.json;
    if (onTerminal) {
        settings.onProgress = [&](const Progress& progress) {
            streams.err << "\r\033[K" << progressLine(progress) << std::flush;
        };
    }
    const PassReport report =
        runInterruptibly([&](const std::stop_token& stop) { return runWithLock(settings, stop); });
    if (onTerminal) streams.err << "\r\033[K";

    const bool dryRun = settings.dryRun;
    if (options.json) {
        streams.out << jsonReport(report, dryRun);
    } else if (hasSomethingToSay(report, dryRun)) {
        streams.out << plainReport(report, dryRun);
    }
    streams.out << std::flush;
    return statusOf(report, streams);
}

} // namespace braid::cli
