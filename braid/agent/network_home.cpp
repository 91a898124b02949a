#include "network_home.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

#include "platform/linux/share_url.h"
#include "platform/system_root.h"
#include "util/path_text.h"
#include "util/url_text.h"

namespace braid::agent
{

namespace
{

std::string inWords(int error)
{
    return std::generic_category().message(error);
}

std::variant<std::string, Refusal> pathOf(const NetworkHome& home)
{
    if (home.path) return *home.path;
    if (!home.shareURL) return Refusal{EDESTADDRREQ, "nothing says where the network home is"};
    if (const auto scheme = platform::schemeOf(*home.shareURL); scheme != "file") {
        return Refusal{EPROTONOSUPPORT, "the network home is not mounted, and a share of the kind \"" + scheme +
                                            "\" cannot be mounted from here"};
    }
    const auto share = platform::openFileShare(*home.shareURL);
    if (share.error != 0) {
        return Refusal{share.error, "the share " + roamer::urlWithoutUserInfo(*home.shareURL) +
                                        " cannot be reached: " + inWords(share.error)};
    }
    return home.pathInShare ? roamer::pathByAppending(share.folder, *home.pathInShare) : share.folder;
}

} // namespace

std::variant<std::string, Refusal> findNetworkHome(const NetworkHome& home)
{
    auto path = pathOf(home);
    const auto* found = std::get_if<std::string>(&path);
    if (found == nullptr) return path;
    struct stat status {
    };
    if (::stat(platform::systemPath(*found).c_str(), &status) != 0) {
        const int error = errno;
        return Refusal{error, "the network home \"" + *found + "\" is not there: " + inWords(error)};
    }
    if (!S_ISDIR(status.st_mode)) return Refusal{ENOTDIR, "the network home \"" + *found + "\" is not a folder"};
    return path;
}

} // namespace braid::agent
