#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <sys/resource.h>

#include "platform/linux/property_list_codec.h"
#include "property_list_bytes.h"

namespace platform
{

namespace
{

using tests::asBytes;
using tests::BinaryDocument;

struct HostileCase {
    std::string name;
    std::string bytes;
    std::string expectedInError;
};

std::string repeated(const std::string& text, std::size_t count)
{
    std::string result;
    result.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

std::string plist(const std::string& value)
{
    return "<plist>" + value + "</plist>";
}

std::string binary(std::vector<std::string> objects)
{
    return BinaryDocument{.objects = std::move(objects)}.bytes();
}

/// Arrays of ten references to the next one: ten to the power of `levels` values in some hundred bytes.
std::string exponentialArrays(int levels)
{
    std::vector<std::string> objects;
    for (int i = 0; i < levels; ++i)
        objects.push_back("\xAA" + std::string(10, static_cast<char>(i + 1)));
    objects.emplace_back("\x09");
    return binary(std::move(objects));
}

/// One long string, and an array that refers to it a thousand times, referred to a thousand times.
std::string hugeSharedString()
{
    const std::string thousandTimes = std::string("\xAF\x11\x03\xE8", 4);
    return BinaryDocument{.objects = {thousandTimes + repeated(std::string("\x01", 1), 1000),
                                      thousandTimes + repeated(std::string("\x02", 1), 1000),
                                      std::string("\x5F\x11\xFF\xFF", 4) + std::string(65535, 'x')},
                          .offsetBytes = 4}
        .bytes();
}

std::string deepBinary(std::size_t depth)
{
    BinaryDocument document{.offsetBytes = 4, .referenceBytes = 4};
    for (std::size_t i = 0; i < depth; ++i)
        document.objects.push_back("\xA1" + BinaryDocument::number(i + 1, 4));
    document.objects.emplace_back("\x09");
    return document.bytes();
}

std::string billionLaughs()
{
    std::string text = "<!DOCTYPE plist [<!ENTITY e0 \"ha\">";
    for (int i = 1; i < 30; ++i) {
        const auto before = "&e" + std::to_string(i - 1) + ";";
        text += "<!ENTITY e" + std::to_string(i) + " \"" + repeated(before, 10) + "\">";
    }
    return text + "]>" + plist("<string>&e29;</string>");
}

const std::string kOneGiB = std::string("\x12\x40\x00\x00\x00", 5);

std::vector<HostileCase> xmlCases()
{
    return {
        {"nothing", "", "empty"},
        {"no XML", "plain text", "XML line 1"},
        {"cut short", "<plist><dict><key>a</key>", "XML line 1"},
        {"no value", "<plist/>", "no value"},
        {"two values", plist("<true/><true/>"), "more than one value"},
        {"10,000 levels", plist(repeated("<array>", 10'000)), "512"},
        {"more than the limit", plist(repeated("<array>", 513) + repeated("</array>", 513)), "512"},
        {"an entity bomb", billionLaughs(), "entity"},
        {"a file of the machine",
         "<!DOCTYPE p [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" + plist("<string>&x;</string>"), "entity"},
        {"an unknown entity behind a document type",
         "<!DOCTYPE plist SYSTEM \"p.dtd\">" + plist("<string>&x;</string>"), "entity"},
        {"an unknown element", plist("<null/>"), "null"},
        {"a value without a key", plist("<dict><true/></dict>"), "without a key"},
        {"a key without a value", plist("<dict><key>a</key></dict>"), "without a value"},
        {"two keys", plist("<dict><key>a</key><key>b</key></dict>"), "without a value"},
        {"a key in an array", plist("<array><key>a</key></array>"), "outside of <dict>"},
        {"a key at the top", "<key>a</key>", "outside of <dict>"},
        {"text in a dictionary", plist("<dict>a</dict>"), "text outside"},
        {"text in true", plist("<true>a</true>"), "text outside"},
        {"an element in a string", plist("<string><true/></string>"), "within a simple value"},
        {"an integer above 64 bits", plist("<integer>9223372036854775808</integer>"), "cannot be read"},
        {"an integer with a rest", plist("<integer>12x</integer>"), "cannot be read"},
        {"an empty integer", plist("<integer/>"), "cannot be read"},
        {"a real that is none", plist("<real>1,5</real>"), "cannot be read"},
        {"a day that is none", plist("<date>2026-02-30T00:00:00Z</date>"), "cannot be read"},
        {"a date before all dates", plist("<date>0001-01-01T00:00:00Z</date>"), "cannot be read"},
        {"a date without its zone", plist("<date>2026-02-28T00:00:00</date>"), "cannot be read"},
        {"data with a foreign character", plist("<data>AA*A</data>"), "cannot be read"},
        {"data cut short", plist("<data>AAA</data>"), "cannot be read"},
        {"not UTF-8", plist("<string>\xff</string>"), "XML line 1"},
        {"a NUL", plist(std::string("<string>a\0</string>", 18)), "XML line 1"},
    };
}

std::vector<HostileCase> binaryCases()
{
    const std::string yes = "\x09";
    return {
        {"only the magic", "bplist00", "cut short"},
        {"a trailer of zeros", "bplist00" + std::string(34, '\0'), "offset size"},
        {"one object too many", BinaryDocument{.objects = {yes}, .announcedObjects = 2}.bytes(), "more objects"},
        {"2^62 objects", BinaryDocument{.objects = {yes}, .announcedObjects = std::int64_t{1} << 62}.bytes(),
         "more objects"},
        {"no object", BinaryDocument{.objects = {yes}, .announcedObjects = 0}.bytes(), "more objects"},
        {"a top object that is not there", BinaryDocument{.objects = {yes}, .topObject = 1}.bytes(), "top object"},
        {"a table before the objects", BinaryDocument{.objects = {yes}, .announcedTable = 3}.bytes(), "table"},
        {"a table behind the end", BinaryDocument{.objects = {yes}, .announcedTable = 1 << 20}.bytes(), "table"},
        {"an offset into the magic", BinaryDocument{.objects = {yes}, .announcedOffsets = {2}}.bytes(), "outside"},
        {"an offset into the table", BinaryDocument{.objects = {yes}, .announcedOffsets = {9}}.bytes(), "outside"},
        {"a reference to nothing", binary({"\xA1\x05"}), "does not exist"},
        {"an array in itself", binary({std::string("\xA1\x00", 2)}), "contains itself"},
        {"a circle of two", binary({"\xA1\x01", std::string("\xA1\x00", 2)}), "contains itself"},
        {"a dictionary in itself", binary({std::string("\xD1\x01\x00", 3), "\x51k"}), "contains itself"},
        {"two objects at one place",
         BinaryDocument{.objects = {"\xA2\x01\x02", yes, yes}, .announcedOffsets = {8, 11, 11}}.bytes(), "overlap"},
        {"an object within another",
         BinaryDocument{.objects = {"\xA2\x01\x02", "\x52\x09\x09", yes}, .announcedOffsets = {8, 11, 12}}.bytes(),
         "overlap"},
        {"a string within its array", BinaryDocument{.objects = {"\xA1\x01", yes}, .announcedOffsets = {8, 9}}.bytes(),
         "overlap"},
        {"a string over the end",
         binary({"\x5E"
                 "abc"}),
         "over the end"},
        {"a real over the end", binary({"\x23"}), "over the end"},
        {"1 GiB of data in 40 bytes", binary({"\x4F" + kOneGiB}), "more than there is"},
        {"1 GiB of UTF-16", binary({"\x6F" + kOneGiB}), "more than there is"},
        {"2^30 references", binary({"\xAF" + kOneGiB}), "more than there is"},
        {"2^30 pairs", binary({"\xDF" + kOneGiB}), "more than there is"},
        {"2^63 characters", binary({"\x5F\x13\x80" + std::string(7, '\0')}), "more than there is"},
        {"a count that is a string", binary({"\x5F\x51x"}), "count"},
        {"a count of sixteen bytes", binary({"\x5F\x14" + std::string(16, '\0')}), "count"},
        {"a count over the end", binary({"\x5F"}), "over the end"},
        {"null", binary({std::string(1, '\0')}), "null"},
        {"a fill byte", binary({"\x0F"}), "unknown"},
        {"an unknown kind", binary({"\x70"}), "unknown"},
        {"a UID", binary({"\x80\x01"}), "UID"},
        {"a set", binary({"\xC1\x01", yes}), "sets"},
        {"a key that is a number", binary({"\xD1\x01\x01", "\x10\x01"}), "no string"},
        {"ASCII that is not", binary({"\x51\xE4"}), "ASCII"},
        {"half a character", binary({"\x61\xD8\x3D"}), "half a character"},
        {"an integer above 64 bits", binary({"\x14\x01" + std::string(15, '\0')}), "64 bits"},
        {"an unsigned integer above 63 bits", binary({"\x14" + std::string(8, '\0') + "\x80" + std::string(7, '\0')}),
         "64 bits"},
        {"an integer of 32 bytes", binary({"\x15" + std::string(32, '\0')}), "size"},
        {"a real of two bytes", binary({std::string("\x21\x00\x00", 3)}), "size"},
        {"a date of four bytes", binary({std::string("\x32\x00\x00\x00\x00", 5)}), "size"},
        {"a date that is not a number", binary({"\x33\x7F\xF8" + std::string(6, '\0')}), "out of range"},
        {"a date in a million years", binary({"\x33\x43" + std::string(7, '\x11')}), "out of range"},
        {"10,000 levels", deepBinary(10'000), "512"},
        {"one level too many", deepBinary(513), "512"},
        {"ten to the power of nine values", exponentialArrays(9), "million"},
        {"64 GiB of one shared string", hugeSharedString(), "64 MiB"},
    };
}

std::string errorOf(std::string_view bytes)
{
    const auto result = makePropertyListCodec()->parse(asBytes(bytes));
    const auto* error = std::get_if<PropertyListCodec::Error>(&result);
    return error != nullptr ? error->text : std::string();
}

long peakKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

TEST(HostilePropertyList, IsAnErrorTextInBoundedTimeAndMemory)
{
    auto cases = xmlCases();
    for (auto& c : binaryCases())
        cases.push_back(std::move(c));
    const long before = peakKiB();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto start = std::chrono::steady_clock::now();
        const std::string error = errorOf(c.bytes);
        EXPECT_NE(error.find(c.expectedInError), std::string::npos) << "\"" << error << "\"";
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    }
    EXPECT_LT(peakKiB() - before, 1024 * 1024);
}

TEST(HostilePropertyList, CutAnywhereItIsStillAnError)
{
    const roamer::PropertyList value = roamer::Dictionary{
        {"a", roamer::Array{1, 2.5, true, "text"}}, {"date", roamer::Date{}}, {"data", roamer::Data(20)}};
    const auto codec = makePropertyListCodec();
    for (const auto format : {PropertyListCodec::Format::Xml, PropertyListCodec::Format::Binary}) {
        const auto bytes = std::get<std::vector<std::byte>>(codec->serialise(value, format));
        // The last bytes of the text are the newline behind its end.
        for (std::size_t size = 0; size + 1 < bytes.size(); ++size) {
            const auto result = codec->parse(std::span(bytes).first(size));
            ASSERT_TRUE(std::holds_alternative<PropertyListCodec::Error>(result)) << size;
        }
    }
}

TEST(HostilePropertyList, ChangedBytesNeverCrashAndWhatIsReadCanBeWritten)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const roamer::PropertyList value = roamer::Dictionary{
        {"a", roamer::Array{1, -2, 2.5, true, "text", "zwölf"}}, {"date", roamer::Date{}}, {"data", roamer::Data(20)}};
    const auto codec = makePropertyListCodec();
    for (const auto format : {PropertyListCodec::Format::Xml, PropertyListCodec::Format::Binary}) {
        const auto original = std::get<std::vector<std::byte>>(codec->serialise(value, format));
        for (int i = 0; i < 5000; ++i) {
            auto bytes = original;
            for (auto change = 1 + random() % 3; change > 0; --change)
                bytes[random() % bytes.size()] = static_cast<std::byte>(random());
            const auto result = codec->parse(bytes);
            const auto* read = std::get_if<roamer::PropertyList>(&result);
            if (read == nullptr) continue;
            const auto again = codec->serialise(*read, PropertyListCodec::Format::Binary);
            ASSERT_TRUE(std::holds_alternative<std::vector<std::byte>>(again));
        }
    }
}

} // namespace platform
