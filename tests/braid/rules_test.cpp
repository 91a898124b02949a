#include <gtest/gtest.h>

#include <chrono>

#include "braid/jobs/coverage.h"
#include "braid/match_rule.h"

namespace braid
{
namespace
{

MatchRule rule(Comparison comparison, const std::string& value)
{
    return std::get<MatchRule>(MatchRule::make(comparison, value));
}

struct RuleCase {
    Comparison comparison;
    const char* value;
    const char* path;
    bool matches;
};

const RuleCase kRules[] = {
    {Comparison::PathEquals, "Library/Caches", "Library/Caches", true},
    {Comparison::PathEquals, "Library/Caches", "library/caches", false},
    {Comparison::PathEquals, "Caches", "Library/Caches", false},
    {Comparison::PathBeginsWith, ".", ".bashrc", true},
    {Comparison::PathBeginsWith, ".", "a/.b", false},
    {Comparison::PathBeginsWith, "Lib", "library", false},
    {Comparison::NameBeginsWith, "tmp", "a/TMPfile", true},
    {Comparison::NameBeginsWith, "a", "a/tmp", false},
    {Comparison::NameEndsWith, ".ISO", "x/debian.iso", true},
    {Comparison::NameEndsWith, "é", "x/CAFÉ", true},
    {Comparison::NameContains, "STRASSE", "x/Hauptstraße 1", true},
    {Comparison::NameContains, "x", "x/y", false},
    {Comparison::PathContains, "/CACHE/", "a/Cache/b", true},
    {Comparison::PathContains, "", "a", true},
    {Comparison::NameMatches, "[a-c]+\\.o", "src/abc.o", true},
    {Comparison::NameMatches, "[a-c]+", "src/abc.o", false},
    {Comparison::NameMatches, "(?i)ABC", "abc", true},
    {Comparison::PathMatches, "src/.*\\.o", "src/deep/abc.o", true},
    {Comparison::PathMatches, ".*\\.o", "src/abc.O", false},
    {Comparison::NameLike, "*.t?p", "x/FILE.TmP", true},
    {Comparison::NameLike, "*.t?p", "x/file.tp", false},
    {Comparison::NameLike, "stra?e", "straße", true},
    {Comparison::NameLike, "a*b*c", "a.b.b.c", true},
    {Comparison::NameLike, "a*b*c", "a.b.b.d", false},
    {Comparison::NameLike, "*", "x/anything", true},
    {Comparison::PathLike, "Library/Mail/IMAP-*", "library/mail/imap-jo@host/INBOX/1", true},
    {Comparison::PathLike, "Library", "Library/x", false},
    // Bytes that are no UTF-8 are themselves: equal to themselves, not to each other, one character to "?".
    {Comparison::NameContains, "\xff",
     "a\xff"
     "b",
     true},
    {Comparison::NameContains, "\xff",
     "a\xfe"
     "b",
     false},
    {Comparison::NameLike, "a?b",
     "a\xff"
     "b",
     true},
    {Comparison::NameMatches, "a.b",
     "a\xff"
     "b",
     true},
    {Comparison::NameMatches,
     "a\xff"
     "b",
     "a\xfe"
     "b",
     false},
    {Comparison::NameEndsWith, "X\xc3", "y/x\xc3", true},
};

TEST(MatchRule, TenForms)
{
    for (const auto& c : kRules) {
        EXPECT_EQ(rule(c.comparison, c.value).matches(c.path), c.matches)
            << static_cast<int>(c.comparison) << " \"" << c.value << "\" on \"" << c.path << "\"";
    }
}

TEST(MatchRule, AMalformedExpressionIsAnErrorInWords)
{
    for (const char* value : {"(", "[a", "*x", "a{2"}) {
        const auto made = MatchRule::make(Comparison::NameMatches, value);
        ASSERT_TRUE(std::holds_alternative<std::string>(made)) << value;
        EXPECT_NE(std::get<std::string>(made).find("regular expression"), std::string::npos);
    }
}

TEST(MatchRule, AHostileExpressionCannotStallAPass)
{
    const auto hostile = rule(Comparison::NameMatches, "(a*)*(a*)*b");
    const auto start = std::chrono::steady_clock::now();
    for (int item = 0; item < 2000; ++item)
        EXPECT_FALSE(hostile.matches(std::string(200, 'a')));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{5});
}

Job job(std::set<std::string> inclusions, std::vector<MatchRule> exclusions = {})
{
    Job job;
    job.inclusions = std::move(inclusions);
    job.exclusions = std::move(exclusions);
    return job;
}

struct CoverageCase {
    const char* path;
    std::optional<std::size_t> job;
};

TEST(Coverage, TheFirstJobThatIncludesAndDoesNotExclude)
{
    const std::vector<Job> jobs{
        job({"Library", "/Notes/Work/"},
            {rule(Comparison::NameEndsWith, ".tmp"), rule(Comparison::PathEquals, "Library/Caches")}),
        job({"Music"}),
        job({}, {rule(Comparison::PathBeginsWith, "."), rule(Comparison::NameLike, "private")}),
    };
    const Coverage coverage{jobs};
    const CoverageCase cases[] = {
        {"Library", 0},
        {"Library/a/b", 0},
        {"Library/a.tmp", 2},      // the first job excludes it, the last takes it
        {"Library/Caches/x/y", 2}, // excluded with all below
        {"Library2", 2},           // no path component of the inclusion
        {"Notes", 2},              // above an included folder is not included
        {"Notes/Work/x", 0},
        {"Notes/Work-old", 2},
        {"Music/a.tmp", 1},
        {".bashrc", std::nullopt},
        {".config/x", std::nullopt}, // below an excluded folder, though no rule matches it itself
        {"a/private/b", std::nullopt},
        {"a/b", 2},
    };
    for (const auto& c : cases)
        EXPECT_EQ(coverage.jobOfPath(c.path), c.job) << c.path;
}

TEST(Coverage, OddSpellingsOfAnInclusion)
{
    for (const char* top : {"", "/", ".", "./"}) {
        const std::vector<Job> jobs{job({top, "x"})};
        EXPECT_EQ(Coverage{jobs}.jobOfPath("anything/below"), 0U) << top;
    }
    const std::vector<Job> jobs{job({"./a//b/", "../outside"})};
    EXPECT_EQ(Coverage{jobs}.jobOfPath("a/b/c"), 0U);
    EXPECT_EQ(Coverage{jobs}.jobOfPath("outside"), std::nullopt);
}

} // namespace
} // namespace braid
