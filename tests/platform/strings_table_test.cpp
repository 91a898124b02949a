#include "platform/linux/strings_table.h"

#include <gtest/gtest.h>

#include "property_list_bytes.h"

namespace
{

using namespace platform;

struct StringsCase {
    const char* name;
    std::string text;
    roamer::Dictionary expected;
};

const StringsCase kTables[] = {
    {"comments", "/* one\n */ // two\n\"a\" /**/ = // three\n \"b\"; // four", {{"a", "b"}}},
    {"escapes", R"("k" = "\"q\" \\ \n\t \U00e4\ud83d\ude00 \'";)", {{"k", "\"q\" \\ \n\t ä\xf0\x9f\x98\x80 '"}}},
    {"a text over two lines, the last of two", "a=\"c\";\"a\"=\"b\nc\";", {{"a", "b\nc"}}},
    {"UTF-8 with a mark", "\xef\xbb\xbf\"ä\"=\"ホーム\";", {{"ä", "ホーム"}}},
    {"UTF-16", std::string("\xff\xfe\x61\0=\0\"\0\xe4\0\"\0;\0", 14), {{"a", "ä"}}},
    {"UTF-16, big end first", std::string("\xfe\xff\0a\0=\0b\0;", 10), {{"a", "b"}}},
};

const std::pair<const char*, const char*> kBrokenTables[] = {
    {"\n\n\"a\" \"b\";", "line 3: expected \"=\""},
    {"\"a\" = \"b", "without a closing quote"},
    {"/* never ends", "comment without an end"},
    {"\"a\" = \"\\Ud83d\";", "half a character"},
    {"\"a\" = \"\xff\";", "not UTF-8"},
    {"\xff\xfe\x61", "half a UTF-16 unit"},
};

TEST(StringsTable, ReadsTextsAndTellsWhereItIsBroken)
{
    for (const auto& c : kTables)
        EXPECT_EQ(std::get<roamer::Dictionary>(readStringsTable(tests::asBytes(c.text))), c.expected) << c.name;
    for (const auto& [text, expected] : kBrokenTables) {
        const auto error = std::get<StringsTableError>(readStringsTable(tests::asBytes(text))).text;
        EXPECT_NE(error.find(expected), std::string::npos) << error;
    }
}

} // namespace
