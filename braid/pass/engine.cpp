#include "braid/engine.h"

#include <sys/stat.h>

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
    const std::filesystem::path folder = localHome / ".Braid";
    struct stat facts {
    };
    if (::stat((folder / "archive.sqlite").c_str(), &facts) != 0) return {};
    // A pass may be writing: as another reader of the same database we see its last commit.
    auto archive = Archive::open(folder.native(), true);
    if (!archive) archive = Archive::open(folder.native(), false);
    if (!archive) return {};
    return (*archive)->mattersOfLastPair();
}

} // namespace braid
