#include "braid/home_status.h"

#include <ostream>

#include "braid/text/folding.h"
#include "colour.h"
#include "commands.h"
#include "json.h"
#include "words.h"

namespace braid::cli
{

namespace
{

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::string jsonStatus(const StatusOptions& options, const HomeStatus& status)
{
    json::Object object;
    object.add("local", json::Object{}
                            .addText("home", options.localHome.native())
                            .add("id", status.id ? json::text(*status.id) : "null")
                            .str());
    if (const auto& partner = status.partner) {
        object
            .add("network", json::Object{}
                                .add("home", partner->home.empty() ? "null" : json::text(partner->home))
                                .addText("id", partner->id)
                                .str())
            .addText("lastPass", isoTime(partner->lastPass * kNanosecondsPerSecond))
            .addNumber("items", partner->items);
    } else {
        object.add("network", "null").add("lastPass", "null").addNumber("items", 0);
    }
    object.addNumber("conflicts", status.matters.conflicts.size())
        .addNumber("errors", status.matters.errors.size())
        .addNumber("trashedVersions", status.trashedVersions)
        .addNumber("trashBytes", status.trashBytes)
        .add("enginePid", status.engine ? std::to_string(status.engine->pid) : "null");
    return object.str() + "\n";
}

/// What waits for a person stands out.
std::string counted(std::size_t count)
{
    return count == 0 ? "0" : coloured(std::to_string(count), Colour::Wrong);
}

std::string plainStatus(const StatusOptions& options, const HomeStatus& status)
{
    std::string out = "Local home:    " + text::printable(options.localHome.native());
    out += status.id ? " (" + *status.id + ")\n" : "\n";
    if (const auto& partner = status.partner) {
        const std::string home = partner->home.empty() ? "not known where" : text::printable(partner->home);
        out += "Network home:  " + home + " (" + partner->id + ")\n";
        out += "Last pass:     " + timeText(partner->lastPass * kNanosecondsPerSecond) + "\n";
        out += "In step:       " + std::to_string(partner->items) + " items\n";
        out += "Conflicts:     " + counted(status.matters.conflicts.size()) + "\n";
        out += "Not synced:    " + counted(status.matters.errors.size()) + "\n";
    } else {
        out += "Network home:  none; this home was never synced\n";
    }
    out += "Trash:         " + sizeText(status.trashBytes) + " in " + std::to_string(status.trashedVersions) +
           (status.trashedVersions == 1 ? " version\n" : " versions\n");
    out += "Engine:        ";
    out += status.engine ? status.engine->words() + " is at work\n" : "at rest\n";
    return out;
}

} // namespace

ExitStatus run(const StatusOptions& options, Streams streams)
{
    if (auto reason = whyNoFolder(options.localHome)) {
        streams.err << "braid: " << *reason << "\n";
        return kRefusedOrAborted;
    }
    const HomeStatus status = statusOf(options.localHome);
    streams.out << (options.json ? jsonStatus(options, status) : plainStatus(options, status));
    return kInStep;
}

} // namespace braid::cli
