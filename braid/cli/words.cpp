#include "words.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "braid/reconcile/decide.h"

namespace braid::cli
{

namespace
{

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::string formatted(std::int64_t nanoseconds, const char* format, bool inUtc)
{
    const std::time_t seconds = nanoseconds / kNanosecondsPerSecond;
    std::tm parts{};
    if (!(inUtc ? ::gmtime_r(&seconds, &parts) : ::localtime_r(&seconds, &parts))) return {};
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), format, &parts);
    return text.data();
}

/// "5 bytes, 2026-01-31 23:59".
std::string factsOf(const Version& version)
{
    std::string facts;
    if (version.kind == Kind::File) facts = sizeText(static_cast<std::uint64_t>(version.size)) + ", ";
    return facts + timeText(version.mtime);
}

} // namespace

std::string sizeText(std::uint64_t bytes)
{
    constexpr auto kUnits = std::to_array<const char*>({"bytes", "KB", "MB", "GB", "TB"});
    if (bytes == 1) return "1 byte";
    double number = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; number >= 1000 && unit + 1 < kUnits.size(); ++unit)
        number /= 1000;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", number, kUnits[unit]);
    return text.data();
}

std::string timeText(std::int64_t nanoseconds)
{
    return formatted(nanoseconds, "%Y-%m-%d %H:%M", false);
}

std::string isoTime(std::int64_t nanoseconds)
{
    return formatted(nanoseconds, "%Y-%m-%dT%H:%M:%SZ", true);
}

const char* kindWord(Kind kind)
{
    switch (kind) {
    case Kind::Absent:
        return "nothing";
    case Kind::File:
        return "file";
    case Kind::Folder:
        return "folder";
    case Kind::Link:
        return "link";
    case Kind::Other:
        break;
    }
    return "special item";
}

std::string conflictWords(const Conflict& conflict)
{
    const auto& [path, kind, local, network] = conflict;
    if (kind == conflicts::kMassDeletion) {
        return "more than half of a home's items would be deleted; they were left where they are";
    }
    if (kind == conflicts::kNameCollision) {
        return "one of the homes cannot tell its name from that of another item beside it; rename one of them";
    }
    const bool goneHere = local.kind == Kind::Absent;
    const std::string where = goneHere ? "here" : "on the network";
    const std::string otherwise = goneHere ? "on the network" : "here";
    const Version& left = goneHere ? network : local;
    if (kind == conflicts::kDeleteFolder) {
        return "the folder was deleted " + where + ", and something in it was changed " + otherwise;
    }
    if (goneHere || network.kind == Kind::Absent) {
        return "deleted " + where + ", changed " + otherwise + " (" + factsOf(left) + ")";
    }
    if (local.kind != network.kind) {
        return "a " + std::string{kindWord(local.kind)} + " here (" + factsOf(local) + "), a " +
               kindWord(network.kind) + " on the network (" + factsOf(network) + ")";
    }
    const std::string what = kind == conflicts::kCreateCreate ? "new" : "changed";
    return what + " on both sides: here " + factsOf(local) + "; on the network " + factsOf(network);
}

} // namespace braid::cli
