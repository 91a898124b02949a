#include "braid/engine.h"

#include <chrono>

#include "pass_run.h"

namespace braid
{

PassReport runPass(const PassSettings& settings, std::stop_token stop, EngineLock* held)
{
    const auto start = std::chrono::steady_clock::now();
    PassReport report = PassRun{settings, std::move(stop), held}.run();
    report.seconds = std::chrono::duration<double>{std::chrono::steady_clock::now() - start}.count();
    return report;
}

std::optional<std::string> whyNotAPair(const std::filesystem::path& localHome, const std::filesystem::path& networkHome)
{
    return whyNotHomes(localHome, networkHome);
}

OpenMatters openMatters(const std::filesystem::path& localHome)
{
    const auto archive = Archive::openForQuestions(localHome);
    if (!archive || !archive->useLastPair()) return {};
    return archive->matters();
}

} // namespace braid
