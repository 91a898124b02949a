#include <filesystem>
#include <ostream>

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
        // The log last: SQLite throws away a log without a database, while a database without its log would tell an
        // earlier agreement.
        for (const char* suffix : {"", "-shm", "-wal"}) {
            std::filesystem::remove(archive.native() + suffix, error);
            if (error) return refuse("The archive cannot be removed: " + error.message() + ".");
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
