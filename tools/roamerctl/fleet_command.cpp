#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <tuple>

#include "braid/agent/computers.h"
#include "colour.h"
#include "commands.h"

namespace roamer::ctl
{

namespace
{

namespace fs = std::filesystem;

constexpr std::int64_t kLongAgoSeconds = std::int64_t{7} * 24 * 60 * 60;

struct Row {
    std::string home;
    braid::agent::Computer computer;
};

/// People whose files wait come first, then those who were not heard of for longest.
bool needsHelpBefore(const Row& a, const Row& b)
{
    const auto key = [](const Row& row) {
        const auto& c = row.computer;
        return std::tuple(-static_cast<std::int64_t>(c.heldDeletions),
                          -static_cast<std::int64_t>(c.conflicts + c.errors), c.lastGoodPass);
    };
    return key(a) < key(b);
}

/// A name as a person wrote it, without what would steer a terminal or end a quoted text.
std::string shown(const std::string& name)
{
    std::string text;
    for (const unsigned char c : name)
        text += c < ' ' || c == 0x7f || c == '"' || c == '\\' ? '?' : static_cast<char>(c);
    return text;
}

std::string ageOf(std::int64_t time)
{
    if (time == 0) return "never";
    const auto seconds = std::max<std::int64_t>(std::time(nullptr) - time, 0);
    if (seconds < 7200) return std::to_string(seconds / 60) + " min";
    if (seconds < 172800) return std::to_string(seconds / 3600) + " h";
    return std::to_string(seconds / 86400) + " days";
}

std::vector<Row> rowsOf(const std::string& folder)
{
    std::vector<Row> rows;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        if (!fs::is_directory(fs::symlink_status(it->path(), error))) continue;
        for (auto& computer : braid::agent::computersOf(it->path()))
            rows.push_back({it->path().filename().string(), std::move(computer)});
    }
    std::ranges::stable_sort(rows, needsHelpBefore);
    return rows;
}

/// A number that waits for somebody stands out.
std::string counted(std::uint64_t count, std::size_t width)
{
    auto text = std::to_string(count);
    if (text.size() < width) text.insert(0, width - text.size(), ' ');
    return count == 0 ? text : coloured(text, Colour::Wrong);
}

std::string agedColumn(std::int64_t lastGoodPass)
{
    constexpr std::size_t kWidth = 12;
    auto text = ageOf(lastGoodPass);
    if (text.size() < kWidth) text.append(kWidth - text.size(), ' ');
    const bool isOld = std::time(nullptr) - lastGoodPass > kLongAgoSeconds;
    return isOld ? coloured(text, Colour::Open) : text;
}

void printTable(const std::vector<Row>& rows)
{
    std::array<char, 128> head{};
    std::snprintf(head.data(), head.size(), "%-20s %-20s %-12s %9s %6s %6s  %s", "home", "computer", "last good",
                  "conflicts", "held", "errors", "version");
    std::printf("%s\n", coloured(head.data(), Colour::Strong).c_str());
    for (const auto& [home, c] : rows) {
        std::printf("%-20s %-20s %s %s %s %s  %s\n", shown(home).c_str(), shown(c.name).c_str(),
                    agedColumn(c.lastGoodPass).c_str(), counted(c.conflicts, 9).c_str(),
                    counted(c.heldDeletions, 6).c_str(), counted(c.errors, 6).c_str(), shown(c.version).c_str());
    }
}

void printJson(const std::vector<Row>& rows)
{
    QJsonArray json;
    for (const auto& [home, c] : rows) {
        json.append(QJsonObject{{"home", QString::fromStdString(home)},
                                {"computer", QString::fromStdString(c.name)},
                                {"id", QString::fromStdString(c.id)},
                                {"lastPass", static_cast<qint64>(c.lastPass)},
                                {"lastGoodPass", static_cast<qint64>(c.lastGoodPass)},
                                {"conflicts", static_cast<qint64>(c.conflicts)},
                                {"heldDeletions", static_cast<qint64>(c.heldDeletions)},
                                {"errors", static_cast<qint64>(c.errors)},
                                {"version", QString::fromStdString(c.version)}});
    }
    std::printf("%s\n", QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
}

/// The text format that Prometheus reads, for example from the node exporter's folder.
void printPrometheus(const std::vector<Row>& rows)
{
    struct Metric {
        const char* name;
        const char* help;
        std::int64_t (*value)(const braid::agent::Computer&);
    };
    using braid::agent::Computer;
    static constexpr Metric kMetrics[] = {
        {"roamer_last_good_pass_timestamp_seconds", "When the last sync ran to its end.",
         [](const Computer& c) { return c.lastGoodPass; }},
        {"roamer_conflicts", "Conflicts that wait for a person.",
         [](const Computer& c) { return static_cast<std::int64_t>(c.conflicts); }},
        {"roamer_held_deletions", "Deletions of most of a home that wait for a person.",
         [](const Computer& c) { return static_cast<std::int64_t>(c.heldDeletions); }},
        {"roamer_errors", "Items that could not be synced.",
         [](const Computer& c) { return static_cast<std::int64_t>(c.errors); }},
    };
    for (const auto& metric : kMetrics) {
        std::printf("# HELP %s %s\n# TYPE %s gauge\n", metric.name, metric.help, metric.name);
        for (const auto& [home, c] : rows) {
            std::printf("%s{home=\"%s\",computer=\"%s\",id=\"%s\"} %lld\n", metric.name, shown(home).c_str(),
                        shown(c.name).c_str(), shown(c.id).c_str(), static_cast<long long>(metric.value(c)));
        }
    }
}

} // namespace

ExitStatus run(const FleetOptions& options)
{
    std::error_code error;
    if (!fs::is_directory(options.folder, error)) {
        return refuse("there is no folder \"" + options.folder +
                      "\" that can be looked at. Name the one that holds the "
                      "network homes, on the server.");
    }
    const auto rows = rowsOf(options.folder);
    switch (options.form) {
    case FleetOptions::Form::Table:
        printTable(rows);
        break;
    case FleetOptions::Form::Json:
        printJson(rows);
        break;
    case FleetOptions::Form::Prometheus:
        printPrometheus(rows);
        break;
    }
    const bool isCalm = std::ranges::all_of(rows, [](const Row& row) {
        return row.computer.conflicts + row.computer.heldDeletions + row.computer.errors == 0;
    });
    return isCalm ? kDone : kNeedsAttention;
}

} // namespace roamer::ctl
