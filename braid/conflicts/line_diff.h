#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace braid::window
{

/// Which lines of two texts have no counterpart in the other one.
struct LineDiff {
    std::vector<std::size_t> left; ///< Line numbers from 0, rising.
    std::vector<std::size_t> right;
};

/// Finds the longest common run of lines; where that would take too long, all between the equal beginnings and ends
/// counts as different.
LineDiff compareLines(std::string_view left, std::string_view right);

} // namespace braid::window
