#include "colour.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace braid::cli
{

namespace
{

bool gAreUsed = false;
bool gAreForbidden = false;

std::string_view variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

} // namespace

void useColours(bool wanted)
{
    gAreUsed = wanted && !gAreForbidden;
}

void forbidColours()
{
    gAreForbidden = true;
    gAreUsed = false;
}

bool terminalTakesColours()
{
    return ::isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

std::string coloured(const std::string& text, Colour colour)
{
    if (!gAreUsed) return text;
    return "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m";
}

} // namespace braid::cli
