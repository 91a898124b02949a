#include "shares.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

#include "platform/linux/user_database.h"
#include "share_state.h"
#include "ticket_cache.h"
#include "util/debug_log.h"
#include "util/url_text.h"

namespace lobby
{

namespace
{

constexpr std::ptrdiff_t kMostSharesOfAUser = 32;

std::optional<Account> accountOf(uid_t uid)
{
    const auto found = platform::findUser(uid);
    if (!found.entry) return std::nullopt;
    return Account{.name = found.entry->name,
                   .home = found.entry->home,
                   .identity = {.uid = uid, .gid = found.entry->gid, .groups = platform::groupsOf(*found.entry)}};
}

/// One share for one user of this computer and one name on the server.
std::string keyOf(const platform::ServerShare& share, const std::string& userName)
{
    return share.scheme + "://" + share.domain + ";" + userName + "@" + share.bracketedHost() + ":" +
           std::to_string(share.port) + share.path;
}

} // namespace

Shares::Shares(SharesWorld world) : mWorld(std::move(world)) {}
Shares::~Shares() = default;

Shares::Ticket Shares::mount(const Caller& caller, MountWish wish, Answer answer)
{
    Waiting waiting;
    waiting.ticket = ++mLastTicket;
    waiting.caller = caller;
    waiting.answer = std::move(answer);
    const auto refused = [&](int error) {
        waiting.answer(error, {});
        return waiting.ticket;
    };
    auto account = accountOf(caller.uid);
    if (!account) return refused(EACCES);
    waiting.account = *std::move(account);

    const bool isFolder = platform::schemeOf(wish.url) == "file";
    std::string key;
    if (isFolder) {
        const auto place = platform::placeOfFileShare(wish.url);
        if (place.error != 0) return refused(place.error);
        key = place.folder;
    } else {
        const auto parsed = platform::parseServerShare(wish.url);
        if (const auto* error = std::get_if<std::int32_t>(&parsed)) return refused(*error);
        waiting.place = std::get<platform::ServerShare>(parsed);
        const auto& wished = wish.userName.empty() ? waiting.account.name : wish.userName;
        waiting.userName = waiting.place.user.empty() ? wished : waiting.place.user;
        if (!platform::isPlainUserName(waiting.userName)) return refused(EINVAL);
        waiting.password = std::move(wish.password);
        if (const int error = findWays(waiting, wish.url)) return refused(error);
        key = keyOf(waiting.place, waiting.userName);
    }
    const auto mine = std::ranges::count_if(mShares, [&](const auto& share) { return share->user == caller.uid; });
    if (mine >= kMostSharesOfAUser) return refused(EUSERS);

    auto& share = shareFor(key, roamer::urlWithoutUserInfo(wish.url), caller.uid);
    if (isFolder) {
        share.isFolder = share.isMounted = true;
        share.mountAt = key;
    }
    if (wish.hasTimeLimit) {
        waiting.timer = mWorld.runLoop.after(platform::seconds(kTimeLimitSeconds),
                                             [this, ticket = waiting.ticket] { drop(ticket, ETIMEDOUT); });
    }
    const Ticket ticket = waiting.ticket;
    share.waiting.push_back(std::move(waiting));
    advance(share);
    return ticket;
}

/// What the mount is tried with, the best first. An errno value when there is nothing, or 0.
int Shares::findWays(Waiting& waiting, const std::string& url) const
{
    const auto& scheme = waiting.place.scheme;
    const uid_t user = waiting.caller.uid;
    const bool usesPasswords = scheme != "nfs";
    if (usesPasswords && waiting.password && !waiting.password->isEmpty()) {
        waiting.ways.push_back({.password = std::move(waiting.password), .ticketCache = {}});
        return 0;
    }
    waiting.password.reset();
    auto tickets = findTicketCache(mWorld.ticketFolder, user);
    if (tickets) waiting.ways.push_back({.password = {}, .ticketCache = tickets});
    // NFS goes by the user's number; an SFTP server may know the person's key.
    if (scheme == "nfs" || (scheme == "sftp" && !tickets)) waiting.ways.push_back({});
    if (usesPasswords && mWorld.loginPassword) {
        if (auto kept = mWorld.loginPassword(user, url)) {
            waiting.ways.push_back({.password = std::move(kept), .ticketCache = {}});
        }
    }
    if (!waiting.ways.empty()) return 0;
    roamer::DebugLog(1, "lobbyd: %s for user %u: there is neither a password nor a Kerberos ticket to mount it with",
                     roamer::urlWithoutUserInfo(url).c_str(), user);
    return EACCES;
}

void Shares::cancel(Ticket ticket)
{
    drop(ticket, ECANCELED);
}

void Shares::drop(Ticket ticket, int error)
{
    for (const auto& share : mShares) {
        const auto found = std::ranges::find(share->waiting, ticket, &Waiting::ticket);
        if (found == share->waiting.end()) continue;
        if (found == share->waiting.begin() && share->work == Work::Mounting) {
            // Answered when its client is dead and the mount point gone.
            found->dropped = error;
            share->child->kill();
            return;
        }
        const auto answer = std::move(found->answer);
        share->waiting.erase(found);
        answer(error, {});
        advance(*share);
        return;
    }
}

Shares::Share& Shares::shareFor(const std::string& key, const std::string& url, uid_t user)
{
    const auto found =
        std::ranges::find_if(mShares, [&](const auto& share) { return share->user == user && share->key == key; });
    if (found != mShares.end()) return **found;
    auto& share = *mShares.emplace_back(std::make_unique<Share>());
    share.key = key;
    share.url = url;
    share.user = user;
    return share;
}

Shares::Share* Shares::mountedShare(uid_t user, const std::string& path, bool exactly) const
{
    const auto found = std::ranges::find_if(mShares, [&](const auto& share) {
        if (share->user != user || !share->isMounted || share->work == Work::Unmounting) return false;
        return share->mountAt == path || (!exactly && path.starts_with(share->mountAt + "/"));
    });
    return found != mShares.end() ? found->get() : nullptr;
}

std::optional<std::string> Shares::hold(const Caller& caller, const std::string& path)
{
    auto* share = mountedShare(caller.uid, platform::sharePath(path), false);
    if (share == nullptr) return std::nullopt;
    addHold(*share, caller, 1);
    return share->mountAt;
}

bool Shares::isHeld(const Caller& caller, const std::string& path) const
{
    const auto* share = mountedShare(caller.uid, platform::sharePath(path), true);
    return share != nullptr && share->holds.contains(caller.pid);
}

bool Shares::giveUp(const Caller& caller, const std::string& path)
{
    auto* share = mountedShare(caller.uid, platform::sharePath(path), true);
    if (share == nullptr) return false;
    const auto found = share->holds.find(caller.pid);
    if (found == share->holds.end()) return false;
    if (--found->second.count > 0) {
        remember(*share);
    } else {
        dropHold(*share, caller.pid);
    }
    return true;
}

void Shares::addHold(Share& share, const Caller& caller, std::int64_t count)
{
    const auto started = processStart(caller.pid);
    if (!caller.process || !caller.process->isOpen() || !started) return; // it is gone already
    auto& hold = share.holds[caller.pid];
    hold.count += count;
    if (!hold.notifier || hold.started != *started) {
        hold.started = *started;
        hold.process = caller.process;
        hold.notifier = std::make_unique<QSocketNotifier>(caller.process->get(), QSocketNotifier::Read);
        QObject::connect(hold.notifier.get(), &QSocketNotifier::activated, hold.notifier.get(),
                         [this, &share, pid = caller.pid] { dropHold(share, pid); });
    }
    remember(share);
}

void Shares::dropHold(Share& share, pid_t pid)
{
    const auto hold = share.holds.extract(pid);
    if (hold.empty()) return;
    // It may be the one that is just telling of the end.
    hold.mapped().notifier->setEnabled(false);
    hold.mapped().notifier.release()->deleteLater();
    share.isStuck = false;
    remember(share);
    advance(share);
}

void Shares::remember(const Share& share) const
{
    if (share.isFolder || share.name.empty()) return;
    VolumeRecord record{.name = share.name,
                        .url = share.url,
                        .key = share.key,
                        .user = share.user,
                        .entry = share.entry,
                        .holders = {}};
    for (const auto& [pid, hold] : share.holds)
        record.holders.push_back({.pid = pid, .started = hold.started, .count = hold.count});
    if (!mWorld.volumes.remember(record)) {
        roamer::DebugLog(1, "lobbyd: \"%s\" cannot be recorded; a restart would not know it", share.name.c_str());
    }
}

void Shares::recover()
{
    for (auto& record : mWorld.volumes.remembered()) {
        const auto mounted = mWorld.volumes.mounted(record.name);
        if (!mounted || (record.entry && *record.entry != *mounted)) {
            if (mounted) {
                roamer::DebugLog(1, "lobbyd: what is mounted at \"%s\" is not what was mounted for %s; left alone",
                                 record.name.c_str(), record.url.c_str());
            } else {
                mWorld.volumes.removeMountPoint(record.name);
            }
            mWorld.volumes.forget(record.name);
            continue;
        }
        auto& share = shareFor(record.key, record.url, record.user);
        share.name = record.name;
        share.mountAt = std::string(Volumes::kPath) + "/" + record.name;
        share.entry = mounted;
        share.isMounted = true;
        for (const auto& holder : record.entry ? record.holders : std::vector<Holder>()) {
            if (processStart(holder.pid) != holder.started) continue;
            const auto process =
                std::make_shared<platform::UniqueFd>(static_cast<int>(::syscall(SYS_pidfd_open, holder.pid, 0)));
            addHold(share, {.uid = record.user, .pid = holder.pid, .process = process}, holder.count);
        }
        roamer::DebugLog(1, "lobbyd: found %s at \"%s\" again, held by %zu processes", share.url.c_str(),
                         share.mountAt.c_str(), share.holds.size());
        advance(share);
    }
}

} // namespace lobby
