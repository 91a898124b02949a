#pragma once

#include <string>
#include <string_view>

#include "values/window_frame.h"

namespace roamer
{

/// The frame as "{{x, y}, {width, height}}", with a point as decimal separator in every locale. Reading it back gives
/// the same four floats.
std::string stringFromFrame(const WindowFrame& frame);

/// The frame in such a text; blanks between its parts do not matter. All zero for anything else, also for numbers that
/// are not finite.
WindowFrame frameFromString(std::string_view text);

} // namespace roamer
