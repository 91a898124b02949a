#pragma once

#include <string>

namespace braid::cli
{

enum class Colour { Good = 32, Wrong = 31, Open = 33 };

/// Whether texts are coloured at all; not unless this was called with true.
void useColours(bool wanted);

/// As useColours(false), and for good.
void forbidColours();

/// Whether standard output is a terminal that takes colours, and nobody asked for none (NO_COLOR).
bool terminalTakesColours();

std::string coloured(const std::string& text, Colour colour);

} // namespace braid::cli
