#include "output.h"

#include <array>
#include <cstdio>

#include "braid/text/folding.h"

namespace braid::cli
{

namespace
{

std::string jsonText(const std::string& bytes)
{
    std::string out = "\"";
    for (const char c : text::printable(bytes)) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
                std::array<char, 8> escape{};
                std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
                out += escape.data();
            } else {
                out += c;
            }
        }
    }
    return out + "\"";
}

template <class List, class Print>
std::string jsonList(const List& list, Print print)
{
    std::string out = "[";
    for (const auto& element : list) {
        if (out.size() > 1) out += ", ";
        out += print(element);
    }
    return out + "]";
}

std::string sizeText(std::uint64_t bytes)
{
    constexpr auto kUnits = std::to_array<const char*>({"bytes", "KB", "MB", "GB", "TB"});
    double number = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; number >= 1000 && unit + 1 < kUnits.size(); ++unit)
        number /= 1000;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", number, kUnits[unit]);
    return text.data();
}

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

} // namespace

std::string jsonReport(const PassReport& report, bool dryRun)
{
    const Counts& counts = report.counts;
    std::string out = "{\"result\": " + std::to_string(report.result);
    if (report.result != kPassSucceeded) out += ", \"reason\": " + jsonText(report.reason);
    if (dryRun) out += ", \"dryRun\": true";
    out += ", \"created\": " + std::to_string(counts.created);
    out += ", \"updated\": " + std::to_string(counts.updated);
    out += ", \"deleted\": " + std::to_string(counts.deleted);
    out += ", \"renamed\": " + std::to_string(counts.renamed);
    out += ", \"bytes\": " + std::to_string(counts.bytes);
    out += ", \"conflicts\": " + jsonList(report.conflicts, [](const Conflict& conflict) {
               return "{\"path\": " + jsonText(conflict.path) + ", \"kind\": " + jsonText(conflict.kind) + "}";
           });
    out += ", \"errors\": " + jsonList(report.errors, [](const ItemError& error) {
               return "{\"path\": " + jsonText(error.path) + ", \"message\": " + jsonText(error.message) + "}";
           });
    out += ", \"skipped\": " + jsonList(report.skipped, jsonText);
    return out + "}\n";
}

std::string plainReport(const PassReport& report, bool dryRun)
{
    const Counts& counts = report.counts;
    std::string out = dryRun ? "Would be: " : "";
    out += std::to_string(counts.created) + " created, " + std::to_string(counts.updated) + " updated, " +
           std::to_string(counts.deleted) + " deleted, " + std::to_string(counts.renamed) + " renamed, " +
           sizeText(counts.bytes) + " copied\n";
    for (const Conflict& conflict : report.conflicts) {
        out += "conflict (" + conflict.kind + "): " + text::printable(conflict.path) + "\n";
    }
    for (const ItemError& error : report.errors) {
        out += "error: " + text::printable(error.path) + ": " + error.message + "\n";
    }
    for (const std::string& path : report.skipped) {
        out += "left alone (no file, folder or link): " + text::printable(path) + "\n";
    }
    if (report.result == kPassSucceeded && report.conflicts.empty() && report.errors.empty() && !dryRun) {
        out += "Both homes are in step.\n";
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
