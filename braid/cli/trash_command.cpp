#include <algorithm>
#include <cerrno>
#include <ctime>
#include <ostream>
#include <set>

#include "braid/home/trash_versions.h"
#include "braid/jobs/coverage.h"
#include "braid/text/folding.h"
#include "commands.h"
#include "console.h"
#include "json.h"
#include "words.h"

namespace braid::cli
{

namespace
{

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::time_t kSecondsPerDay = 24L * 60 * 60;

bool isWanted(const TrashOptions& options, const std::string& path)
{
    return options.paths.empty() || std::ranges::any_of(options.paths, [&](const std::string& wanted) {
               const std::string normal = normalPath(wanted);
               return path == normal || liesBelow(path, normal);
           });
}

/// What the options name; with `newestOnly` one version of each path.
std::vector<TrashedVersion> chosen(const TrashOptions& options, std::vector<TrashedVersion> versions, bool newestOnly)
{
    std::set<std::string> seen;
    std::erase_if(versions, [&](const TrashedVersion& version) {
        if (!isWanted(options, version.path)) return true;
        if (!options.pass.empty() && version.pass != options.pass) return true;
        return newestOnly && !seen.insert(version.path).second;
    });
    return versions;
}

ExitStatus refuse(const std::string& reason, Streams streams)
{
    streams.err << "braid: " << reason << "\n";
    return kRefusedOrAborted;
}

std::string reasonOf(const Problem& problem)
{
    return text::printable(problem.path) + ": " + problem.words();
}

ExitStatus list(const TrashOptions& options, const std::vector<TrashedVersion>& versions, Streams streams)
{
    if (options.json) {
        const auto print = [](const TrashedVersion& version) {
            return json::Object{}
                .addText("pass", version.pass)
                .addText("when", isoTime(version.when * kNanosecondsPerSecond))
                .addText("path", version.path)
                .addText("kind", kindWord(version.stat.kind))
                .addNumber("size", version.stat.size)
                .str();
        };
        streams.out << json::Object{}.add("versions", json::list(versions, print)).str() << "\n";
        return kInStep;
    }
    if (versions.empty()) {
        streams.out << (options.paths.empty() ? "The trash is empty.\n" : "The trash has no such version.\n");
        return kInStep;
    }
    std::string pass;
    for (const TrashedVersion& version : versions) {
        if (version.pass != pass) {
            pass = version.pass;
            streams.out << timeText(version.when * kNanosecondsPerSecond) << ", pass " << pass << ":\n";
        }
        streams.out << "  " << text::printable(version.path) << " (";
        if (version.stat.kind == Kind::File) {
            streams.out << sizeText(static_cast<std::uint64_t>(version.stat.size)) << ")\n";
        } else {
            streams.out << kindWord(version.stat.kind) << ")\n";
        }
    }
    return kInStep;
}

ExitStatus restore(const TrashOptions& options, const std::vector<TrashedVersion>& versions, Streams streams)
{
    if (versions.empty())
        return refuse("The trash has no such version. \"braid trash list\" shows what there is.", streams);
    ExitStatus status = kInStep;
    std::vector<std::pair<std::string, std::string>> restored;
    for (const TrashedVersion& version : versions) {
        const auto path = restoreVersion(options.home, version);
        if (path) {
            restored.emplace_back(version.path, *path);
        } else {
            streams.err << "braid: " << reasonOf(path.problem()) << "\n";
            status = kMattersRemain;
        }
    }
    if (options.json) {
        const auto print = [](const auto& pair) {
            return json::Object{}.addText("path", pair.first).addText("restoredAs", pair.second).str();
        };
        streams.out << json::Object{}.add("restored", json::list(restored, print)).str() << "\n";
        return status;
    }
    for (const auto& [path, name] : restored) {
        streams.out << "Restored " << text::printable(path);
        if (name != path) streams.out << " as " << text::printable(name);
        streams.out << "\n";
    }
    return status;
}

ExitStatus empty(const TrashOptions& options, Streams streams)
{
    // A pass that is under way may be moving something there.
    if (const auto holder = EngineLock::holder(options.home)) {
        return refuse(holder->words() + " is syncing this home. Try again when it is done.", streams);
    }
    const std::time_t now = std::time(nullptr);
    const auto removed = emptyTrash(options.home, options.days == 0 ? now + 1 : now - options.days * kSecondsPerDay);
    if (!removed) return refuse(reasonOf(removed.problem()), streams);
    if (options.json) {
        streams.out << json::Object{}.addNumber("removedPasses", *removed).str() << "\n";
    } else if (*removed == 0) {
        streams.out << "Nothing to remove.\n";
    } else {
        streams.out << "Removed what " << *removed << (*removed == 1 ? " pass" : " passes") << " had put there.\n";
    }
    return kInStep;
}

} // namespace

ExitStatus run(const TrashOptions& options, Streams streams)
{
    if (auto reason = whyNoFolder(options.home)) return refuse(*reason, streams);
    if (options.verb == TrashOptions::Verb::Empty) return empty(options, streams);
    auto versions = listTrash(options.home);
    if (!versions) return refuse(reasonOf(versions.problem()), streams);
    const bool restores = options.verb == TrashOptions::Verb::Restore;
    const auto wanted = chosen(options, std::move(*versions), restores);
    return restores ? restore(options, wanted, streams) : list(options, wanted, streams);
}

} // namespace braid::cli
