#include "status_words.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace roamer::session
{

namespace
{

struct StatusFacts {
    std::int32_t status;
    bool mayGoOn;
    std::string_view why;
    std::string_view help;
};

constexpr std::string_view kSafe = "The files on this computer are safe";
constexpr std::string_view kLog = "\"roamerctl log\" says more";
constexpr std::string_view kMountLog = "\"journalctl -u roamer-lobbyd\" says more";
constexpr std::string_view kNextTime = "try again when the network and the server are up";
constexpr std::string_view kAnyTime = "try again at any time";
constexpr std::string_view kAddress = "an administrator can correct the address of the network home";
constexpr std::string_view kGiveBack = "an administrator gives it back to its owner with \"chown\"";
constexpr std::string_view kRoom = "make room there, and the next sync goes on";

// Not a portable account, and what the person stopped, are no reason to keep somebody out: the local home is there, and
// the next login or logout syncs.
constexpr std::array kStatuses = std::to_array<StatusFacts>({
    {-14136, true, "this account has no record on this computer, so it has no homes to sync",
     "an administrator makes it portable with \"roamerctl enroll\""},
    {-1000, false, "the homes cannot be synced: one is missing, is closed to this account, or lies inside the other",
     kLog},
    {-999, true, "the sync was stopped", "the next sync takes up the rest"},
    {-128, true, "the connection to the network home was stopped", kAnyTime},
    {-61, false, "the network home is missing, or is closed to this account", kAddress},
    {-10, false, "the sync engine could not be started", kLog},
    {-4, false, "lobbyd, which mounts network homes, refused or went away", kMountLog},
    {-3, false,
     "lobbyd, which mounts network homes, does not run, or a home that is to stay as it is would have changed",
     "an administrator looks with \"systemctl status roamer-lobbyd\""},
    {-2, false, "the sync engine ended before the sync was done, or lobbyd took too long", kLog},
    {-1, false, "the sync could not be started, or broke off", kLog},
    {0, true, "done", ""},
    {ENOENT, false, "the share is not there: no such folder on this computer or on the server",
     "connect the disk, or have the address corrected"},
    {EIO, false, "the network home could not be mounted, or its disk has errors", kMountLog},
    {EACCES, false, "the server did not accept the name and the password, or no password is at hand",
     "use the password that the server knows"},
    {EBUSY, false, "another program is syncing this home", "wait for its end"},
    {ENOTDIR, false, "where the share should be lies something that is no folder", kAddress},
    {EINVAL, false, "the network home's address is not valid", kAddress},
    {ENOSPC, false, "there is no room left on a disk", kRoom},
    {EROFS, false, "a disk is read-only", kLog},
    {65, false, "mounting the network home is not permitted", kMountLog},
    {EUSERS, false, "too many shares are mounted for this account", kMountLog},
    {EPROTONOSUPPORT, false, "the network home is of a kind that cannot be mounted", kAddress},
    {EOPNOTSUPP, false, "this computer has no working program that mounts this kind of share",
     "an administrator installs sshfs, cifs-utils or nfs-common"},
    {ENOTCONN, false, "the connection to the server broke off", kNextTime},
    {ETIMEDOUT, false, "the server does not answer", kNextTime},
    {ECONNREFUSED, false, "the server is there, but serves no such shares", kAddress},
    {EHOSTDOWN, false, "the server does not answer", kNextTime},
    {EHOSTUNREACH, false, "the server is unknown, or there is no way to it", kNextTime},
    {ESTALE, false, "the server no longer knows the folder", kNextTime},
    {EDQUOT, false, "the disk quota on a disk is used up", kRoom},
    {ECANCELED, true, "the connection to the network home was stopped", kAnyTime},
    {EKEYREJECTED, false, "the server's key is unknown to this computer, or another than before",
     "an administrator puts the right one into the known hosts, see lobbyd(8)"},
});
static_assert(std::ranges::is_sorted(kStatuses, {}, &StatusFacts::status));

const StatusFacts* findStatus(std::int32_t status)
{
    const auto* found = std::ranges::lower_bound(kStatuses, status, {}, &StatusFacts::status);
    return found != kStatuses.end() && found->status == status ? &*found : nullptr;
}

std::string numbered(std::size_t count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string whatWaits(const LeftOver& left)
{
    std::string words;
    if (left.conflicts != 0) words = numbered(left.conflicts, "conflict", "conflicts");
    if (left.errors != 0) {
        words += (words.empty() ? "" : " and ") + numbered(left.errors, "item", "items") + " that could not be synced";
    }
    return words;
}

Verdict doneWords(bool isComplete, const LeftOver& left)
{
    if (!left.closedFolder.empty()) {
        return {true, true,
                "not everything is synced: \"" + left.closedFolder + "\" is closed to this account. " +
                    std::string(kSafe) + "; " + std::string(kGiveBack) + "."};
    }
    const auto waits = whatWaits(left);
    if (isComplete && waits.empty()) return {true, false, "done, nothing is left to sync"};
    if (!waits.empty()) {
        return {true, true,
                "not everything is synced: " + waits + ". Every version is safe; \"roamerctl conflicts\" lists them."};
    }
    return {true, true,
            "not everything is synced: the network home could not be reached, or the sync was put off. " +
                std::string(kSafe) + "; \"roamerctl sync\" tries again."};
}

} // namespace

StatusWords wordsOf(std::int32_t status)
{
    const auto number = " (status " + std::to_string(status) + ")";
    if (const auto* facts = findStatus(status)) {
        return {std::string(facts->why) + number, std::string(facts->help)};
    }
    const std::string reason = status > 0 ? std::string(": ") + std::strerror(status) : "";
    return {"the network home could not be mounted or synced" + reason + number, std::string(kLog)};
}

Verdict failed(std::string_view why, std::string_view help)
{
    return {false, true,
            "not synced: " + std::string(why) + ". " + std::string(kSafe) + (help.empty() ? "" : "; ") +
                std::string(help) + "."};
}

Verdict verdictOf(std::int32_t status, bool isComplete, const LeftOver& left)
{
    if (status == 0) return doneWords(isComplete, left);
    auto words = wordsOf(status);
    if (!left.closedFolder.empty()) {
        words.why = "\"" + left.closedFolder + "\" is closed to this account (status " + std::to_string(status) + ")";
        words.help = kGiveBack;
    }
    auto verdict = failed(words.why, words.help);
    const auto* facts = findStatus(status);
    verdict.mayGoOn = facts != nullptr && facts->mayGoOn;
    return verdict;
}

} // namespace roamer::session
