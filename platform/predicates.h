#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "values/match_rule.h"

namespace platform
{

/// Evaluates exclusion rules the way the sync engine does.
class Predicates
{
public:
    /// Whether an item matches. `path` is home-relative; its last component is the item's name.
    using Predicate = std::function<bool(std::string_view path)>;
    virtual ~Predicates() = default;

    /// Raises Failure when the rule cannot be made, for example for a malformed regular expression.
    virtual Predicate compile(const roamer::MatchRule& rule) = 0;
};

} // namespace platform
