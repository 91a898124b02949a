#include "platform/linux/property_list_codec.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "property_list_bytes.h"

namespace platform
{

namespace
{

using roamer::Array;
using roamer::Data;
using roamer::Date;
using roamer::Dictionary;
using roamer::PropertyList;
using tests::asBytes;
using tests::asText;
using tests::BinaryDocument;
using Format = PropertyListCodec::Format;
using Limits = std::numeric_limits<std::int64_t>;

constexpr Format kFormats[] = {Format::Xml, Format::Binary};

Date seconds(std::int64_t sinceEpoch)
{
    return Date(std::chrono::seconds(sinceEpoch));
}

PropertyList parsed(std::string_view text)
{
    auto result = makePropertyListCodec()->parse(asBytes(text));
    if (const auto* error = std::get_if<PropertyListCodec::Error>(&result)) {
        ADD_FAILURE() << error->text;
        return {};
    }
    return std::get<PropertyList>(result);
}

std::string written(const PropertyList& value, Format format)
{
    const auto result = makePropertyListCodec()->serialise(value, format);
    const auto* bytes = std::get_if<std::vector<std::byte>>(&result);
    if (bytes == nullptr) ADD_FAILURE() << std::get<PropertyListCodec::Error>(result).text;
    return bytes != nullptr ? asText(*bytes) : std::string();
}

std::string writeErrorOf(const PropertyList& value, Format format)
{
    const auto result = makePropertyListCodec()->serialise(value, format);
    const auto* error = std::get_if<PropertyListCodec::Error>(&result);
    return error != nullptr ? error->text : std::string();
}

PropertyList nested(int depth)
{
    PropertyList value = 1;
    for (int i = 0; i < depth; ++i)
        value = i % 2 == 0 ? PropertyList(Array{std::move(value)}) : PropertyList(Dictionary{{"k", std::move(value)}});
    return value;
}

std::string plist(const std::string& value)
{
    return "<plist version=\"1.0\">" + value + "</plist>";
}

} // namespace

TEST(PropertyListCodec, EveryValueSurvivesBothForms)
{
    const PropertyList values[] = {
        Dictionary{},
        Array{},
        "",
        "plain",
        "<&>\"' ]]> \r\n\t",
        "zwölf \xf0\x9f\x98\x80 ホーム",
        std::string(5000, 'x'),
        0,
        -1,
        255,
        256,
        65536,
        std::int64_t{1} << 32,
        Limits::max(),
        Limits::min(),
        0.0,
        0.1,
        -1e300,
        std::numeric_limits<double>::denorm_min(),
        std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(),
        true,
        false,
        seconds(0),
        seconds(-1),
        seconds(4'102'444'800),
        Data{},
        Data(1),
        Data(20, std::byte{0xff}),
        Dictionary{{"", 1}, {"ä", Array{"same", "same", Dictionary{{"same", "same"}}}}},
        Array(300, PropertyList("shared")),
        nested(512),
    };
    for (const auto& value : values) {
        SCOPED_TRACE(value.description().substr(0, 80));
        for (const auto format : kFormats)
            EXPECT_EQ(parsed(written(value, format)), value);
    }
    for (const auto format : kFormats) { // the one value that does not equal itself
        const auto value = parsed(written(Array{std::nan("")}, format));
        EXPECT_TRUE(std::isnan(*value.as<Array>()->front().as<double>()));
    }
}

TEST(PropertyListCodec, DatesKeepWholeSecondsAsTextAndFractionsInBinary)
{
    const Date date = seconds(1'764'000'000) + std::chrono::microseconds(123'456);
    EXPECT_EQ(parsed(written(date, Format::Xml)), PropertyList(seconds(1'764'000'000)));
    const auto back = parsed(written(date, Format::Binary));
    const auto difference = *back.as<Date>() - date;
    EXPECT_LT(std::chrono::abs(difference), std::chrono::microseconds(1));
    EXPECT_EQ(parsed(written(back, Format::Binary)), back); // once rounded it stays
    EXPECT_NE(written(seconds(-1), Format::Xml).find("<date>1969-12-31T23:59:59Z</date>"), std::string::npos);
}

TEST(PropertyListCodec, RandomTreesSurviveBothForms)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random()) % limit; };
    const std::function<PropertyList(unsigned)> tree = [&](unsigned depth) -> PropertyList {
        switch (below(depth == 0 ? 5 : 7)) {
        case 0:
            return static_cast<std::int64_t>((std::uint64_t{random()} << 32U) | random());
        case 1:
            return std::ldexp(static_cast<double>(random()), static_cast<int>(below(100)) - 50);
        case 2:
            return below(2) == 1;
        case 3:
            return "text" + std::to_string(below(20)) + (below(2) == 1 ? "ß" : "");
        case 4:
            return Data(below(40), static_cast<std::byte>(below(256)));
        case 5: {
            Array array;
            for (unsigned i = below(6); i > 0; --i)
                array.push_back(tree(depth - 1));
            return array;
        }
        default: {
            Dictionary dictionary;
            for (unsigned i = below(6); i > 0; --i)
                dictionary.insert_or_assign("key" + std::to_string(below(50)), tree(depth - 1));
            return dictionary;
        }
        }
    };
    for (int i = 0; i < 200; ++i) {
        const auto value = tree(5);
        for (const auto format : kFormats)
            ASSERT_EQ(parsed(written(value, format)), value) << value.description();
    }
}

TEST(PropertyListCodec, ReadsWhatOthersWrite)
{
    const auto xml = "\xef\xbb\xbf<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<!DOCTYPE plist PUBLIC \"-//Example//DTD PLIST 1.0//EN\" \"http://example.org/p.dtd\">\n" +
                     plist("<!-- a comment --><dict><key>a</key><integer> +0x1F </integer><key>b</key>"
                           "<string>x<![CDATA[<y>]]>&#122;</string><key>c</key><data> AP\n8= </data>"
                           "<key>d</key><real>1e3</real><key>a</key><integer>-7</integer></dict>");
    const PropertyList expected =
        Dictionary{{"a", -7}, {"b", "x<y>z"}, {"c", Data{std::byte{0}, std::byte{0xff}}}, {"d", 1000.0}};
    EXPECT_EQ(parsed(xml), expected);
    EXPECT_EQ(parsed("<array><true/></array>"), PropertyList(Array{true})); // without the outer element
    EXPECT_EQ(parsed("<?xml version='1.0' encoding='ISO-8859-1'?><plist><string>\xe4</string></plist>"),
              PropertyList("ä"));
}

TEST(PropertyListCodec, ReadsABinaryDocumentOfAnotherWriter)
{
    // Made once with another implementation of the form.
    constexpr std::string_view kHex =
        "62706c6973743030d601020304050607101112061355617272617954646174615464617465546c6f6e675473616d6554"
        "74657874a808090a0b0c0d0e0f100113ffffffffffffffff11012c1200011170130000010000000000233fe000000000"
        "000009084200ff3341c85b19c28000005f10103031323334353637383961626364656668007a007700f6006c00660020"
        "d83dde0008151b20252a2f343d3f484b5059626364677083000000000000010100000000000000140000000000000000"
        "0000000000000094";
    std::string bytes;
    for (std::size_t i = 0; i < kHex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(std::string(kHex.substr(i, 2)), nullptr, 16));
    const PropertyList expected = Dictionary{
        {"array", Array{1, -1, 300, 70000, std::int64_t{1} << 40, 0.5, true, false}},
        {"data", Data{std::byte{0}, std::byte{0xff}}},
        {"date", seconds(1'795'554'309)},
        {"text", "zwölf \xf0\x9f\x98\x80"},
        {"same", "text"},
        {"long", "0123456789abcdef"},
    };
    EXPECT_EQ(parsed(bytes), expected);
}

TEST(PropertyListCodec, ReadsUnusualSizesOfTheBinaryForm)
{
    BinaryDocument document{
        .objects = {BinaryDocument::number(0xA2, 1) + BinaryDocument::number(1, 3) + BinaryDocument::number(2, 3),
                    std::string("\x14", 1) + std::string(15, '\0') + "\x05", std::string("\x22\x3f\x00\x00\x00", 5)}};
    document.offsetBytes = 5;
    document.referenceBytes = 3;
    EXPECT_EQ(parsed(document.bytes()), PropertyList(Array{5, 0.5}));
    document.objects = {std::string("\x14", 1) + std::string(16, '\xff')};
    EXPECT_EQ(parsed(document.bytes()), PropertyList(-1));
}

TEST(PropertyListCodec, RefusesValuesThatAFormCannotHold)
{
    EXPECT_NE(writeErrorOf("bell \a", Format::Xml), "");
    EXPECT_EQ(writeErrorOf("bell \a", Format::Binary), "");
    EXPECT_NE(writeErrorOf(Dictionary{{std::string("\0", 1), 1}}, Format::Xml), "");
    for (const auto format : kFormats) {
        EXPECT_NE(writeErrorOf(Array{"\xff"}, format), "");
        EXPECT_NE(writeErrorOf(Dictionary{{"\xed\xa0\x80", 1}}, format), "");
        EXPECT_NE(writeErrorOf(nested(513), format), "");
        EXPECT_NE(writeErrorOf(Array(1'000'000, PropertyList(1)), format), "");
    }
}

} // namespace platform
