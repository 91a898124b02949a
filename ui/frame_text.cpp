#include "frame_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

namespace roamer
{

namespace
{

std::string numberText(float value)
{
    std::array<char, 64> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), error == std::errc() ? end : text.data()};
}

/// Takes one sign after the other off the front of a text.
class Reader
{
public:
    explicit Reader(std::string_view text) : mRest(text) {}

    bool takes(char sign)
    {
        skipBlanks();
        if (!mRest.starts_with(sign)) return false;
        mRest.remove_prefix(1);
        return true;
    }
    bool takes(float& value)
    {
        skipBlanks();
        const auto [end, error] = std::from_chars(mRest.data(), mRest.data() + mRest.size(), value);
        if (error != std::errc() || !std::isfinite(value)) return false;
        mRest.remove_prefix(static_cast<std::size_t>(end - mRest.data()));
        return true;
    }
    /// "{first, second}"
    bool takesPair(float& first, float& second)
    {
        return takes('{') && takes(first) && takes(',') && takes(second) && takes('}');
    }
    bool isAtEnd()
    {
        skipBlanks();
        return mRest.empty();
    }

private:
    void skipBlanks() { mRest.remove_prefix(std::min(mRest.find_first_not_of(" \t\r\n"), mRest.size())); }

    std::string_view mRest;
};

} // namespace

std::string stringFromFrame(const WindowFrame& frame)
{
    return "{{" + numberText(frame.x) + ", " + numberText(frame.y) + "}, {" + numberText(frame.width) + ", " +
           numberText(frame.height) + "}}";
}

WindowFrame frameFromString(std::string_view text)
{
    Reader reader(text);
    WindowFrame frame;
    const bool isFrame = reader.takes('{') && reader.takesPair(frame.x, frame.y) && reader.takes(',') &&
                         reader.takesPair(frame.width, frame.height) && reader.takes('}') && reader.isAtEnd();
    return isFrame ? frame : WindowFrame{};
}

} // namespace roamer
