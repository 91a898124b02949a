#pragma once

#include <algorithm>
#include <vector>

#include "platform/system_log.h"
#include "util/debug_log.h"
#include "util/report.h"

namespace fakes
{

/// Collects every log line and system-log message while it lives.
class RecordingLog final : public roamer::LogTarget, public platform::SystemLog
{
public:
    RecordingLog() : mBeforeTarget(roamer::setLogTarget(this)), mBeforeLog(roamer::setReportLog(this)) {}
    ~RecordingLog() override
    {
        roamer::setLogTarget(mBeforeTarget);
        roamer::setReportLog(mBeforeLog);
    }

    bool wants(int) override { return true; }
    void write(int, const std::string& message) override { lines.push_back(message); }
    void error(const std::string& text) override { system.push_back(text); }

    /// How many lines of any level hold the text.
    long countContaining(const std::string& text) const
    {
        return std::ranges::count_if(lines, [&](const auto& line) { return line.find(text) != std::string::npos; });
    }

    std::vector<std::string> lines;
    std::vector<std::string> system;

private:
    roamer::LogTarget* mBeforeTarget;
    platform::SystemLog* mBeforeLog;
};

} // namespace fakes
