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

PassReport compare(const PassSettings& settings, const std::stop_token& stop)
{
    if (auto reason = whyNotAPair(settings.localHome, settings.networkHome)) return refused(std::move(*reason));
    return runPass(settings, stop);
}

std::string plainFindings(const PassReport& report, bool agree)
{
    if (agree) return "Both homes and the archive agree.\n";
    std::string out = plainChanges(report.planned) + plainMatters(report);
    for (const std::string& path : report.unrecorded)
        out += "archive: not as it holds " + text::printable(path) + "\n";
    return out;
}

std::string jsonFindings(const PassReport& report, bool agree)
{
    const auto conflict = [](const Conflict& c) {
        return json::Object{}.addText("path", c.path).addText("kind", c.kind).str();
    };
    const auto error = [](const ItemError& e) {
        return json::Object{}.addText("path", e.path).addText("message", e.message).str();
    };
    json::Object object;
    object.addNumber("result", report.result);
    if (report.result != kPassSucceeded) object.addText("reason", report.reason);
    object.add("agree", agree ? "true" : "false")
        .add("changes", jsonChanges(report.planned))
        .add("unrecorded", json::list(report.unrecorded, json::text))
        .add("conflicts", json::list(report.conflicts, conflict))
        .add("errors", json::list(report.errors, error));
    return object.str() + "\n";
}

} // namespace

ExitStatus run(const CheckOptions& options, Streams streams)
{
    const PassReport report =
        runInterruptibly([&](const std::stop_token& stop) { return compare(options.settings, stop); });
    const bool isDone = report.result == kPassSucceeded;
    const bool agree = isDone && report.planned.empty() && report.unrecorded.empty() && report.conflicts.empty() &&
                       report.errors.empty();
    if (options.json) {
        streams.out << jsonFindings(report, agree);
    } else if (isDone) {
        streams.out << plainFindings(report, agree);
    }
    if (!isDone) return statusOf(report, streams);
    return agree ? kInStep : kMattersRemain;
}

} // namespace braid::cli
