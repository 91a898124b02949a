#include "line_diff.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace braid::window
{

namespace
{

constexpr std::size_t kMostCells = 4'000'000;

using Lines = std::span<const std::string_view>;

std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (true) {
        const auto end = text.find('\n');
        lines.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return lines;
        text.remove_prefix(end + 1);
    }
}

/// lengths[i][j]: the longest common run of the lines from i and from j on.
class CommonLengths
{
public:
    CommonLengths(Lines left, Lines right) : mWidth(right.size() + 1), mCells((left.size() + 1) * mWidth)
    {
        for (std::size_t i = left.size(); i-- > 0;) {
            for (std::size_t j = right.size(); j-- > 0;) {
                cell(i, j) = left[i] == right[j] ? cell(i + 1, j + 1) + 1 : std::max(cell(i + 1, j), cell(i, j + 1));
            }
        }
    }
    std::uint32_t& cell(std::size_t i, std::size_t j) { return mCells[i * mWidth + j]; }

private:
    std::size_t mWidth;
    std::vector<std::uint32_t> mCells;
};

void compareMiddle(Lines left, Lines right, std::size_t offset, LineDiff& diff)
{
    std::size_t i = 0, j = 0;
    if ((left.size() + 1) * (right.size() + 1) <= kMostCells) {
        CommonLengths lengths(left, right);
        while (i < left.size() && j < right.size()) {
            if (left[i] == right[j]) {
                ++i;
                ++j;
            } else if (lengths.cell(i + 1, j) >= lengths.cell(i, j + 1)) {
                diff.left.push_back(offset + i++);
            } else {
                diff.right.push_back(offset + j++);
            }
        }
    }
    while (i < left.size())
        diff.left.push_back(offset + i++);
    while (j < right.size())
        diff.right.push_back(offset + j++);
}

} // namespace

LineDiff compareLines(std::string_view left, std::string_view right)
{
    const auto leftLines = linesOf(left), rightLines = linesOf(right);
    const auto shorter = std::min(leftLines.size(), rightLines.size());
    std::size_t first = 0, last = 0;
    while (first < shorter && leftLines[first] == rightLines[first])
        ++first;
    while (last < shorter - first && leftLines[leftLines.size() - 1 - last] == rightLines[rightLines.size() - 1 - last])
        ++last;
    LineDiff diff;
    compareMiddle(Lines(leftLines).subspan(first, leftLines.size() - first - last),
                  Lines(rightLines).subspan(first, rightLines.size() - first - last), first, diff);
    return diff;
}

} // namespace braid::window
