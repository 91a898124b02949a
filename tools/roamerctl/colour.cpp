#include "colour.h"

#include <cstdlib>
#include <unistd.h>

namespace roamer::ctl
{

namespace
{

bool gIsForbidden = false;

bool isSet(const char* variable)
{
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool isWanted(int stream)
{
    const char* terminal = std::getenv("TERM");
    const bool isDumb = terminal != nullptr && std::string_view(terminal) == "dumb";
    return !gIsForbidden && !isDumb && !isSet("NO_COLOR") && isatty(stream) != 0;
}

std::string painted(const std::string& text, Colour colour, int stream)
{
    if (!isWanted(stream)) return text;
    return "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m";
}

} // namespace

void forbidColours()
{
    gIsForbidden = true;
}

bool coloursAreForbidden()
{
    return gIsForbidden;
}

std::string coloured(const std::string& text, Colour colour)
{
    return painted(text, colour, STDOUT_FILENO);
}

std::string colouredDecider(std::string_view decider)
{
    const std::string word(decider);
    if (word == "administrator") return coloured(word, Colour::Open);
    return word == "default" ? coloured(word, Colour::Faint) : word;
}

std::string colouredReason(const std::string& text, Colour colour)
{
    return painted(text, colour, STDERR_FILENO);
}

} // namespace roamer::ctl
