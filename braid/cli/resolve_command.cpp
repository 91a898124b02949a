#include <ostream>

#include "braid/text/folding.h"
#include "commands.h"
#include "console.h"
#include "json.h"
#include "output.h"

namespace braid::cli
{

namespace
{

std::string plainResolution(const Resolution& resolution, const ResolutionReport& report)
{
    std::string out;
    for (const auto& [path, beside] : report.beside) {
        out += text::printable(path) + ": both kept; the network's version is now " + text::printable(beside) + "\n";
    }
    out += plainMatters(report.pass);
    if (!report.pass.conflicts.empty() || !report.pass.errors.empty()) return out;
    const std::size_t count = resolution.paths.size();
    return out + std::to_string(count) + (count == 1 ? " conflict" : " conflicts") + " decided.\n";
}

std::string jsonBeside(const ResolutionReport& report)
{
    return json::list(report.beside, [](const auto& pair) {
        return json::Object{}.addText("path", pair.first).addText("networkVersion", pair.second).str();
    });
}

} // namespace

ExitStatus run(const ResolveOptions& options, Streams streams)
{
    if (auto reason = whyNoFolder(options.resolution.localHome)) {
        streams.err << "braid: " << *reason << "\n";
        return kRefusedOrAborted;
    }
    ResolutionReport report;
    report.pass = runInterruptibly([&](const std::stop_token& stop) {
        report = resolveConflicts(options.resolution, stop);
        return report.pass;
    });
    if (options.json) {
        streams.out << jsonObject(report.pass, false).add("beside", jsonBeside(report)).str() << "\n";
    } else if (report.pass.result == kPassSucceeded) {
        streams.out << plainResolution(options.resolution, report);
    }
    return statusOf(report.pass, streams);
}

} // namespace braid::cli
