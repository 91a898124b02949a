#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "braid/engine.h"

namespace braid
{

/// Tells the caller of a pass how far it is: at each change of state, and otherwise at most ten times a second.
class Reporter
{
public:
    Reporter(std::function<void(const Progress&)> listener, std::string homePath);

    void enter(PassState state);
    void setTotals(std::uint64_t items, std::uint64_t bytes);
    void setMatters(std::uint64_t conflicts, std::uint64_t errors);
    void setJobStatus(std::vector<JobStatus> status) { mProgress.jobStatus = std::move(status); }

    /// Now at this item, home-relative.
    void at(std::string_view path);
    void addBytes(std::uint64_t bytes);
    void addItem();

private:
    bool isDue() const;
    void tell();

    std::function<void(const Progress&)> mListener;
    std::string mHomePath;
    Progress mProgress;
    double mLastPercent = 0;
    std::chrono::steady_clock::time_point mLastTold{};
};

} // namespace braid
