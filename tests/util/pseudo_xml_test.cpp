#include "util/pseudo_xml.h"

#include <gtest/gtest.h>

namespace roamer
{

namespace
{

using Elements = std::map<std::string, std::string>;

struct PseudoXmlCase {
    const char* name;
    std::string text;
    std::optional<Elements> expected;
};

const PseudoXmlCase kCases[] = {
    {"two elements", "<home_dir><url>A</url><path>B</path></home_dir>", Elements{{"url", "A"}, {"path", "B"}}},
    {"one element", "<home_dir><url>A</url></home_dir>", Elements{{"url", "A"}}},
    {"no inner element", "<home_dir></home_dir>", {}},
    {"no text at all", "", {}},
    {"no element", "plain", {}},
    {"an empty value", "<home_dir><url>A</url><path></path></home_dir>", Elements{{"url", "A"}, {"path", ""}}},
    {"escapes", "<h><url>nfs://s/a%2Fb%20%c3%a4</url></h>", Elements{{"url", "nfs://s/a/b ä"}}},
    {"a lone percent sign skips its pair", "<h><url>50%</url><path>B</path></h>", Elements{{"path", "B"}}},
    {"a percent sign and one digit", "<h><url>5%2</url></h>", Elements{}},
    {"an escape that is not hexadecimal", "<h><url>%zz</url></h>", Elements{}},
    {"escapes that are not UTF-8", "<h><url>%ff</url><path>B</path></h>", Elements{{"path", "B"}}},
    {"a value shorter than its closing tag", "<h><url>a></h>", Elements{}},
    {"nothing but brackets", ">>>>>>", Elements{}},
};

} // namespace

TEST(PseudoXml, GivesTheInnerElements)
{
    EXPECT_EQ(dictionaryWithPseudoXMLString(nullptr), std::nullopt);
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(dictionaryWithPseudoXMLString(&c.text), c.expected);
    }
}

} // namespace roamer
