#include <bit>
#include <cstring>
#include <limits>
#include <map>
#include <optional>

#include "binary_property_list.h"
#include "property_list_forms.h"
#include "util/utf_text.h"

namespace platform
{

namespace
{

using roamer::PropertyList;

/// Inside the reader only: the first problem ends the reading.
struct Problem {
    std::string text;
};

/// `size` bytes, most significant first; at most eight.
std::uint64_t bigEndian(std::span<const std::byte> bytes)
{
    std::uint64_t value = 0;
    for (const std::byte byte : bytes)
        value = (value << 8U) | std::to_integer<std::uint64_t>(byte);
    return value;
}

/// One document.
///
/// Every offset, count and size is checked against the bytes that are there before it is used. Objects may be shared
/// but neither contain themselves nor overlap, and what sharing multiplies is counted, so the work is bounded by the
/// limits whatever the document announces.
class BinaryReader
{
public:
    explicit BinaryReader(std::span<const std::byte> bytes) : mBytes(bytes) {}

    ParsedPropertyList read()
    {
        try {
            readTrailer();
            return readObject(mTopObject, 0);
        } catch (const Problem& problem) {
            return PropertyListCodec::Error{"binary property list: " + problem.text};
        }
    }

private:
    /// An object's marker and what follows it.
    struct Object {
        std::size_t start;
        std::size_t content; ///< Where what follows the marker and the count begins.
        BinaryMarker marker;
        unsigned low; ///< The low four bits of the first byte.
        std::size_t count = 0;
    };

    void readTrailer()
    {
        if (mBytes.size() < kBinaryMagic.size() + kBinaryTrailerBytes + 2) throw Problem{"cut short"};
        const std::size_t trailerStart = mBytes.size() - kBinaryTrailerBytes;
        const auto trailer = mBytes.subspan(trailerStart);
        mOffsetBytes = std::to_integer<std::size_t>(trailer[6]);
        mReferenceBytes = std::to_integer<std::size_t>(trailer[7]);
        const std::uint64_t objects = bigEndian(trailer.subspan(8, 8));
        const std::uint64_t top = bigEndian(trailer.subspan(16, 8));
        const std::uint64_t table = bigEndian(trailer.subspan(24, 8));
        if (mOffsetBytes < 1 || mOffsetBytes > 8) throw Problem{"impossible offset size"};
        if (mReferenceBytes < 1 || mReferenceBytes > 8) throw Problem{"impossible reference size"};
        if (table < kBinaryMagic.size() + 1 || table > trailerStart) throw Problem{"the offset table lies outside"};
        if (objects == 0 || objects > (trailerStart - table) / mOffsetBytes) {
            throw Problem{"more objects announced than the offset table holds"};
        }
        if (top >= objects) throw Problem{"the top object does not exist"};
        mTable = static_cast<std::size_t>(table);
        mTopObject = static_cast<std::size_t>(top);
        mStates.resize(static_cast<std::size_t>(objects), State::Unseen);
    }

    PropertyList readObject(std::size_t index, std::size_t depth)
    {
        if (index >= mStates.size()) throw Problem{"a reference to an object that does not exist"};
        if (mStates[index] == State::Open) throw Problem{"an object contains itself"};
        if (++mValues > kMaxPropertyListValues) throw Problem{"more than a million values"};
        const Object object = objectAt(offsetOf(index));
        const bool isFirstUse = mStates[index] == State::Unseen;
        mStates[index] = State::Open;
        if (isFirstUse) claim(object.start, object.content + contentBytes(object));
        PropertyList value = readContent(object, depth);
        mStates[index] = State::Done;
        return value;
    }

    std::size_t offsetOf(std::size_t index) const
    {
        const std::uint64_t offset = bigEndian(mBytes.subspan(mTable + index * mOffsetBytes, mOffsetBytes));
        if (offset < kBinaryMagic.size() || offset >= mTable) throw Problem{"an object lies outside of the objects"};
        return static_cast<std::size_t>(offset);
    }

