#include "strings_table.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "util/utf_text.h"

namespace platform
{

namespace
{

/// Inside the reader only: the first problem ends the reading.
struct Problem {
    std::string text;
};

std::string textFromUtf16(std::span<const std::byte> bytes, bool bigEndian)
{
    if (bytes.size() % 2 != 0) throw Problem{"half a UTF-16 unit at the end"};
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        const auto first = std::to_integer<unsigned>(bytes[i]);
        const auto second = std::to_integer<unsigned>(bytes[i + 1]);
        units += static_cast<char16_t>(bigEndian ? first << 8U | second : second << 8U | first);
    }
    auto text = roamer::utf8FromUtf16(units);
    if (!text) throw Problem{"half a character"};
    return std::move(*text);
}

std::string decoded(std::span<const std::byte> bytes)
{
    const auto startsWith = [bytes](std::initializer_list<unsigned> mark) {
        return bytes.size() >= mark.size() &&
               std::equal(mark.begin(), mark.end(), bytes.begin(),
                          [](unsigned a, std::byte b) { return a == std::to_integer<unsigned>(b); });
    };
    if (startsWith({0xFE, 0xFF})) return textFromUtf16(bytes.subspan(2), true);
    if (startsWith({0xFF, 0xFE})) return textFromUtf16(bytes.subspan(2), false);
    if (startsWith({0xEF, 0xBB, 0xBF})) bytes = bytes.subspan(3);
    std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!roamer::isUtf8(text)) throw Problem{"the text is not UTF-8"};
    return text;
}

class StringsReader
{
public:
    explicit StringsReader(std::string_view text) : mText(text) {}

    roamer::Dictionary read()
    {
        roamer::Dictionary texts;
        for (skipBlanks(); !atEnd(); skipBlanks()) {
            std::string key = readWord();
            expect('=', "\"=\" after the key");
            skipBlanks();
            std::string value = readWord();
            expect(';', "\";\" after the text");
            texts.insert_or_assign(std::move(key), std::move(value));
        }
        return texts;
    }

    std::size_t line() const
    {
        const auto end = mText.begin() + static_cast<std::ptrdiff_t>(std::min(mPosition, mText.size()));
        return 1 + static_cast<std::size_t>(std::count(mText.begin(), end, '\n'));
    }

private:
    bool atEnd() const { return mPosition >= mText.size(); }
    bool startsWith(std::string_view text) const { return mText.substr(mPosition).starts_with(text); }

    /// Blanks and comments.
    void skipBlanks()
    {
        while (!atEnd()) {
            if (std::string_view(" \t\r\n").find(mText[mPosition]) != std::string_view::npos) {
                ++mPosition;
            } else if (startsWith("//")) {
                mPosition = std::min(mText.find('\n', mPosition), mText.size());
            } else if (startsWith("/*")) {
                const auto end = mText.find("*/", mPosition + 2);
                if (end == std::string_view::npos) throw Problem{"a comment without an end"};
                mPosition = end + 2;
            } else {
                return;
            }
        }
    }

    void expect(char character, const char* what)
    {
        skipBlanks();
        if (atEnd() || mText[mPosition] != character) throw Problem{std::string("expected ") + what};
        ++mPosition;
    }

    std::string readWord()
    {
        if (!atEnd() && mText[mPosition] == '"') return readQuoted();
        const auto isWordCharacter = [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
                   c == '.' || c == '$' || c == ':' || c == '/';
        };
        const std::size_t start = mPosition;
        while (!atEnd() && isWordCharacter(mText[mPosition]))
            ++mPosition;
        if (mPosition == start) throw Problem{"expected a text in quotes"};
        return std::string(mText.substr(start, mPosition - start));
    }

    std::string readQuoted()
    {
        std::string word;
        ++mPosition;
        while (!atEnd() && mText[mPosition] != '"') {
            const char character = mText[mPosition++];
            if (character == '\\') {
                readEscape(word);
            } else {
                word += character;
            }
        }
        if (atEnd()) throw Problem{"a text without a closing quote"};
        ++mPosition;
        return word;
    }

    void readEscape(std::string& word)
    {
        if (atEnd()) throw Problem{"a text without a closing quote"};
        const char character = mText[mPosition++];
        switch (character) {
        case 'n':
            word += '\n';
            return;
        case 't':
            word += '\t';
            return;
        case 'r':
            word += '\r';
            return;
        case 'U':
        case 'u':
            appendUnit(word);
            return;
        default:
            word += character; // quotes, backslashes, and whatever needed none
        }
    }

    /// Four hexadecimal digits of UTF-16; two such escapes make a character beyond the first plane.
    void appendUnit(std::string& word)
    {
        std::u16string units(1, readHexUnit());
        const bool isHighSurrogate = units[0] >= 0xD800 && units[0] <= 0xDBFF;
        if (isHighSurrogate && (startsWith("\\U") || startsWith("\\u"))) {
            mPosition += 2;
            units += readHexUnit();
        }
        const auto text = roamer::utf8FromUtf16(units);
        if (!text) throw Problem{"an escape for half a character"};
        word += *text;
    }

    char16_t readHexUnit()
    {
        unsigned value = 0;
        for (int i = 0; i < 4; ++i, ++mPosition) {
            const char c = atEnd() ? '\0' : mText[mPosition];
            const auto digit = std::string_view("0123456789abcdef").find(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
            if (digit == std::string_view::npos) throw Problem{"an escape without four hexadecimal digits"};
            value = value * 16 + static_cast<unsigned>(digit);
        }
        return static_cast<char16_t>(value);
    }

    std::string_view mText;
    std::size_t mPosition = 0;
};

} // namespace

std::variant<roamer::Dictionary, StringsTableError> readStringsTable(std::span<const std::byte> bytes)
{
    std::string text;
    try {
        text = decoded(bytes);
    } catch (const Problem& problem) {
        return StringsTableError{problem.text};
    }
    StringsReader reader(text);
    try {
        return reader.read();
    } catch (const Problem& problem) {
        return StringsTableError{"line " + std::to_string(reader.line()) + ": " + problem.text};
    }
}

} // namespace platform
