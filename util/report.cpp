#include "report.h"

#include <atomic>
#include <cstdio>

#include "debug_log.h"

namespace roamer
{

namespace
{

std::atomic<platform::SystemLog*> gReportLog = nullptr;

} // namespace

platform::SystemLog* setReportLog(platform::SystemLog* log)
{
    return gReportLog.exchange(log);
}

void systemLogError(const std::string& text)
{
    if (auto* log = gReportLog.load()) log->error(text);
}

void report(const std::string& text)
{
    systemLogError(text);
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
    DebugLog(0, "%s", text.c_str());
}

} // namespace roamer
