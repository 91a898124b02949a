#include "network_home.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

#include "platform/linux/share_url.h"
#include "platform/system_root.h"
#include "util/lobby_notify.h"
#include "util/path_text.h"
#include "util/url_text.h"

namespace braid::agent
{

namespace
{

std::string inWords(int error)
{
    if (error == roamer::kLobbyNoReply) return "nobody here mounts shares";
    return error > 0 ? std::generic_category().message(error) : "error " + std::to_string(error);
}

Refusal unreachable(const std::string& url, int error)
{
    return Refusal{error > 0 ? error : EHOSTUNREACH,
                   "the share " + roamer::urlWithoutUserInfo(url) + " cannot be reached: " + inWords(error)};
}

std::variant<ReachedHome, Refusal> openShare(const std::string& url, Shares& shares)
{
    // A folder needs no mounting, and nobody to do it.
    if (platform::schemeOf(url) == "file") {
        auto share = platform::openFileShare(url);
        if (share.error != 0) return unreachable(url, share.error);
        return ReachedHome{std::move(share.folder), nullptr};
    }
    auto mounted = shares.mount(url);
    if (const auto* error = std::get_if<std::int32_t>(&mounted)) return unreachable(url, *error);
    auto hold = std::get<std::unique_ptr<Shares::Hold>>(std::move(mounted));
    std::string path = hold->mountPoint();
    return ReachedHome{std::move(path), std::move(hold)};
}

} // namespace

std::variant<ReachedHome, Refusal> findNetworkHome(const NetworkHome& home, Shares& shares)
{
    if (home.path) return ReachedHome{*home.path, shares.hold(*home.path)};
    if (!home.shareURL) return Refusal{EDESTADDRREQ, "nothing says where the network home is"};
    auto share = openShare(*home.shareURL, shares);
    if (auto* reached = std::get_if<ReachedHome>(&share); reached != nullptr && home.pathInShare) {
        reached->path = roamer::pathByAppending(reached->path, *home.pathInShare);
    }
    return share;
}

std::optional<Refusal> whyNoHome(const std::string& path)
{
    struct stat status {
    };
    if (::stat(platform::systemPath(path).c_str(), &status) != 0) {
        const int error = errno;
        return Refusal{error, "the network home \"" + path + "\" is not there: " + inWords(error)};
    }
    if (!S_ISDIR(status.st_mode)) return Refusal{ENOTDIR, "the network home \"" + path + "\" is not a folder"};
    return std::nullopt;
}

} // namespace braid::agent
