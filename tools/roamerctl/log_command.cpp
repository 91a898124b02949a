#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "commands.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "platform/system_root.h"
#include "util/debug_log_file.h"
#include "util/preference_domains.h"

namespace roamer::ctl
{

namespace
{

constexpr const char* kLevelDomain = "com.kestrel.VEXDebug";
constexpr const char* kDebugOutputKey = "debugOutput";

ExitStatus setLevel(int level)
{
    if (geteuid() != 0 && access(platform::systemPath("/Library/Preferences").c_str(), W_OK) != 0)
        return refuse("the log's level cannot be written; that takes root.");
    const auto codec = platform::makePropertyListCodec();
    const auto store = platform::makePreferenceStore(*codec);
    const PreferenceDomains domains(*store, *codec);
    auto dictionary = domains.dictionaryWithPrefsFromDomain(kLevelDomain).value_or(Dictionary{});
    dictionary[kDebugOutputKey] = std::to_string(level);
    if (!domains.writePrefsInDomain(dictionary, kLevelDomain))
        return refuse("the log's level cannot be written. Is the disk full?");
    std::printf("Programs that start from now on log up to level %d.\n", level);
    return kDone;
}

} // namespace

ExitStatus run(const LogOptions& options)
{
    if (options.level) return setLevel(*options.level);
    const auto path = platform::systemPath(kLogFile);
    if (access(path.c_str(), R_OK) != 0 && !options.follow) {
        const std::string reason = errno == ENOENT ? "nothing was logged yet" : std::strerror(errno);
        return refuse("the log " + path + " cannot be shown: " + reason +
                      ". \"roamerctl log --level 2\" has the programs that start from then on log every step.");
    }
    std::vector<std::string> arguments = {"-n", std::to_string(options.lines)};
    if (options.follow) arguments.emplace_back("-F");
    arguments.push_back("--");
    arguments.push_back(path);
    return become("tail", arguments);
}

} // namespace roamer::ctl
