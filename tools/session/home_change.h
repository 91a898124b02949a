#pragma once

#include <optional>
#include <string>

#include "values/property_list.h"

namespace roamer::session
{

/// Notes in the sync preferences of a home on the server that it was changed at `time`; all else that is noted there
/// stays. To be called as the home's owner. Never leaves the home, whatever links lie in it. In words why it was not
/// noted; the preferences are then as before.
std::optional<std::string> noteHomeChange(const std::string& home, Date time);

} // namespace roamer::session
