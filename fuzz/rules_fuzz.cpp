#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "braid/jobs/coverage.h"
#include "braid/match_rule.h"

/// One byte for the form of comparison, a rule's value, a line break, a path.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int kComparisons = 10;
    if (size == 0) return 0;
    const std::string_view text{reinterpret_cast<const char*>(data + 1), size - 1};
    const auto end = text.find('\n');
    const std::string value{text.substr(0, end)};
    const std::string path = end == std::string_view::npos ? "a/b" : braid::normalPath(text.substr(end + 1));
    auto made = braid::MatchRule::make(static_cast<braid::Comparison>(data[0] % kComparisons), value);
    const auto* rule = std::get_if<braid::MatchRule>(&made);
    if (rule == nullptr) return 0;
    const bool matches = rule->matches(path);
    if (matches != rule->matches(path)) std::abort();

    std::vector<braid::Job> jobs(1);
    jobs[0].exclusions.push_back(*rule);
    // What a rule matches belongs to no job, whatever else decides.
    if (matches && !path.empty() && braid::Coverage{jobs}.jobOfPath(path)) std::abort();
    return 0;
}
