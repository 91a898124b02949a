#include "home/preference_table.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

namespace roamer
{

namespace
{

TEST(PreferenceTable, IsWhatTheReferenceShows)
{
    std::ifstream file(ROAMER_SOURCE_DIR "/docs/preferences.md");
    std::stringstream document;
    document << file.rdbuf();
    std::set<PreferenceSection> sections;
    for (const auto& key : preferenceKeys())
        sections.insert(key.section);
    EXPECT_EQ(sections.size(), 7U);
    for (const auto section : sections) {
        const auto table = preferenceTableMarkdown(section);
        EXPECT_NE(document.str().find(table), std::string::npos)
            << "\"roamerctl keys --markdown\" prints the tables anew:\n"
            << table;
    }
}

} // namespace

} // namespace roamer