    /// Reads the marker and the count, and checks that all of the content lies before the offset table.
    Object objectAt(std::size_t offset) const
    {
        const auto first = std::to_integer<unsigned>(mBytes[offset]);
        Object object{.start = offset,
                      .content = offset + 1,
                      .marker = static_cast<BinaryMarker>(first & 0xF0U),
                      .low = first & 0x0FU};
        if (hasCount(object.marker)) readCount(object);
        if (contentBytes(object) > mTable - object.content) throw Problem{"an object runs over the end"};
        return object;
    }

    static bool hasCount(BinaryMarker marker)
    {
        return marker == BinaryMarker::Data || marker == BinaryMarker::Ascii || marker == BinaryMarker::Utf16 ||
               marker == BinaryMarker::Array || marker == BinaryMarker::Dictionary;
    }

    /// Counts from 15 on are an integer object of their own after the marker.
    void readCount(Object& object) const
    {
        object.count = object.low;
        if (object.low != kLongCount) return;
        if (object.content >= mTable) throw Problem{"an object runs over the end"};
        const auto marker = std::to_integer<unsigned>(mBytes[object.content]);
        const std::size_t size = std::size_t{1} << (marker & 0x0FU);
        if ((marker & 0xF0U) != static_cast<unsigned>(BinaryMarker::Integer) || size > 8) {
            throw Problem{"a count that is no integer"};
        }
        ++object.content;
        if (size > mTable - object.content) throw Problem{"an object runs over the end"};
        const std::uint64_t count = bigEndian(mBytes.subspan(object.content, size));
        if (count > mTable) throw Problem{"an object announces more than there is"};
        object.count = static_cast<std::size_t>(count);
        object.content += size;
    }

    /// Cannot overflow: a count is at most the number of bytes, which is below 2^27.
    std::size_t contentBytes(const Object& object) const
    {
        switch (object.marker) {
        case BinaryMarker::Simple:
            return 0;
        case BinaryMarker::Integer:
        case BinaryMarker::Real:
        case BinaryMarker::Date:
            return std::size_t{1} << object.low;
        case BinaryMarker::Data:
        case BinaryMarker::Ascii:
            return object.count;
        case BinaryMarker::Utf16:
            return object.count * 2;
        case BinaryMarker::Array:
            return object.count * mReferenceBytes;
        case BinaryMarker::Dictionary:
            return object.count * mReferenceBytes * 2;
        case BinaryMarker::Uid:
            throw Problem{"references of an object archive (UID) are not supported"};
        case BinaryMarker::Set:
            throw Problem{"sets are not supported"};
        }
        throw Problem{"an unknown kind of object"};
    }

    /// No byte belongs to two objects.
    void claim(std::size_t start, std::size_t end)
    {
        const auto next = mClaimed.lower_bound(start);
        const bool overlapsNext = next != mClaimed.end() && next->first < end;
        const bool overlapsPrevious = next != mClaimed.begin() && std::prev(next)->second > start;
        if (overlapsNext || overlapsPrevious) throw Problem{"objects overlap"};
        mClaimed.emplace_hint(next, start, end);
    }

    PropertyList readContent(const Object& object, std::size_t depth)
    {
        const auto content = mBytes.subspan(object.content, contentBytes(object));
        switch (object.marker) {
        case BinaryMarker::Simple:
            return readSimple(object.low);
        case BinaryMarker::Integer:
            return readInteger(content);
        case BinaryMarker::Real:
            return readReal(content);
        case BinaryMarker::Date:
            return readDate(content);
        case BinaryMarker::Data:
            spend(content.size());
            return roamer::Data(content.begin(), content.end());
        case BinaryMarker::Ascii:
            return readAscii(content);
        case BinaryMarker::Utf16:
            return readUtf16(content);
        case BinaryMarker::Array:
            return readArray(object, depth);
        default:
            return readDictionary(object, depth);
        }
    }

    static PropertyList readSimple(unsigned low)
    {
        if (low == kSimpleFalse) return false;
        if (low == kSimpleTrue) return true;
        throw Problem{low == 0 ? "null is not supported" : "an unknown kind of object"};
    }

