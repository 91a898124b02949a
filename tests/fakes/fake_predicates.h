#pragma once

#include <algorithm>
#include <cctype>
#include <regex>
#include <string>
#include <string_view>

#include "platform/failure.h"
#include "platform/predicates.h"

namespace fakes
{

/// A small evaluator of its own: case folding for ASCII alone, the standard library's regular expressions. Good for
/// tests above the engine, and a second opinion about it.
class FakePredicates final : public platform::Predicates
{
public:
    Predicate compile(const roamer::MatchRule& rule) override
    {
        using enum roamer::ComparisonForm;
        const auto value = rule.value;
        const auto low = lowered(value);
        switch (rule.form) {
        case PathEquals:
            return [value](std::string_view path) { return path == value; };
        case PathBeginsWith:
            return [value](std::string_view path) { return path.starts_with(value); };
        case NameBeginsWith:
            return [low](std::string_view path) { return lowered(nameOf(path)).starts_with(low); };
        case NameEndsWith:
            return [low](std::string_view path) { return lowered(nameOf(path)).ends_with(low); };
        case NameContains:
            return [low](std::string_view path) { return lowered(nameOf(path)).find(low) != std::string::npos; };
        case PathContains:
            return [low](std::string_view path) { return lowered(path).find(low) != std::string::npos; };
        case NameMatches:
            return [regex = expression(value)](std::string_view path) { return matches(nameOf(path), regex); };
        case PathMatches:
            return [regex = expression(value)](std::string_view path) { return matches(path, regex); };
        case NameLike:
            return [low](std::string_view path) { return isLike(lowered(nameOf(path)), low); };
        case PathLike:
            return [low](std::string_view path) { return isLike(lowered(path), low); };
        }
        throw platform::Failure(platform::kInvalidArgument, "no such comparison");
    }

private:
    static std::string_view nameOf(std::string_view path)
    {
        while (path.size() > 1 && path.ends_with('/'))
            path.remove_suffix(1);
        return path.substr(path.rfind('/') + 1);
    }
    static std::string lowered(std::string_view text)
    {
        std::string result(text);
        std::ranges::transform(result, result.begin(),
                               [](unsigned char c) { return static_cast<char>(c < 0x80 ? std::tolower(c) : c); });
        return result;
    }
    static std::regex expression(const std::string& text)
    {
        try {
            return std::regex(text);
        } catch (const std::regex_error& error) {
            throw platform::Failure(platform::kInvalidArgument, error.what());
        }
    }
    static bool matches(std::string_view text, const std::regex& regex)
    {
        return std::regex_match(text.begin(), text.end(), regex);
    }
    /// "*" any run, "?" one character, over "/" too.
    static bool isLike(std::string_view text, std::string_view pattern)
    {
        if (pattern.empty()) return text.empty();
        if (pattern.front() == '*') {
            const auto rest = pattern.substr(1);
            for (std::size_t skipped = 0; skipped <= text.size(); ++skipped) {
                if (isLike(text.substr(skipped), rest)) return true;
            }
            return false;
        }
        if (text.empty() || (pattern.front() != '?' && pattern.front() != text.front())) return false;
        return isLike(text.substr(1), pattern.substr(1));
    }
};

} // namespace fakes
