#pragma once

#include <functional>

#include "commands.h"

/// A pass as a person at a terminal runs it: it can be interrupted, waits a little for another engine, shows how far
/// it is.
namespace braid::cli
{

/// Ends the pass with a stop request when the process is told to end. `work` gets the token of that request.
PassReport runInterruptibly(const std::function<PassReport(std::stop_token)>& work);

/// The lock of the local home, waiting some seconds for another engine to end; or why it cannot be had, in words.
std::variant<std::unique_ptr<EngineLock>, std::string> waitForLock(const std::filesystem::path& localHome,
                                                                   const std::stop_token& stop);

PassReport refused(std::string reason);

/// Says on the error stream why the pass, or one of its jobs, did not do its work.
ExitStatus statusOf(const PassReport& report, Streams streams);

} // namespace braid::cli
