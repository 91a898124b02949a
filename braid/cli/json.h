#pragma once

#include <string>

/// JSON as the commands print it: one object on one line.
namespace braid::cli::json
{

/// A string with its quotes. Bytes outside UTF-8 are written as "\xNN" in it.
std::string text(const std::string& bytes);

template <class List, class Print>
std::string list(const List& elements, Print print)
{
    std::string out = "[";
    for (const auto& element : elements) {
        if (out.size() > 1) out += ", ";
        out += print(element);
    }
    return out + "]";
}

/// An object, member by member in the order of the calls.
class Object
{
public:
    /// `value` is JSON already.
    Object& add(const char* name, const std::string& value)
    {
        mMembers += (mMembers.empty() ? "\"" : ", \"") + std::string{name} + "\": " + value;
        return *this;
    }
    Object& addText(const char* name, const std::string& value) { return add(name, text(value)); }
    template <class Number>
    Object& addNumber(const char* name, Number value)
    {
        return add(name, std::to_string(value));
    }
    std::string str() const { return "{" + mMembers + "}"; }

private:
    std::string mMembers;
};

} // namespace braid::cli::json
