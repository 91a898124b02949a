#include "size_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>

namespace roamer
{

namespace
{

struct SizeStep {
    std::uint64_t below; ///< The first number of bytes that belongs to the next step.
    const char* unitKey;
    std::uint64_t unitBytes;
    int decimals;
};

constexpr const char* kBytes = "PAVO_PROG_STATUS_MESSAGE_BYTES";
constexpr const char* kKilobytes = "PAVO_PROG_STATUS_MESSAGE_KILOBYTES";
constexpr const char* kMegabytes = "PAVO_PROG_STATUS_MESSAGE_MEGABYTES";
constexpr const char* kGigabytes = "PAVO_PROG_STATUS_MESSAGE_GIGABYTES";
constexpr auto kNoLimit = std::numeric_limits<std::uint64_t>::max();

// Two decimals up to 9.95 units, one up to 99.5, none up to 995.
constexpr auto kSizeSteps = std::to_array<SizeStep>({
    {1'024, kBytes, 1, 0},
    {10'189, kKilobytes, 1'024, 2},
    {101'888, kKilobytes, 1'024, 1},
    {1'018'880, kKilobytes, 1'024, 0},
    {10'188'800, kMegabytes, 1'024'000, 2},
    {101'888'000, kMegabytes, 1'024'000, 1},
    {1'018'880'000, kMegabytes, 1'024'000, 0},
    {10'188'800'000, kGigabytes, 1'024'000'000, 2},
    {101'888'000'000, kGigabytes, 1'024'000'000, 1},
    {kNoLimit, kGigabytes, 1'024'000'000, 0},
});
static_assert(std::ranges::is_sorted(kSizeSteps, {}, &SizeStep::below));

const SizeStep& stepFor(std::uint64_t bytes)
{
    const auto* step = std::ranges::upper_bound(kSizeSteps, bytes, {}, &SizeStep::below);
    return step != kSizeSteps.end() ? *step : kSizeSteps.back();
}

/// printf would take the separator of the process's locale, which need not be the person's.
std::string decimalText(float value, int decimals, const std::string& separator)
{
    std::array<char, 64> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), static_cast<double>(value),
                                            std::chars_format::fixed, decimals);
    std::string text(buffer.data(), error == std::errc() ? end : buffer.data());
    if (const auto point = text.find('.'); point != std::string::npos) text.replace(point, 1, separator);
    return text;
}

} // namespace

SizeText sizeText(const PropertyList& number, const std::string& decimalSeparator)
{
    const auto bytes = static_cast<std::uint64_t>(number.integerReading().value_or(0));
    const auto& step = stepFor(bytes);
    if (step.unitBytes == 1) return {step.unitKey, number.isNumber() ? number.description() : std::to_string(bytes)};
    if (step.decimals == 0) {
        const auto half = step.unitBytes / 2;
        // Dividing first keeps the largest numbers from wrapping around when the half is added.
        const auto whole = bytes / step.unitBytes + (bytes % step.unitBytes >= half ? 1 : 0);
        return {step.unitKey, std::to_string(whole)};
    }
    const float quotient = static_cast<float>(bytes) / static_cast<float>(step.unitBytes);
    return {step.unitKey, decimalText(quotient, step.decimals, decimalSeparator)};
}

} // namespace roamer
