#include "reporter.h"

#include <algorithm>

namespace braid
{

namespace
{

constexpr std::chrono::milliseconds kLeastInterval{100};
constexpr double kItemWeight = 8192; // an item costs about as much time as this many bytes

} // namespace

Reporter::Reporter(std::function<void(const Progress&)> listener, std::string homePath)
    : mListener(std::move(listener)), mHomePath(std::move(homePath))
{
}

bool Reporter::isDue() const
{
    return mListener && std::chrono::steady_clock::now() - mLastTold >= kLeastInterval;
}

void Reporter::tell()
{
    if (!mListener) return;
    mProgress.percent.reset();
    if (mProgress.state == PassState::Processing) {
        const double total =
            static_cast<double>(mProgress.totalBytes) + kItemWeight * static_cast<double>(mProgress.totalItems);
        const double done =
            static_cast<double>(mProgress.completedBytes) + kItemWeight * static_cast<double>(mProgress.completedItems);
        // A file that grew while it was copied must not make the bar go back or over its end.
        mLastPercent = std::max(mLastPercent, total > 0 ? std::min(100.0, 100.0 * done / total) : 100.0);
        mProgress.percent = mLastPercent;
    }
    mLastTold = std::chrono::steady_clock::now();
    mListener(mProgress);
}

void Reporter::enter(PassState state)
{
    mProgress.state = state;
    mProgress.currentPath.clear();
    tell();
}

void Reporter::setTotals(std::uint64_t items, std::uint64_t bytes)
{
    mProgress.totalItems = items;
    mProgress.totalBytes = bytes;
}

void Reporter::setMatters(std::uint64_t conflicts, std::uint64_t errors)
{
    mProgress.conflicts = conflicts;
    mProgress.errors = errors;
}

void Reporter::at(std::string_view path)
{
    if (!isDue()) return;
    mProgress.currentPath = path.empty() ? mHomePath : mHomePath + "/" + std::string{path};
    tell();
}

void Reporter::addBytes(std::uint64_t bytes)
{
    mProgress.completedBytes = std::min(mProgress.totalBytes, mProgress.completedBytes + bytes);
    if (isDue()) tell();
}

void Reporter::addItem()
{
    mProgress.completedItems = std::min(mProgress.totalItems, mProgress.completedItems + 1);
    if (isDue()) tell();
}

} // namespace braid
