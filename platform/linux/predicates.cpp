#include "predicates.h"

#include <string>
#include <utility>
#include <variant>

#include "braid/match_rule.h"
#include "platform/failure.h"
#include "util/path_text.h"

namespace platform
{

namespace
{

using roamer::ComparisonForm;

// Both sides number the forms alike, so that a form goes to the engine as its number.
static_assert(static_cast<int>(ComparisonForm::PathEquals) == static_cast<int>(braid::Comparison::PathEquals));
static_assert(static_cast<int>(ComparisonForm::PathBeginsWith) == static_cast<int>(braid::Comparison::PathBeginsWith));
static_assert(static_cast<int>(ComparisonForm::NameBeginsWith) == static_cast<int>(braid::Comparison::NameBeginsWith));
static_assert(static_cast<int>(ComparisonForm::NameEndsWith) == static_cast<int>(braid::Comparison::NameEndsWith));
static_assert(static_cast<int>(ComparisonForm::NameContains) == static_cast<int>(braid::Comparison::NameContains));
static_assert(static_cast<int>(ComparisonForm::PathContains) == static_cast<int>(braid::Comparison::PathContains));
static_assert(static_cast<int>(ComparisonForm::NameMatches) == static_cast<int>(braid::Comparison::NameMatches));
static_assert(static_cast<int>(ComparisonForm::PathMatches) == static_cast<int>(braid::Comparison::PathMatches));
static_assert(static_cast<int>(ComparisonForm::NameLike) == static_cast<int>(braid::Comparison::NameLike));
static_assert(static_cast<int>(ComparisonForm::PathLike) == static_cast<int>(braid::Comparison::PathLike));

bool looksAtName(ComparisonForm form)
{
    switch (form) {
    case ComparisonForm::NameBeginsWith:
    case ComparisonForm::NameEndsWith:
    case ComparisonForm::NameContains:
    case ComparisonForm::NameMatches:
    case ComparisonForm::NameLike:
        return true;
    case ComparisonForm::PathEquals:
    case ComparisonForm::PathBeginsWith:
    case ComparisonForm::PathContains:
    case ComparisonForm::PathMatches:
    case ComparisonForm::PathLike:
        return false;
    }
    return false;
}

class EnginePredicates final : public Predicates
{
public:
    Predicate compile(const roamer::MatchRule& rule) override
    {
        auto made = braid::MatchRule::make(static_cast<braid::Comparison>(rule.form), rule.value);
        if (const auto* reason = std::get_if<std::string>(&made)) throw Failure(kInvalidArgument, *reason);
        auto compiled = std::get<braid::MatchRule>(std::move(made));
        if (!looksAtName(rule.form)) {
            return [compiled](std::string_view path) { return compiled.matches(path); };
        }
        // A path that a person typed may end in a slash; the engine expects that to be gone.
        return [compiled](std::string_view path) { return compiled.matches(roamer::lastPathComponent(path)); };
    }
};

} // namespace

std::unique_ptr<Predicates> makePredicates()
{
    return std::make_unique<EnginePredicates>();
}

} // namespace platform
