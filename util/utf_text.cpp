#include "utf_text.h"

namespace roamer
{

namespace
{

constexpr char32_t kLastCodePoint = 0x10FFFF;

constexpr bool isSurrogate(char32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

constexpr bool isHighSurrogate(char32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

} // namespace

std::optional<char32_t> nextCodePoint(std::string_view text, std::size_t& position)
{
    if (position >= text.size()) return std::nullopt;
    const auto byteAt = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byteAt(position);
    if (first < 0x80) {
        ++position;
        return first;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC0 || first > 0xF7 || length > text.size() - position) return std::nullopt;
    char32_t value = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char next = byteAt(position + i);
        if ((next & 0xC0U) != 0x80) return std::nullopt;
        value = (value << 6U) | (next & 0x3FU);
    }
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < kSmallest[length] || value > kLastCodePoint || isSurrogate(value)) return std::nullopt;
    position += length;
    return value;
}

bool isUtf8(std::string_view text)
{
    std::size_t position = 0;
    while (position < text.size())
        if (!nextCodePoint(text, position)) return false;
    return true;
}

void appendUtf8(std::string& text, char32_t codePoint)
{
    const auto add = [&text](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    const auto addTail = [&add, codePoint](unsigned shift) { add(0x80U | ((codePoint >> shift) & 0x3FU)); };
    if (codePoint < 0x80) {
        add(codePoint);
    } else if (codePoint < 0x800) {
        add(0xC0U | (codePoint >> 6U));
        addTail(0);
    } else if (codePoint < 0x10000) {
        add(0xE0U | (codePoint >> 12U));
        addTail(6);
        addTail(0);
    } else {
        add(0xF0U | (codePoint >> 18U));
        addTail(12);
        addTail(6);
        addTail(0);
    }
}

std::optional<std::string> utf8FromUtf16(std::u16string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t codePoint = text[i];
        if (isHighSurrogate(codePoint) && i + 1 < text.size()) {
            const char32_t low = text[i + 1];
            if (!isSurrogate(low) || isHighSurrogate(low)) return std::nullopt;
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10U) + (low - 0xDC00);
            ++i;
        } else if (isSurrogate(codePoint)) {
            return std::nullopt;
        }
        appendUtf8(result, codePoint);
    }
    return result;
}

std::optional<std::u16string> utf16FromUtf8(std::string_view text)
{
    std::u16string result;
    result.reserve(text.size());
    std::size_t position = 0;
    while (position < text.size()) {
        const auto codePoint = nextCodePoint(text, position);
        if (!codePoint) return std::nullopt;
        if (*codePoint < 0x10000) {
            result += static_cast<char16_t>(*codePoint);
        } else {
            result += static_cast<char16_t>(0xD800 + ((*codePoint - 0x10000) >> 10U));
            result += static_cast<char16_t>(0xDC00 + ((*codePoint - 0x10000) & 0x3FFU));
        }
    }
    return result;
}

} // namespace roamer
