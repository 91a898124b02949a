#include "localized_text.h"

#include <charconv>
#include <string_view>

#include "platform/failure.h"

namespace roamer
{

namespace
{

/// What stands at a percent sign: how long it is in the format, and what it stands for.
struct Placeholder {
    std::size_t length = 1;
    std::size_t position = 0; ///< 1 for the first value; 0: the next value.
    bool takesValue = false;
    bool isPercent = false;
};

/// `rest` begins with a percent sign.
Placeholder readPlaceholder(std::string_view rest)
{
    if (rest.starts_with("%@")) return {.length = 2, .takesValue = true};
    if (rest.starts_with("%%")) return {.length = 2, .isPercent = true};
    Placeholder numbered{.takesValue = true};
    const auto* const first = rest.data() + 1;
    const auto* const last = rest.data() + rest.size();
    const auto [end, error] = std::from_chars(first, last, numbered.position);
    if (error != std::errc() || numbered.position == 0 || !std::string_view(end, last).starts_with("$@")) return {};
    numbered.length = static_cast<std::size_t>(end - rest.data()) + 2;
    return numbered;
}

} // namespace

const std::string* localizedText(const SharedState& state, const std::string& key)
{
    const auto item = state.mLocalizedStringsDict.find(key);
    return item != state.mLocalizedStringsDict.end() ? &item->second : nullptr;
}

std::string fillFormat(const std::string* format, const std::string& key, const std::vector<std::string>& values)
{
    if (format == nullptr) throw platform::Failure(platform::kInvalidArgument, "There is no text for \"" + key + "\".");
    std::string result;
    std::size_t next = 0;
    for (std::string_view rest = *format; !rest.empty();) {
        const auto text = rest.substr(0, rest.find('%'));
        result += text;
        rest.remove_prefix(text.size());
        if (rest.empty()) break;

        const auto placeholder = readPlaceholder(rest);
        if (placeholder.takesValue) {
            const auto index = placeholder.position > 0 ? placeholder.position - 1 : next++;
            if (index < values.size()) result += values[index];
        } else {
            result += '%';
            // A percent sign that means nothing stands for itself: `length` is 1 then.
        }
        rest.remove_prefix(placeholder.length);
    }
    return result;
}

} // namespace roamer
