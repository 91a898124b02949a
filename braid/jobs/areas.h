#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "braid/engine.h"

namespace braid
{

/// What a list of jobs covers, without their options, as the archive keeps it: equal for equal areas.
std::string areasOf(const std::vector<Job>& jobs);

/// The same back as jobs without options; none where the text is not one of areasOf().
std::vector<Job> jobsFrom(std::string_view areas);

} // namespace braid
