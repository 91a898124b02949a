#pragma once

#include <string>
#include <string_view>

namespace roamer::ctl
{

enum class Colour { Good = 32, Wrong = 31, Open = 33, Strong = 1, Faint = 2 };

/// From now on none, as an option of the command line says.
void forbidColours();
bool coloursAreForbidden();

/// The text in a colour where standard output is a terminal and nobody asked for none (NO_COLOR, --no-color).
std::string coloured(const std::string& text, Colour colour);

/// Who decided a preference: what an administrator did stands out, what nobody did steps back.
std::string colouredDecider(std::string_view decider);

/// The same for standard error.
std::string colouredReason(const std::string& text, Colour colour);

} // namespace roamer::ctl
