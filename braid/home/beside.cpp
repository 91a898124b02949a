#include "beside.h"

#include <array>
#include <ctime>

namespace braid
{

namespace
{

constexpr std::size_t kMaxName = 255;
constexpr std::size_t kMaxExtension = 16; // with its dot; what is longer is part of a sentence
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::string dayOf(std::int64_t mtime)
{
    const std::time_t seconds = mtime / kNanosecondsPerSecond;
    std::tm parts{};
    std::array<char, 32> text{};
    if (::localtime_r(&seconds, &parts)) std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts);
    return text.data();
}

std::string_view extensionOf(std::string_view name)
{
    const auto dot = name.rfind('.');
    // A dot in front hides a file.
    if (dot == std::string_view::npos || dot == 0 || name.size() - dot > kMaxExtension) return {};
    return name.substr(dot);
}

bool continuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

} // namespace

std::string nameBeside(std::string_view name, std::string_view label, std::int64_t mtime, bool isFolder,
                       unsigned attempt)
{
    const std::string_view extension = isFolder ? std::string_view{} : extensionOf(name);
    std::string_view stem = name.substr(0, name.size() - extension.size());
    std::string note = " (" + std::string{label} + ", " + dayOf(mtime);
    if (attempt > 1) note += ", " + std::to_string(attempt);
    note += ")";
    note += extension;
    const std::size_t room = kMaxName - note.size();
    if (stem.size() > room) {
        std::size_t end = room;
        while (end > 0 && continuesCharacter(stem[end]))
            --end;
        stem = stem.substr(0, end);
    }
    return std::string{stem} + note;
}

} // namespace braid
