#include "base64.h"

#include <array>
#include <cstdint>

namespace platform
{

namespace
{

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> kDigits = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(kNoDigit);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i)
        table.at(static_cast<unsigned char>(kAlphabet[i])) = static_cast<std::uint8_t>(i);
    return table;
}();

} // namespace

std::optional<roamer::Data> dataFromBase64(std::string_view text)
{
    roamer::Data data;
    data.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    std::size_t digits = 0;
    std::size_t padding = 0;
    for (const char character : text) {
        if (std::string_view(" \t\r\n").find(character) != std::string_view::npos) continue;
        if (character == '=') {
            ++padding;
            continue;
        }
        const std::uint8_t digit = kDigits[static_cast<unsigned char>(character)];
        if (digit == kNoDigit || padding > 0) return std::nullopt;
        bits = (bits << 6U) | digit;
        ++digits;
        // Eight more bits are complete after every digit but the first of four.
        if (digits % 4 != 1) {
            const auto left = 6U - 2U * ((digits - 1) % 4);
            data.push_back(static_cast<std::byte>((bits >> left) & 0xFFU));
        }
    }
    if ((digits + padding) % 4 != 0 || padding > 2) return std::nullopt;
    return data;
}

std::string base64FromData(const roamer::Data& data)
{
    std::string text;
    text.reserve((data.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < data.size(); i += 3) {
        const std::size_t count = data.size() - i < 3 ? data.size() - i : 3;
        std::uint32_t bits = 0;
        for (std::size_t j = 0; j < 3; ++j)
            bits = (bits << 8U) | (j < count ? std::to_integer<std::uint32_t>(data[i + j]) : 0U);
        for (std::size_t j = 0; j < 4; ++j)
            text += j <= count ? kAlphabet[(bits >> (18U - 6U * j)) & 0x3FU] : '=';
    }
    return text;
}

} // namespace platform
