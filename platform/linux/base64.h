#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "values/property_list.h"

namespace platform
{

/// Blanks between the characters do not count. Nothing for every other character, and for text that is cut short.
std::optional<roamer::Data> dataFromBase64(std::string_view text);

std::string base64FromData(const roamer::Data& data);

} // namespace platform
