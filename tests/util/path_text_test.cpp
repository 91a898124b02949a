#include "util/path_text.h"

#include <gtest/gtest.h>

namespace roamer
{

namespace
{

struct AppendCase {
    const char* base;
    const char* component;
    const char* expected;
};

const AppendCase kAppends[] = {
    {"/", "Library/Preferences", "/Library/Preferences"},
    {"/home/jo", "Library", "/home/jo/Library"},
    {"/home/jo//", "//Library/", "/home/jo/Library"},
    {"", "Library", "Library"},
    {"/home/jo/", "", "/home/jo"},
    {"/", "", "/"},
};

struct PartsCase {
    const char* path;
    const char* last;
    const char* rest;
    std::vector<std::string> components;
};

const PartsCase kParts[] = {
    {"/", "/", "/", {"/"}},
    {"", "", "", {}},
    {"a", "a", "", {"a"}},
    {"/a", "a", "/", {"/", "a"}},
    {"/a//b/", "b", "/a", {"/", "a", "b"}},
    {"a/b", "b", "a", {"a", "b"}},
};

} // namespace

TEST(PathText, JoinsWithOneSlash)
{
    for (const auto& c : kAppends)
        EXPECT_EQ(pathByAppending(c.base, c.component), c.expected) << c.base << " + " << c.component;
}

TEST(PathText, TakesPathsApart)
{
    for (const auto& c : kParts) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(lastPathComponent(c.path), c.last);
        EXPECT_EQ(pathByDeletingLastComponent(c.path), c.rest);
        EXPECT_EQ(pathComponents(c.path), c.components);
    }
}

} // namespace roamer
