#include <gtest/gtest.h>

#include "util/pseudo_xml.h"

namespace
{

using namespace roamer;

TEST(PseudoXml, GivesTheInnerElements)
{
    using Elements = std::map<std::string, std::string>;
    const struct {
        const char* name;
        std::string text;
        std::optional<Elements> expected;
    } cases[] = {
        {"two elements", "<home_dir><url>A</url><path></path></home_dir>", Elements{{"url", "A"}, {"path", ""}}},
        {"no element", "plain", {}},
        {"escapes", "<h><url>nfs://s/a%2Fb%20%c3%a4</url></h>", Elements{{"url", "nfs://s/a/b ä"}}},
        {"a lone percent sign skips its pair", "<h><url>50%</url><path>B</path></h>", Elements{{"path", "B"}}},
        {"an escape that is not hexadecimal", "<h><url>%zz</url></h>", Elements{}},
        {"escapes that are not UTF-8", "<h><url>%ff</url><path>B</path></h>", Elements{{"path", "B"}}},
        {"a value shorter than its closing tag", "<h><url>a></h>", Elements{}},
        {"nothing but brackets", ">>>>>>", Elements{}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(dictionaryWithPseudoXMLString(&c.text), c.expected) << c.name;
    EXPECT_EQ(dictionaryWithPseudoXMLString(nullptr), std::nullopt);
}

} // namespace
