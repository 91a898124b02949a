#pragma once

#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fakes
{

/// Environment variables that are set while this lives, and afterwards as before:
///
///     const TempEnvironment environment{{"LANG", "de_DE"}, {"LC_ALL", ""}};
class TempEnvironment
{
public:
    TempEnvironment(std::initializer_list<std::pair<const char*, std::string>> variables)
    {
        for (const auto& [name, value] : variables) {
            const char* before = std::getenv(name);
            mBefore.emplace_back(name, before != nullptr ? std::optional<std::string>(before) : std::nullopt);
            setenv(name, value.c_str(), 1);
        }
    }
    ~TempEnvironment()
    {
        for (const auto& [name, value] : mBefore) {
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
        }
    }
    TempEnvironment(const TempEnvironment&) = delete;
    TempEnvironment& operator=(const TempEnvironment&) = delete;

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> mBefore;
};

} // namespace fakes
