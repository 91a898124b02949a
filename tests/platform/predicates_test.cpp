#include <gtest/gtest.h>

#include "platform/failure.h"
#include "platform/linux/predicates.h"
#include "tests/fakes/fake_predicates.h"

namespace
{

using namespace roamer;
using enum ComparisonForm;

struct PredicateCase {
    const char* name;
    MatchRule rule;
    const char* path;
    bool expected;
};

const PredicateCase kCases[] = {
    {"the path exactly", {PathEquals, "Music/a.ogg"}, "Music/a.ogg", true},
    {"in this letter case", {PathEquals, "Music"}, "music", false},
    {"the whole path", {PathEquals, "Music"}, "Music/a.ogg", false},
    {"the beginning of the path", {PathBeginsWith, "."}, ".config/app", true},
    {"of the path, not of the name", {PathBeginsWith, "."}, "Music/.hidden", false},
    {"in this letter case", {PathBeginsWith, "Mus"}, "music", false},
    {"the beginning of the name", {NameBeginsWith, "TMP"}, "tmp/tmp-1", true},
    {"of the name, not of the path", {NameBeginsWith, "tmp"}, "tmp/a", false},
    {"the end of the name", {NameEndsWith, ".TMP"}, "a/b.tmp", true},
    {"only the end", {NameEndsWith, ".tmp"}, "a/b.tmp.txt", false},
    {"somewhere in the name", {NameContains, "acH"}, "a/xCache", true},
    {"in the name alone", {NameContains, "cache"}, "Cache/a", false},
    {"signs of expressions mean themselves", {NameContains, ".*"}, "abc", false},
    {"somewhere in the path", {PathContains, "b/C"}, "a/B/c", true},
    {"the whole name as an expression", {NameMatches, "a+"}, "x/aaa", true},
    {"not a part of it", {NameMatches, "a+"}, "x/aaab", false},
    {"in this letter case", {NameMatches, "a+"}, "AAA", false},
    {"the whole path as an expression", {PathMatches, "x/[0-9]{2}"}, "x/42", true},
    {"not the name alone", {PathMatches, "[0-9]{2}"}, "x/42", false},
    {"the name with wildcards", {NameLike, "*.t?p"}, "x/A.TMP", true},
    {"one sign for each question mark", {NameLike, "a?"}, "a", false},
    {"a pattern without wildcards is the whole name", {NameLike, "music"}, "My Music", false},
    {"signs of expressions mean themselves", {NameLike, "a.c"}, "abc", false},
    {"the path with wildcards, over folders too", {PathLike, "a*z"}, "a/b/C/Z", true},
    {"from its first sign on", {PathLike, "b*"}, "a/b", false},
    {"a slash at the end is no name", {NameLike, "music"}, "My/Music/", true},
    {"but part of the path", {PathEquals, "Music"}, "Music/", false},
};

/// The double stands for the engine in other tests, so it has to answer alike.
TEST(Predicates, MeanTheSameInTheEngineAndInTheDouble)
{
    const auto engine = platform::makePredicates();
    fakes::FakePredicates fake;
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(comparisonFormat(c.rule.form)) + ": " + c.name);
        EXPECT_EQ(engine->compile(c.rule)(c.path), c.expected);
        EXPECT_EQ(fake.compile(c.rule)(c.path), c.expected) << "the double";
    }
    EXPECT_TRUE(engine->compile({NameLike, "ÄPFEL*"})("x/äpfel.txt")) << "case folding is Unicode's";
}

TEST(Predicates, MalformedExpressionsAreRefused)
{
    const auto engine = platform::makePredicates();
    fakes::FakePredicates fake;
    for (const auto form : {NameMatches, PathMatches}) {
        EXPECT_THROW(engine->compile({form, "(open"}), platform::Failure);
        EXPECT_THROW(fake.compile({form, "(open"}), platform::Failure);
    }
    EXPECT_NO_THROW(engine->compile({NameLike, "(open"}));
}

} // namespace
