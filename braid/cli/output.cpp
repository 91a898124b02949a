#include "output.h"

#include "braid/text/folding.h"
#include "colour.h"
#include "json.h"
#include "words.h"

namespace braid::cli
{

namespace
{

const char* stateWords(PassState state)
{
    switch (state) {
    case PassState::Starting:
        return "Starting";
    case PassState::Updating:
        return "Preparing";
    case PassState::Checking:
        return "Comparing";
    case PassState::Processing:
        return "Copying";
    case PassState::Cleanup:
        return "Finishing";
    default:
        return "";
    }
}

std::string jsonCounts(const std::map<std::string, std::uint64_t>& counts)
{
    json::Object object;
    for (const auto& [name, count] : counts)
        object.addNumber(name.c_str(), count);
    return object.str();
}

Colour colourOf(PlannedChange::What what)
{
    if (what == PlannedChange::What::Create) return Colour::Good;
    return what == PlannedChange::What::Delete ? Colour::Wrong : Colour::Open;
}

const char* changeWord(PlannedChange::What what)
{
    switch (what) {
    case PlannedChange::What::Create:
        return "create";
    case PlannedChange::What::Update:
        return "update";
    case PlannedChange::What::Rename:
        return "rename";
    case PlannedChange::What::Attributes:
        return "attributes";
    case PlannedChange::What::Delete:
        return "delete";
    }
    return "";
}

const char* placeWord(Peer where)
{
    return where == Peer::Local ? "local" : "network";
}

} // namespace

std::string plainChanges(const std::vector<PlannedChange>& changes)
{
    std::string out;
    for (const PlannedChange& change : changes) {
        out += std::string{placeWord(change.where)} + ": " + coloured(changeWord(change.what), colourOf(change.what)) +
               " ";
        if (!change.from.empty()) out += text::printable(change.from) + " -> ";
        out += text::printable(change.path) + "\n";
    }
    return out;
}

std::string jsonChanges(const std::vector<PlannedChange>& changes)
{
    return json::list(changes, [](const PlannedChange& change) {
        json::Object object;
        object.addText("do", changeWord(change.what)).addText("home", placeWord(change.where));
        if (!change.from.empty()) object.addText("from", change.from);
        return object.addText("path", change.path).str();
    });
}

json::Object jsonObject(const PassReport& report, bool dryRun)
{
    const auto conflict = [](const Conflict& c) {
        return json::Object{}.addText("path", c.path).addText("kind", c.kind).str();
    };
    const auto error = [](const ItemError& e) {
        return json::Object{}.addText("path", e.path).addText("message", e.message).str();
    };
    const Counts& counts = report.counts;
    json::Object object;
    object.addNumber("result", report.result);
    if (report.result != kPassSucceeded) object.addText("reason", report.reason);
    for (const JobStatus& status : report.jobStatus) {
        if (!status.name.empty()) object.addText("jobEnd", status.name).addText("reason", status.reason);
    }
    if (dryRun) object.add("dryRun", "true");
    object.addNumber("created", counts.created)
        .addNumber("updated", counts.updated)
        .addNumber("deleted", counts.deleted)
        .addNumber("renamed", counts.renamed)
        .addNumber("bytes", counts.bytes)
        .add("conflicts", json::list(report.conflicts, conflict))
        .add("errors", json::list(report.errors, error))
        .add("skipped", json::list(report.skipped, json::text))
        .addNumber("seconds", report.seconds)
        .add("localOps", jsonCounts(report.localOps))
        .add("networkOps", jsonCounts(report.networkOps));
    if (dryRun) object.add("changes", jsonChanges(report.planned));
    return object;
}

std::string jsonReport(const PassReport& report, bool dryRun)
{
    return jsonObject(report, dryRun).str() + "\n";
}

std::string plainMatters(const PassReport& report)
{
    std::string out;
    for (const Conflict& conflict : report.conflicts) {
        out += coloured("conflict (" + conflict.kind + "): ", Colour::Wrong) + text::printable(conflict.path) + "\n";
    }
    for (const ItemError& error : report.errors) {
        out += coloured("error: ", Colour::Wrong) + text::printable(error.path) + ": " + error.message + "\n";
    }
    return out;
}

std::string plainReport(const PassReport& report, bool dryRun)
{
    const Counts& counts = report.counts;
    std::string out = dryRun ? plainChanges(report.planned) + "Would be: " : "";
    out += std::to_string(counts.created) + " created, " + std::to_string(counts.updated) + " updated, " +
           std::to_string(counts.deleted) + " deleted, " + std::to_string(counts.renamed) + " renamed, " +
           sizeText(counts.bytes) + " copied\n";
    out += plainMatters(report);
    for (const std::string& path : report.skipped) {
        out += "left alone (no file, folder or link): " + text::printable(path) + "\n";
    }
    if (report.result == kPassSucceeded && report.conflicts.empty() && report.errors.empty() && !dryRun) {
        out += coloured("Both homes are in step.", Colour::Good) + "\n";
    }
    return out;
}

std::string progressLine(const Progress& progress)
{
    std::string line = stateWords(progress.state);
    if (progress.percent) line += " " + std::to_string(static_cast<int>(*progress.percent)) + " %";
    if (progress.totalItems != 0 && progress.state == PassState::Processing) {
        line += ", " + std::to_string(progress.completedItems) + " of " + std::to_string(progress.totalItems);
    }
    if (!progress.currentPath.empty()) line += "  " + text::printable(progress.currentPath);
    constexpr std::size_t kWidth = 78;
    if (line.size() > kWidth) line.resize(kWidth);
    return line;
}

} // namespace braid::cli
