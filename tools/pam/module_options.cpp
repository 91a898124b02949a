#include "module_options.h"

#include <charconv>
#include <string_view>
#include <syslog.h>

namespace roamer::pam
{

namespace
{

void setTimeout(ModuleOptions& options, std::string_view text)
{
    int seconds = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (read.ec == std::errc{} && read.ptr == text.data() + text.size() && seconds > 0) {
        options.timeoutSeconds = seconds;
    } else {
        syslog(LOG_AUTHPRIV | LOG_ERR, "pam_roamer: timeout takes a number of seconds above 0; %d holds",
               options.timeoutSeconds);
    }
}

/// The text behind "NAME=", if the word begins so.
bool takes(std::string_view word, std::string_view name, std::string& value)
{
    if (!word.starts_with(name) || word.size() <= name.size() || word[name.size()] != '=') return false;
    value = word.substr(name.size() + 1);
    return true;
}

} // namespace

ModuleOptions parseOptions(int argc, const char** argv)
{
    ModuleOptions options;
    options.program = ROAMER_SESSION_PROGRAM;
    options.systemRoot = ROAMER_SYSTEM_ROOT;
    options.countsFolder = "/run/roamer/sessions";
    for (int i = 0; i < argc; ++i) {
        const std::string_view word = argv[i];
        std::string seconds;
        if (word == "network_home") {
            options.networkHome = true;
        } else if (takes(word, "timeout", seconds)) {
            setTimeout(options, seconds);
        } else if (!takes(word, "program", options.program) && !takes(word, "root", options.systemRoot) &&
                   !takes(word, "run", options.countsFolder)) {
            syslog(LOG_AUTHPRIV | LOG_ERR, "pam_roamer: unknown option %s", argv[i]);
        }
    }
    return options;
}

} // namespace roamer::pam
