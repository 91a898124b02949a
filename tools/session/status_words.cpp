#include "status_words.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

namespace roamer::session
{

namespace
{

struct StatusFacts {
    std::int32_t status;
    bool mayGoOn;
    std::string_view words;
};

// Not a portable account, and a mount that the person stopped, are no reason to keep somebody out: the local home is
// there, and the next login or logout syncs.
constexpr std::array kStatuses = std::to_array<StatusFacts>({
    {-14136, true, "this account has no record here, so it has no homes to sync"},
    {-128, true, "the connection to the network home was stopped"},
    {-61, false, "the network home is missing, or cannot be opened"},
    {-10, false, "the sync engine could not be started"},
    {-3, false, "nothing serves the mounts of this session, or a home that must not be written would have been"},
    {-2, false, "the sync engine ended before the sync was done"},
    {-1, false, "the sync could not be started, or ended early; the log says why"},
    {0, true, "done"},
    {ENOENT, false, "the server has no such share"},
    {EIO, false, "the network home could not be mounted; the log of lobbyd says why"},
    {EACCES, false,
     "access was denied: the server did not accept the name and the password, or a home may not be read"},
    {EINVAL, false, "the account's network home has no valid address"},
    {65, false, "the network home could not be mounted: not permitted"},
    {EPROTONOSUPPORT, false, "the account's network home is of a kind that cannot be mounted"},
    {EOPNOTSUPP, false, "the program that mounts this kind of share is not installed"},
    {ETIMEDOUT, false, "the server does not answer"},
    {ECONNREFUSED, false, "the server does not serve shares"},
    {EHOSTUNREACH, false, "the server is unknown, or there is no way to it"},
    {ECANCELED, true, "the connection to the network home was stopped"},
    {EKEYREJECTED, false, "the server's key is unknown, or another than before"},
});
static_assert(std::ranges::is_sorted(kStatuses, {}, &StatusFacts::status));

const StatusFacts* findStatus(std::int32_t status)
{
    const auto* found = std::ranges::lower_bound(kStatuses, status, {}, &StatusFacts::status);
    return found != kStatuses.end() && found->status == status ? &*found : nullptr;
}

} // namespace

Verdict verdictOf(std::int32_t status, bool isComplete)
{
    const StatusFacts* facts = findStatus(status);
    std::string words(facts != nullptr ? facts->words : "the network home could not be mounted or synced");
    if (status == 0) words = isComplete ? "done, nothing is left to sync" : "done, but not everything is synced";
    return {facts != nullptr && facts->mayGoOn, words + " (status " + std::to_string(status) + ")"};
}

} // namespace roamer::session