    static PropertyList readInteger(std::span<const std::byte> content)
    {
        if (content.size() > 16) throw Problem{"an integer of an impossible size"};
        // Up to four bytes are unsigned, eight and sixteen are two's complement.
        const auto low = bigEndian(content.last(std::min<std::size_t>(content.size(), 8)));
        const auto value = static_cast<std::int64_t>(low);
        if (content.size() == 16 && bigEndian(content.first(8)) != (value < 0 ? ~std::uint64_t{0} : 0)) {
            throw Problem{"an integer that 64 bits cannot hold"};
        }
        return value;
    }

    static double realFrom(std::span<const std::byte> content)
    {
        if (content.size() == 4) return std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(content)));
        if (content.size() == 8) return std::bit_cast<double>(bigEndian(content));
        throw Problem{"a real of an impossible size"};
    }

    static PropertyList readReal(std::span<const std::byte> content) { return realFrom(content); }

    static PropertyList readDate(std::span<const std::byte> content)
    {
        if (content.size() != 8) throw Problem{"a date of an impossible size"};
        const auto date = dateFromReferenceSeconds(realFrom(content));
        if (!date) throw Problem{"a date out of range"};
        return *date;
    }

    PropertyList readAscii(std::span<const std::byte> content)
    {
        spend(content.size());
        std::string text(content.size(), '\0');
        if (!content.empty()) std::memcpy(text.data(), content.data(), content.size());
        for (const char character : text)
            if (static_cast<unsigned char>(character) >= 0x80) throw Problem{"an ASCII string that is not ASCII"};
        return text;
    }

    PropertyList readUtf16(std::span<const std::byte> content)
    {
        spend(content.size());
        std::u16string units(content.size() / 2, u'\0');
        for (std::size_t i = 0; i < units.size(); ++i)
            units[i] = static_cast<char16_t>(bigEndian(content.subspan(i * 2, 2)));
        auto text = roamer::utf8FromUtf16(units);
        if (!text) throw Problem{"a UTF-16 string with half a character"};
        return std::move(*text);
    }

    void spend(std::size_t bytes)
    {
        mContentBytes += bytes;
        if (mContentBytes > kMaxPropertyListContentBytes) throw Problem{"more than 64 MiB of content"};
    }

    std::size_t reference(const Object& object, std::size_t index) const
    {
        const auto value = bigEndian(mBytes.subspan(object.content + index * mReferenceBytes, mReferenceBytes));
        return static_cast<std::size_t>(value);
    }

    static void checkDepth(std::size_t depth)
    {
        if (depth >= kMaxPropertyListDepth) throw Problem{"nested more than 512 deep"};
    }

    PropertyList readArray(const Object& object, std::size_t depth)
    {
        checkDepth(depth);
        roamer::Array array;
        for (std::size_t i = 0; i < object.count; ++i)
            array.push_back(readObject(reference(object, i), depth + 1));
        return array;
    }

    /// First the references of all keys, then those of all values.
    PropertyList readDictionary(const Object& object, std::size_t depth)
    {
        checkDepth(depth);
        roamer::Dictionary dictionary;
        for (std::size_t i = 0; i < object.count; ++i) {
            PropertyList key = readObject(reference(object, i), depth + 1);
            auto* text = key.as<std::string>();
            if (text == nullptr) throw Problem{"a key that is no string"};
            dictionary.insert_or_assign(std::move(*text), readObject(reference(object, object.count + i), depth + 1));
        }
        return dictionary;
    }

    enum class State : std::uint8_t { Unseen, Open, Done };

    std::span<const std::byte> mBytes;
    std::size_t mOffsetBytes = 0;
    std::size_t mReferenceBytes = 0;
    std::size_t mTable = 0; ///< Where the offset table begins and the objects end.
    std::size_t mTopObject = 0;
    std::vector<State> mStates;                  ///< Of each object.
    std::map<std::size_t, std::size_t> mClaimed; ///< Start -> end of the objects seen.
    std::size_t mValues = 0;
    std::size_t mContentBytes = 0;
};

} // namespace

bool isBinaryPropertyList(std::span<const std::byte> bytes)
{
    return bytes.size() >= kBinaryMagic.size() &&
           std::memcmp(bytes.data(), kBinaryMagic.data(), kBinaryMagic.size()) == 0;
}

ParsedPropertyList readBinaryPropertyList(std::span<const std::byte> bytes)
{
    return BinaryReader(bytes).read();
}

} // namespace platform
