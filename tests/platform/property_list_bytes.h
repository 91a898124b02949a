#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tests
{

inline std::span<const std::byte> asBytes(std::string_view text)
{
    return std::as_bytes(std::span(text.data(), text.size()));
}

inline std::string asText(const std::vector<std::byte>& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Puts binary property lists together by hand, sound and unsound ones.
struct BinaryDocument {
    std::vector<std::string> objects = {}; ///< As bytes. References and offsets are one byte where not told otherwise.
    std::uint64_t topObject = 0;
    int offsetBytes = 1;
    int referenceBytes = 1;
    /// Instead of the right ones, when not negative.
    std::int64_t announcedObjects = -1;
    std::int64_t announcedTable = -1;
    std::vector<std::size_t> announcedOffsets = {};

    std::string bytes() const
    {
        std::string document = "bplist00";
        std::vector<std::size_t> offsets;
        for (const auto& object : objects) {
            offsets.push_back(document.size());
            document += object;
        }
        const std::uint64_t table = announcedTable < 0 ? document.size() : static_cast<std::uint64_t>(announcedTable);
        for (const auto offset : announcedOffsets.empty() ? offsets : announcedOffsets)
            document += number(offset, offsetBytes);
        document += std::string(6, '\0') + number(static_cast<std::uint64_t>(offsetBytes), 1) +
                    number(static_cast<std::uint64_t>(referenceBytes), 1);
        document += number(announcedObjects < 0 ? objects.size() : static_cast<std::uint64_t>(announcedObjects), 8);
        return document + number(topObject, 8) + number(table, 8);
    }

    static std::string number(std::uint64_t value, int size)
    {
        std::string text;
        for (int i = size - 1; i >= 0; --i)
            text += static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
        return text;
    }
};

} // namespace tests
