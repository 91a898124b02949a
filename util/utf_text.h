#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace roamer
{

/// The code point that starts at `position`, which moves behind it; nothing where the bytes are not UTF-8 (too long a
/// form, a surrogate, above 10FFFF, cut short) and at the end.
std::optional<char32_t> nextCodePoint(std::string_view text, std::size_t& position);

bool isUtf8(std::string_view text);

/// `codePoint` must be one (no surrogate, at most 10FFFF).
void appendUtf8(std::string& text, char32_t codePoint);

/// Nothing when a surrogate stands alone.
std::optional<std::string> utf8FromUtf16(std::u16string_view text);

/// Nothing when the text is not UTF-8.
std::optional<std::u16string> utf16FromUtf8(std::string_view text);

} // namespace roamer
