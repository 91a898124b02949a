#include "folding.h"

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <memory>

namespace braid::text
{

namespace
{

constexpr char32_t kFirstAfterUnicode = 0x110000;
constexpr char16_t kLoneSurrogates = 0xDC00;

bool isAscii(std::string_view bytes)
{
    return std::ranges::all_of(bytes, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

char lowerAscii(char byte)
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + ('a' - 'A')) : byte;
}

/// Calls `onCharacter(code point)` or `onByte(byte)` for each piece of `bytes`, in order.
template <class OnCharacter, class OnByte>
void eachCharacter(std::string_view bytes, OnCharacter onCharacter, OnByte onByte)
{
    const auto* raw = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const auto length = static_cast<std::int32_t>(bytes.size());
    std::int32_t at = 0;
    while (at < length) {
        const std::int32_t start = at;
        UChar32 character = 0;
        U8_NEXT(raw, at, length, character);
        if (character >= 0) {
            onCharacter(character);
            continue;
        }
        at = start + 1; // one byte at a time, so that every byte keeps its identity
        onByte(raw[start]);
    }
}

void appendUtf8(std::string& out, UChar32 character)
{
    std::array<std::uint8_t, U8_MAX_LENGTH> buffer{};
    std::int32_t length = 0;
    U8_APPEND_UNSAFE(buffer.data(), length, character);
    out.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(length));
}

struct CaseMapCloser {
    void operator()(UCaseMap* map) const { ucasemap_close(map); }
};

/// Folds valid UTF-8 and appends it.
void appendFolded(std::string& out, std::string_view valid)
{
    static const std::unique_ptr<UCaseMap, CaseMapCloser> map = [] {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<UCaseMap, CaseMapCloser>{ucasemap_open("", U_FOLD_CASE_DEFAULT, &status)};
    }();
    const std::size_t start = out.size();
    std::size_t room = valid.size() * 3 + 16; // no folding grows a character more than threefold
    out.resize(start + room);
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length = ucasemap_utf8FoldCase(map.get(), out.data() + start, static_cast<std::int32_t>(room),
                                                      valid.data(), static_cast<std::int32_t>(valid.size()), &status);
    if (U_FAILURE(status)) {
        out.replace(start, std::string::npos, valid);
        return;
    }
    out.resize(start + static_cast<std::size_t>(length));
}

/// Valid UTF-8 in one of Unicode's normal forms; as it is where ICU has no data for that.
std::string normalized(std::string_view valid, const UNormalizer2* (*form)(UErrorCode*))
{
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* normalizer = form(&status);
    std::u16string units;
    toUtf16(valid, units);
    std::u16string changed(units.size() * 4 + 16, u'\0'); // no character of a name comes apart further
    std::int32_t length = unorm2_normalize(normalizer, units.data(), static_cast<std::int32_t>(units.size()),
                                           changed.data(), static_cast<std::int32_t>(changed.size()), &status);
    std::string bytes(changed.size() * 3, '\0');
    std::int32_t size = 0;
    u_strToUTF8(bytes.data(), static_cast<std::int32_t>(bytes.size()), &size, changed.data(), length, &status);
    if (U_FAILURE(status)) return std::string{valid};
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

/// `change` for each stretch of UTF-8; what is none stays.
template <class Change>
std::string eachStretch(std::string_view bytes, Change change)
{
    std::string out;
    std::string valid;
    const auto flush = [&] {
        if (!valid.empty()) out += change(valid);
        valid.clear();
    };
    eachCharacter(
        bytes, [&](UChar32 character) { appendUtf8(valid, character); },
        [&](std::uint8_t byte) {
            flush();
            out.push_back(static_cast<char>(byte));
        });
    flush();
    return out;
}

std::string withSimpleCase(std::string_view valid)
{
    std::string out;
    eachCharacter(
        valid, [&](UChar32 character) { appendUtf8(out, u_foldCase(character, U_FOLD_CASE_DEFAULT)); },
        [](std::uint8_t) {});
    return out;
}

/// Characters that are not to be shown, all below U+0100, and bytes outside UTF-8 as "\xNN".
template <class IsShown>
std::string escaped(std::string_view bytes, IsShown isShown)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string out;
    out.reserve(bytes.size());
    const auto onByte = [&](std::uint8_t byte) {
        out += "\\x";
        out += kDigits[byte >> 4];
        out += kDigits[byte & 15];
    };
    const auto onCharacter = [&](UChar32 character) {
        if (isShown(character)) {
            appendUtf8(out, character);
        } else {
            onByte(static_cast<std::uint8_t>(character));
        }
    };
    eachCharacter(bytes, onCharacter, onByte);
    return out;
}

} // namespace

std::string_view withoutEnd(std::string_view name)
{
    const auto last = name.find_last_not_of(". ");
    return last == std::string_view::npos ? name : name.substr(0, last + 1);
}

std::string foldName(std::string_view name, const NameFolding& folding)
{
    if (folding.dropsEnds) name = withoutEnd(name);
    std::string key{name};
    if (isAscii(name)) {
        if (folding.foldsCase) std::ranges::transform(key, key.begin(), lowerAscii);
        return key;
    }
    return eachStretch(name, [&](std::string_view valid) {
        const std::string apart = folding.foldsForm ? normalized(valid, unorm2_getNFDInstance) : std::string{valid};
        return folding.foldsCase ? withSimpleCase(apart) : apart;
    });
}

std::string composed(std::string_view name)
{
    if (isAscii(name)) return std::string{name};
    return eachStretch(name, [](std::string_view valid) { return normalized(valid, unorm2_getNFCInstance); });
}

void foldCase(std::string_view bytes, std::string& folded)
{
    folded.clear();
    if (isAscii(bytes)) {
        folded.resize(bytes.size());
        std::ranges::transform(bytes, folded.begin(), lowerAscii);
        return;
    }
    std::string valid;
    const auto flush = [&] {
        if (!valid.empty()) appendFolded(folded, valid);
        valid.clear();
    };
    eachCharacter(
        bytes, [&](UChar32 character) { appendUtf8(valid, character); },
        [&](std::uint8_t byte) {
            flush();
            folded.push_back(static_cast<char>(byte));
        });
    flush();
}

void foldCharacters(std::string_view bytes, std::vector<char32_t>& characters)
{
    characters.clear();
    eachCharacter(
        bytes,
        [&](UChar32 character) {
            characters.push_back(static_cast<char32_t>(u_foldCase(character, U_FOLD_CASE_DEFAULT)));
        },
        [&](std::uint8_t byte) { characters.push_back(kFirstAfterUnicode + byte); });
}

void toUtf16(std::string_view bytes, std::u16string& units)
{
    units.clear();
    eachCharacter(
        bytes,
        [&](UChar32 character) {
            if (U_IS_BMP(character)) {
                units.push_back(static_cast<char16_t>(character));
            } else {
                units.push_back(static_cast<char16_t>(U16_LEAD(character)));
                units.push_back(static_cast<char16_t>(U16_TRAIL(character)));
            }
        },
        [&](std::uint8_t byte) { units.push_back(static_cast<char16_t>(kLoneSurrogates + byte)); });
}

std::string utf8(std::string_view bytes)
{
    return escaped(bytes, [](UChar32) { return true; });
}

std::string printable(std::string_view bytes)
{
    return escaped(bytes, [](UChar32 character) { return character > 0xff || !u_iscntrl(character); });
}

} // namespace braid::text
