#include "system_log.h"

#include <syslog.h>

namespace platform
{

namespace
{

class SyslogSystemLog final : public SystemLog
{
public:
    explicit SyslogSystemLog(std::string programName) : mProgramName(std::move(programName))
    {
        // syslog keeps the pointer, so the name lives as long as the log is open.
        openlog(mProgramName.c_str(), LOG_PID, LOG_USER);
    }
    ~SyslogSystemLog() override { closelog(); }
    SyslogSystemLog(const SyslogSystemLog&) = delete;
    SyslogSystemLog& operator=(const SyslogSystemLog&) = delete;

    void error(const std::string& text) override { syslog(LOG_ERR, "%s", text.c_str()); }

private:
    std::string mProgramName;
};

} // namespace

std::unique_ptr<SystemLog> makeSystemLog(const std::string& programName)
{
    return std::make_unique<SyslogSystemLog>(programName);
}

} // namespace platform
