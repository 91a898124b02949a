#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <variant>

#include "values/property_list.h"

namespace platform
{

/// What keeps a strings table from being read, with its line.
struct StringsTableError {
    std::string text;
};

/// The texts in a strings file:
///
///     /* where it is shown */
///     "KEY" = "The text, with \"quotes\" and \n lines";
///
/// UTF-8, or UTF-16 with a byte order mark. A bare word needs no quotes. A key that comes twice has its last text.
std::variant<roamer::Dictionary, StringsTableError> readStringsTable(std::span<const std::byte> bytes);

} // namespace platform
