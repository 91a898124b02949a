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

std::string jsonVersion(const Version& version)
{
    if (version.kind == Kind::Absent) return "null";
    return json::Object{}
        .addText("kind", kindWord(version.kind))
        .addNumber("size", version.size)
        .addText("modified", isoTime(version.mtime))
        .str();
}

std::string jsonMatters(const OpenMatters& matters)
{
    const auto conflict = [](const Conflict& c) {
        return json::Object{}
            .addText("path", c.path)
            .addText("kind", c.kind)
            .add("local", jsonVersion(c.local))
            .add("network", jsonVersion(c.network))
            .str();
    };
    const auto error = [](const ItemError& e) {
        return json::Object{}.addText("path", e.path).addText("message", e.message).str();
    };
    return json::Object{}
               .add("conflicts", json::list(matters.conflicts, conflict))
               .add("errors", json::list(matters.errors, error))
               .str() +
           "\n";
}

std::string plainMatters(const OpenMatters& matters)
{
    if (matters.conflicts.empty() && matters.errors.empty()) return coloured("No conflicts.", Colour::Good) + "\n";
    std::string out;
    for (const Conflict& conflict : matters.conflicts)
        out += coloured(text::printable(conflict.path), Colour::Wrong) + ": " + conflictWords(conflict) + "\n";
    for (const ItemError& error : matters.errors)
        out += coloured(text::printable(error.path), Colour::Wrong) + ": not synced. " + error.message + "\n";
    return out;
}

} // namespace

ExitStatus run(const ConflictsOptions& options, Streams streams)
{
    if (auto reason = whyNoFolder(options.localHome)) {
        streams.err << "braid: " << *reason << "\n";
        return kRefusedOrAborted;
    }
    const OpenMatters matters = openMatters(options.localHome);
    streams.out << (options.json ? jsonMatters(matters) : plainMatters(matters));
    return matters.conflicts.empty() && matters.errors.empty() ? kInStep : kMattersRemain;
}

} // namespace braid::cli
