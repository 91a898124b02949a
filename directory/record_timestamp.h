#pragma once

#include <optional>
#include <string_view>

namespace roamer
{

/// Seconds from 2001-01-01 00:00:00 UTC to the date that is written as property lists write it, for example
/// "2024-01-02T03:04:05Z". Null for every other text, also for days that the calendar does not have.
std::optional<double> secondsSinceReferenceDate(std::string_view text);

} // namespace roamer
