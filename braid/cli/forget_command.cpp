#include <filesystem>
#include <ostream>

#include "braid/forget.h"
#include "commands.h"
#include "console.h"

namespace braid::cli
{

ExitStatus run(const ForgetOptions& options, Streams streams)
{
    const auto refuse = [&](const std::string& reason) {
        streams.err << "braid: " << reason << "\n";
        return kRefusedOrAborted;
    };
    if (auto reason = whyNoFolder(options.localHome)) return refuse(*reason);
    const std::filesystem::path archive = options.localHome / ".Braid" / "archive.sqlite";
    std::error_code error;
    const bool isKnown = std::filesystem::exists(archive, error);
    if (isKnown) {
        const auto lock = waitForLock(options.localHome, {});
        if (const auto* reason = std::get_if<std::string>(&lock)) return refuse(*reason);
        if (auto reason = forgetPasses(options.localHome, *std::get<std::unique_ptr<EngineLock>>(lock))) {
            return refuse(*reason);
        }
    }
    if (options.json) {
        streams.out << "{\"forgotten\": " << (isKnown ? "true" : "false") << "}\n";
    } else {
        streams.out << (isKnown ? "Forgotten. The next sync compares everything anew and deletes nothing.\n"
                                : "This home was never synced.\n");
    }
    return kInStep;
}

} // namespace braid::cli
