#pragma once

#include <algorithm>
#include <string>
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
    struct Line {
        int level;
        std::string text;
    };

    RecordingLog() : mBeforeTarget(roamer::setLogTarget(this)), mBeforeLog(roamer::setReportLog(this)) {}
    ~RecordingLog() override
    {
        roamer::setLogTarget(mBeforeTarget);
        roamer::setReportLog(mBeforeLog);
    }

    bool wants(int) override { return true; }
    void write(int level, const std::string& message) override { lines.push_back({level, message}); }
    void error(const std::string& text) override { system.push_back(text); }

    bool has(int level, const std::string& text) const
    {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const Line& line) { return line.level == level && line.text == text; });
    }
    /// How many lines of any level hold the text.
    long countContaining(const std::string& text) const
    {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const Line& line) { return line.text.find(text) != std::string::npos; });
    }

    std::vector<Line> lines;
    std::vector<std::string> system;

private:
    roamer::LogTarget* mBeforeTarget;
    platform::SystemLog* mBeforeLog;
};

} // namespace fakes
