#include "platform/linux/property_list_codec.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sys/resource.h>

#include "property_list_bytes.h"

namespace
{

using namespace roamer;
using platform::PropertyListCodec;
using tests::BinaryDocument;
using Format = PropertyListCodec::Format;
using Limits = std::numeric_limits<std::int64_t>;

class PropertyListForms : public testing::Test
{
protected:
    static Date seconds(std::int64_t sinceEpoch) { return Date(std::chrono::seconds(sinceEpoch)); }
    PropertyList parsed(std::string_view text) { return std::get<PropertyList>(codec->parse(tests::asBytes(text))); }
    std::string written(const PropertyList& value, Format format)
    {
        return tests::asText(std::get<Data>(codec->serialise(value, format)));
    }
    bool canHold(Format format, const PropertyList& value)
    {
        return std::holds_alternative<Data>(codec->serialise(value, format));
    }
    static PropertyList nested(int depth)
    {
        PropertyList value = 1;
        for (int i = 0; i < depth; ++i)
            value = i % 2 == 0 ? PropertyList(Array{value}) : PropertyList(Dictionary{{"k", value}});
        return value;
    }

    std::unique_ptr<PropertyListCodec> codec = platform::makePropertyListCodec();
};

TEST_F(PropertyListForms, EveryValueSurvivesBoth)
{
    const PropertyList values[] = {
        "<&>\"' ]]> \r\n\t",
        "zwölf \xf0\x9f\x98\x80 ホーム",
        std::string(5000, 'x'),
        Array{0, -1, 255, 256, 65536, std::int64_t{1} << 32, Limits::max(), Limits::min()},
        Array{0.1, -1e300, std::numeric_limits<double>::denorm_min(), -std::numeric_limits<double>::infinity()},
        Array{true, false, seconds(-1), seconds(4'102'444'800), Data{}, Data(20, std::byte{0xff})},
        Dictionary{{"", ""}, {"ä", Array{"same", "same", Array{}, Dictionary{{"same", "same"}}}}},
        Array(300, PropertyList("shared")),
        nested(512),
    };
    for (const auto format : {Format::Xml, Format::Binary}) {
        for (const auto& value : values)
            EXPECT_EQ(parsed(written(value, format)), value);
        // The one value that does not equal itself.
        EXPECT_TRUE(std::isnan(*parsed(written(std::nan(""), format)).as<double>()));
    }
}

TEST_F(PropertyListForms, ReadsTextThatOthersWrite)
{
    const auto xml = "\xef\xbb\xbf<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<!DOCTYPE plist PUBLIC \"-//Example//DTD PLIST 1.0//EN\" \"http://example.org/p.dtd\">\n"
                     "<plist><!-- a comment --><dict><key>a</key><integer> +0x1F </integer><key>b</key>"
                     "<string>x<![CDATA[<y>]]>&#122;</string><key>c</key><data> AP\n8= </data>"
                     "<key>d</key><real>1e3</real><key>a</key><integer>-7</integer></dict></plist>";
    const Dictionary expected{{"a", -7}, {"b", "x<y>z"}, {"c", Data{std::byte{0}, std::byte{0xff}}}, {"d", 1000.0}};
    EXPECT_EQ(parsed(xml), PropertyList(expected));
}

TEST_F(PropertyListForms, RefuseWhatTheyCannotHold)
{
    EXPECT_FALSE(canHold(Format::Xml, "bell \a"));
    EXPECT_TRUE(canHold(Format::Binary, "bell \a"));
    EXPECT_FALSE(canHold(Format::Xml, Dictionary{{std::string("\0", 1), 1}}));
    for (const auto format : {Format::Xml, Format::Binary}) {
        EXPECT_FALSE(canHold(format, Array{"\xff"}));
        EXPECT_FALSE(canHold(format, Dictionary{{"\xed\xa0\x80", 1}}));
        EXPECT_FALSE(canHold(format, nested(513)));
        EXPECT_FALSE(canHold(format, Array(1'000'000, PropertyList(1))));
    }
}

struct HostileCase {
    std::string name, bytes, expectedInError;
};

std::string repeated(const std::string& text, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

std::string billionLaughs()
{
    std::string text = "<!DOCTYPE plist [<!ENTITY e0 \"ha\">";
    for (int i = 1; i < 30; ++i)
        text += "<!ENTITY e" + std::to_string(i) + " \"" + repeated("&e" + std::to_string(i - 1) + ";", 10) + "\">";
    return text + "]><string>&e29;</string>";
}

const HostileCase kXml[] = {
    {"nothing", "", "empty"},
    {"no XML", "plain text", "XML line 1"},
    {"10,000 levels", repeated("<array>", 10'000), "512"},
    {"billion laughs", billionLaughs(), "entity"},
    {"a file of the machine", "<!DOCTYPE p [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><string>&x;</string>", "entity"},
    {"a key in an array", "<array><key>a</key></array>", "outside of <dict>"},
    {"an integer above 64 bits", "<integer>9223372036854775808</integer>", "cannot be read"},
    {"a date before all dates", "<date>0001-01-01T00:00:00Z</date>", "cannot be read"},
    {"data with a foreign character", "<data>AA*A</data>", "cannot be read"},
    {"not UTF-8", "<string>\xff</string>", "XML line 1"},
};

const std::string kYes = "\x09";
const std::string kOneGiB = std::string("\x12\x40\x00\x00\x00", 5);

std::string binary(std::vector<std::string> objects, std::vector<std::size_t> offsets = {})
{
    return BinaryDocument{.objects = std::move(objects), .announcedOffsets = std::move(offsets)}.bytes();
}

/// Arrays of ten references to the next one: ten to the power of `levels` values in some hundred bytes.
std::string exponentialArrays(int levels)
{
    std::vector<std::string> objects;
    for (int i = 0; i < levels; ++i)
        objects.push_back("\xAA" + std::string(10, static_cast<char>(i + 1)));
    objects.push_back(kYes);
    return binary(std::move(objects));
}

/// One long string, and an array that refers to it a thousand times, referred to a thousand times.
std::string hugeSharedString()
{
    const std::string thousand = std::string("\xAF\x11\x03\xE8", 4);
    const auto text = std::string("\x5F\x11\xFF\xFF", 4) + std::string(65535, 'x');
    const std::vector<std::string> objects{thousand + std::string(1000, '\x01'), thousand + std::string(1000, '\x02'),
                                           text};
    return BinaryDocument{.objects = objects, .offsetBytes = 4}.bytes();
}

std::string deepBinary(std::size_t depth)
{
    BinaryDocument document{.offsetBytes = 4, .referenceBytes = 4};
    for (std::size_t i = 0; i < depth; ++i)
        document.objects.push_back("\xA1" + BinaryDocument::number(i + 1, 4));
    document.objects.push_back(kYes);
    return document.bytes();
}

const HostileCase kBinary[] = {
    {"2^62 objects", BinaryDocument{.objects = {kYes}, .announcedObjects = std::int64_t{1} << 62}.bytes(),
     "more objects"},
    {"a top object that is not there", BinaryDocument{.objects = {kYes}, .topObject = 1}.bytes(), "top object"},
    {"a table behind the end", BinaryDocument{.objects = {kYes}, .announcedTable = 1 << 20}.bytes(), "table"},
    {"a reference to nothing", binary({"\xA1\x05"}), "does not exist"},
    {"a circle of two", binary({"\xA1\x01", std::string("\xA1\x00", 2)}), "contains itself"},
    {"an object within another", binary({"\xA2\x01\x02", "\x52\x09\x09", kYes}, {8, 11, 12}), "overlap"},
    {"a string over the end", binary({"\x5Exyz"}), "over the end"},
    {"1 GiB of data in 40 bytes", binary({"\x4F" + kOneGiB}), "more than there is"},
    {"an unknown kind", binary({"\x70"}), "unknown"},
    {"a key that is a number", binary({"\xD1\x01\x01", "\x10\x01"}), "no string"},
    {"ASCII that is not", binary({"\x51\xE4"}), "ASCII"},
    {"half a character", binary({"\x61\xD8\x3D"}), "half a character"},
    {"an integer above 64 bits", binary({"\x14\x01" + std::string(15, '\0')}), "64 bits"},
    {"a date that is not a number", binary({"\x33\x7F\xF8" + std::string(6, '\0')}), "out of range"},
    {"one level too many", deepBinary(513), "512"},
    {"ten to the power of nine values", exponentialArrays(9), "million"},
    {"64 GiB of one shared string", hugeSharedString(), "64 MiB"},
};

long peakKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(HostilePropertyList, IsAnErrorTextInBoundedTimeAndMemory)
{
    const auto codec = platform::makePropertyListCodec();
    const long before = peakKiB();
    for (const auto& cases : {std::span<const HostileCase>(kXml), std::span<const HostileCase>(kBinary)}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            const auto start = std::chrono::steady_clock::now();
            const auto result = codec->parse(tests::asBytes(c.bytes));
            const auto* failure = std::get_if<PropertyListCodec::Error>(&result);
            const auto error = failure != nullptr ? failure->text : "none";
            EXPECT_NE(error.find(c.expectedInError), std::string::npos) << "\"" << error << "\"";
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        }
    }
    EXPECT_LT(peakKiB() - before, 1024 * 1024);
}

TEST(HostilePropertyList, CutAnywhereItIsStillAnError)
{
    const roamer::PropertyList value = roamer::Dictionary{
        {"a", roamer::Array{1, 2.5, true, "text"}}, {"date", roamer::Date{}}, {"data", roamer::Data(20)}};
    const auto codec = platform::makePropertyListCodec();
    for (const auto format : {PropertyListCodec::Format::Xml, PropertyListCodec::Format::Binary}) {
        const auto bytes = std::get<roamer::Data>(codec->serialise(value, format));
        // The last byte of the text is the newline behind its end.
        for (std::size_t size = 0; size + 1 < bytes.size(); ++size)
            ASSERT_TRUE(std::holds_alternative<PropertyListCodec::Error>(codec->parse(std::span(bytes).first(size))));
    }
}

} // namespace
