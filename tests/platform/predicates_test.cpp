#include <gtest/gtest.h>

#include "platform/failure.h"
#include "platform/linux/predicates.h"

namespace
{

using namespace roamer;
using enum ComparisonForm;

TEST(Predicates, EachFormIsTheEnginesComparisonOfTheSameName)
{
    const auto predicates = platform::makePredicates();
    const struct {
        MatchRule rule;
        const char *yes, *no;
    } cases[] = {
        {{PathEquals, "Music"}, "Music", "Music/"},       {{PathBeginsWith, "."}, ".config/app", "Music/.hidden"},
        {{NameBeginsWith, "TMP"}, "x/tmp-1", "tmp/x"},    {{NameEndsWith, ".TMP"}, "a/b.tmp", "a/b.tmp.txt"},
        {{NameContains, ".*"}, "a/x.*", "a/xy"},          {{PathContains, "b/C"}, "a/B/c", "a/b"},
        {{NameMatches, "a+"}, "x/aaa", "x/aaab"},         {{PathMatches, "x/[0-9]{2}"}, "x/42", "y/x/42"},
        {{NameLike, "ÄPF?L*"}, "x/äpfel.txt", "äpfel/x"}, {{PathLike, "a*z"}, "a/b/C/Z", "b/a/z"},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(predicates->compile(c.rule)(c.yes)) << c.yes;
        EXPECT_FALSE(predicates->compile(c.rule)(c.no)) << c.no;
    }
    EXPECT_THROW(predicates->compile({PathMatches, "(open"}), platform::Failure);
}

} // namespace
