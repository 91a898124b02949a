#include "list_text.h"

namespace roamer
{

namespace
{

std::string predicateText(const MatchRule& rule)
{
    std::string text(comparisonFormat(rule.form));
    const auto placeholder = text.find("%@");
    return text.replace(placeholder, 2, "\"" + rule.value + "\"");
}

template <typename Items, typename Text>
std::string listed(const Items& items, Text text)
{
    std::string result = "{(";
    for (const auto& item : items) {
        if (result.size() > 2) result += ", ";
        result += text(item);
    }
    return result + ")}";
}

} // namespace

std::string description(const InclusionSet& set)
{
    if (!set) return "(null)";
    return listed(*set, [](const std::string& path) -> const std::string& { return path; });
}

std::string description(const MatchRules& rules)
{
    return listed(rules, predicateText);
}

} // namespace roamer
