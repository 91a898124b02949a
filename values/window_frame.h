#pragma once

namespace roamer
{

/// A rectangle in screen coordinates: the origin is its bottom-left corner and y grows upwards. All zero means "none".
struct WindowFrame {
    float x = 0;
    float y = 0;
    float width = 0;
    float height = 0;

    friend bool operator==(const WindowFrame&, const WindowFrame&) = default;
};

} // namespace roamer
