#include <bit>
#include <map>
#include <string_view>

#include "binary_property_list.h"
#include "property_list_forms.h"
#include "util/utf_text.h"

namespace platform
{

namespace
{

std::size_t bytesFor(std::uint64_t value)
{
    return value <= 0xFF ? 1 : value <= 0xFFFF ? 2 : value <= 0xFFFFFFFF ? 4 : 8;
}

/// Two passes: the first numbers the objects (equal strings share one), the second writes them.
class BinaryWriter
{
public:
    WrittenPropertyList write(const roamer::PropertyList& top)
    {
        number(top);
        mReferenceBytes = bytesFor(mObjects.size() - 1);
        for (const char character : kBinaryMagic)
            mBytes.push_back(static_cast<std::byte>(character));
        std::vector<std::size_t> offsets;
        offsets.reserve(mObjects.size());
        for (const auto& object : mObjects) {
            offsets.push_back(mBytes.size());
            writeObject(object);
        }
        writeTable(offsets);
        return std::move(mBytes);
    }

private:
    struct Object {
        const roamer::PropertyList* value = nullptr; ///< Null for a string.
        std::string_view text;
        std::vector<std::size_t> references; ///< Of an array its items, of a dictionary all keys and then all values.
    };

    std::size_t number(const roamer::PropertyList& value)
    {
        if (const auto* text = value.as<std::string>()) return numberText(*text);
        const std::size_t index = mObjects.size();
        mObjects.push_back({.value = &value, .text = {}, .references = {}});
        std::vector<std::size_t> references;
        if (const auto* array = value.as<roamer::Array>()) {
            for (const auto& item : *array)
                references.push_back(number(item));
        } else if (const auto* dictionary = value.as<roamer::Dictionary>()) {
            for (const auto& [key, item] : *dictionary)
                references.push_back(numberText(key));
            for (const auto& [key, item] : *dictionary)
                references.push_back(number(item));
        }
        mObjects[index].references = std::move(references);
        return index;
    }

    std::size_t numberText(std::string_view text)
    {
        const auto [item, isNew] = mTexts.try_emplace(text, mObjects.size());
        if (isNew) mObjects.push_back({.value = nullptr, .text = text, .references = {}});
        return item->second;
    }

    void writeObject(const Object& object)
    {
        if (object.value == nullptr) return writeText(object.text);
        std::visit([this, &object](const auto& content) { writeContent(content, object); }, object.value->value());
    }

    void writeContent(const roamer::Dictionary& dictionary, const Object& object)
    {
        writeMarker(BinaryMarker::Dictionary, dictionary.size());
        writeReferences(object);
    }
    void writeContent(const roamer::Array& array, const Object& object)
    {
        writeMarker(BinaryMarker::Array, array.size());
        writeReferences(object);
    }
    void writeContent(const std::string& text, const Object&) { writeText(text); }
    void writeContent(std::int64_t integer, const Object&) { writeInteger(integer); }
    void writeContent(double real, const Object&)
    {
        writeMarker(BinaryMarker::Real, 3); // 2^3 bytes
        writeNumber(std::bit_cast<std::uint64_t>(real), 8);
    }
    void writeContent(bool boolean, const Object&)
    {
        writeMarker(BinaryMarker::Simple, boolean ? kSimpleTrue : kSimpleFalse);
    }
    void writeContent(roamer::Date date, const Object&)
    {
        writeMarker(BinaryMarker::Date, 3);
        writeNumber(std::bit_cast<std::uint64_t>(referenceSecondsFromDate(date)), 8);
    }
    void writeContent(const roamer::Data& data, const Object&)
    {
        writeMarker(BinaryMarker::Data, data.size());
        mBytes.insert(mBytes.end(), data.begin(), data.end());
    }

    void writeText(std::string_view text)
    {
        const auto units = roamer::utf16FromUtf8(text).value_or(std::u16string()); // checked before: it is UTF-8
        if (units.size() == text.size()) {                                         // one byte for each unit: ASCII
            writeMarker(BinaryMarker::Ascii, text.size());
            for (const char character : text)
                mBytes.push_back(static_cast<std::byte>(character));
        } else {
            writeMarker(BinaryMarker::Utf16, units.size());
            for (const char16_t unit : units)
                writeNumber(unit, 2);
        }
    }

    void writeInteger(std::int64_t integer)
    {
        const auto bits = static_cast<std::uint64_t>(integer);
        const std::size_t size = integer < 0 ? 8 : bytesFor(bits); // less than eight bytes are read as unsigned
        writeMarker(BinaryMarker::Integer, static_cast<std::size_t>(std::countr_zero(size)));
        writeNumber(bits, size);
    }

    void writeMarker(BinaryMarker marker, std::size_t low)
    {
        const bool isShort = low < kLongCount;
        mBytes.push_back(static_cast<std::byte>(marker) | static_cast<std::byte>(isShort ? low : kLongCount));
        if (!isShort) writeInteger(static_cast<std::int64_t>(low));
    }

    void writeReferences(const Object& object)
    {
        for (const auto index : object.references)
            writeNumber(index, mReferenceBytes);
    }

    void writeNumber(std::uint64_t value, std::size_t size)
    {
        for (std::size_t i = size; i > 0; --i)
            mBytes.push_back(static_cast<std::byte>((value >> (8U * (i - 1))) & 0xFFU));
    }

    void writeTable(const std::vector<std::size_t>& offsets)
    {
        const std::size_t table = mBytes.size();
        const std::size_t offsetBytes = bytesFor(table);
        for (const auto offset : offsets)
            writeNumber(offset, offsetBytes);
        writeNumber(0, 6);
        writeNumber(offsetBytes, 1);
        writeNumber(mReferenceBytes, 1);
        writeNumber(offsets.size(), 8);
        writeNumber(0, 8); // the top object is the first
        writeNumber(table, 8);
    }

    std::vector<Object> mObjects;
    std::map<std::string_view, std::size_t> mTexts;
    std::size_t mReferenceBytes = 1;
    std::vector<std::byte> mBytes;
};

} // namespace

WrittenPropertyList writeBinaryPropertyList(const roamer::PropertyList& value)
{
    return BinaryWriter().write(value);
}

} // namespace platform
