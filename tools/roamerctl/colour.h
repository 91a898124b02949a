#pragma once

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace roamer::ctl
{

enum class Colour { Good = 32, Wrong = 31, Open = 33 };

/// The text in a colour where standard output is a terminal and nobody asked for none (NO_COLOR).
inline std::string coloured(const std::string& text, Colour colour)
{
    static const bool isWanted = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
    if (!isWanted) return text;
    return "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m";
}

} // namespace roamer::ctl
