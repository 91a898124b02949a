#include "pseudo_xml.h"

#include <string_view>
#include <vector>

#include "utf_text.h"

namespace roamer
{

namespace
{

std::vector<std::string_view> pieces(std::string_view text, char separator)
{
    std::vector<std::string_view> result;
    while (true) {
        const auto end = text.find(separator);
        result.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return result;
        text.remove_prefix(end + 1);
    }
}

int hexDigit(char character)
{
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
}

std::optional<std::string> withoutPercentEscapes(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hexDigit(text[i + 1]);
        const int low = hexDigit(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        result += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return result;
}

} // namespace

std::optional<std::map<std::string, std::string>> dictionaryWithPseudoXMLString(const std::string* text)
{
    if (text == nullptr) return std::nullopt;
    // Cut behind each tag: the outer opening tag, then an opening tag and a value with its closing tag for each inner
    // element, then the outer closing tag and an empty rest.
    const auto parts = pieces(*text, '>');
    constexpr std::size_t kOuterPieces = 3;
    if (parts.size() < kOuterPieces + 2) return std::nullopt;
    const std::size_t end = parts.size() - kOuterPieces;

    std::map<std::string, std::string> result;
    for (std::size_t i = 1; i < end; i += 2) {
        const std::string_view key = parts[i].empty() ? parts[i] : parts[i].substr(1);
        std::string_view value = parts[i + 1];
        const std::size_t closingTag = key.size() + 2; // "</" and the key
        if (value.size() < closingTag) continue;
        value.remove_suffix(closingTag);
        auto unescaped = withoutPercentEscapes(value);
        if (unescaped && isUtf8(*unescaped)) result.insert_or_assign(std::string(key), std::move(*unescaped));
    }
    return result;
}

} // namespace roamer
