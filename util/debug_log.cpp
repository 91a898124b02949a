#include "debug_log.h"

#include <cstdarg>
#include <mutex>
#include <utility>

#include "format_text.h"

namespace roamer
{

namespace
{

std::mutex gLogMutex;
LogTarget* gLogTarget = nullptr;

} // namespace

LogTarget* setLogTarget(LogTarget* target)
{
    const std::lock_guard lock(gLogMutex);
    return std::exchange(gLogTarget, target);
}

void DebugLog(int level, const char* format, ...)
{
    const std::lock_guard lock(gLogMutex);
    if (gLogTarget == nullptr || !gLogTarget->wants(level)) return;
    std::va_list values;
    va_start(values, format);
    const std::string message = formatTextV(format, values);
    va_end(values);
    gLogTarget->write(level, message);
}

} // namespace roamer
