#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "values/property_list.h"

namespace platform
{

/// "2026-11-24T21:05:09Z", nothing else; nothing also for a day that no calendar has and a year that a Date cannot
/// hold.
std::optional<roamer::Date> dateFromXmlText(std::string_view text);

/// The same form; parts of a second are cut off.
std::string xmlTextFromDate(roamer::Date date);

} // namespace platform
