#include "areas.h"

#include <charconv>

namespace braid
{

namespace
{

void addNumber(std::string& areas, std::size_t number)
{
    areas += std::to_string(number);
    areas += ':';
}

void addText(std::string& areas, std::string_view text)
{
    addNumber(areas, text.size());
    areas += text;
}

/// Takes apart what the functions above put together; a text of another making ends in isBroken.
struct Reader {
    std::string_view rest;
    bool isBroken = false;

    std::size_t number()
    {
        std::size_t value = 0;
        const auto [end, code] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
        const auto length = static_cast<std::size_t>(end - rest.data());
        isBroken = isBroken || code != std::errc{} || length >= rest.size() || rest[length] != ':';
        if (isBroken) return 0;
        rest.remove_prefix(length + 1);
        return value;
    }
    std::string text()
    {
        const std::size_t length = number();
        isBroken = isBroken || length > rest.size();
        if (isBroken) return {};
        const std::string text{rest.substr(0, length)};
        rest.remove_prefix(length);
        return text;
    }
};

} // namespace

std::string areasOf(const std::vector<Job>& jobs)
{
    std::string areas;
    for (const Job& job : jobs) {
        addNumber(areas, job.inclusions.size());
        for (const std::string& path : job.inclusions)
            addText(areas, path);
        addNumber(areas, job.exclusions.size());
        for (const MatchRule& rule : job.exclusions) {
            addNumber(areas, static_cast<std::size_t>(rule.comparison()));
            addText(areas, rule.value());
        }
    }
    return areas;
}

std::vector<Job> jobsFrom(std::string_view areas)
{
    std::vector<Job> jobs;
    Reader reader{areas};
    while (!reader.rest.empty() && !reader.isBroken) {
        Job& job = jobs.emplace_back();
        for (std::size_t left = reader.number(); left > 0 && !reader.isBroken; --left)
            job.inclusions.insert(reader.text());
        for (std::size_t left = reader.number(); left > 0 && !reader.isBroken; --left) {
            const std::size_t comparison = reader.number();
            std::string value = reader.text();
            if (comparison > static_cast<std::size_t>(Comparison::PathLike)) reader.isBroken = true;
            if (reader.isBroken) break;
            auto rule = MatchRule::make(static_cast<Comparison>(comparison), std::move(value));
            if (auto* made = std::get_if<MatchRule>(&rule)) job.exclusions.push_back(std::move(*made));
        }
    }
    return reader.isBroken ? std::vector<Job>{} : jobs;
}

} // namespace braid
