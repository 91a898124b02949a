#include "braid/engine.h"

#include <chrono>

#include "braid/disk/open_files.h"
#include "braid/disk/seam.h"
#include "pass_run.h"

namespace braid
{

namespace
{

std::map<std::string, std::uint64_t> difference(const auto& before, const auto& after)
{
    std::map<std::string, std::uint64_t> counts;
    for (const auto& [operation, name] : seam::kOperationNames) {
        const auto index = static_cast<std::size_t>(operation);
        if (after[index] != before[index]) counts.emplace(name, after[index] - before[index]);
    }
    return counts;
}

} // namespace

void allowManyOpenFiles()
{
    constexpr std::size_t kMany = 8192;
    disk::allowOpenFiles(kMany);
}

PassReport runPass(const PassSettings& settings, std::stop_token stop, EngineLock* held)
{
    const seam::OperationCounts before = seam::operationCounts();
    const auto start = std::chrono::steady_clock::now();
    PassReport report = PassRun{settings, std::move(stop), held}.run();
    report.seconds = std::chrono::duration<double>{std::chrono::steady_clock::now() - start}.count();
    const seam::OperationCounts after = seam::operationCounts();
    report.localOps = difference(before.local, after.local);
    report.networkOps = difference(before.network, after.network);
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
