// What Shares does for one share: mounts it, sees whether it still answers, unmounts it. One child at a time.

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system_root.h"
#include "share_state.h"
#include "shares.h"
#include "util/debug_log.h"
#include "util/path_text.h"

namespace lobby
{

namespace
{

constexpr double kChildSeconds = 8; ///< For a child of our own that asks the kernel for one thing.
constexpr int kLate = 124;
constexpr std::size_t kLongestQuote = 300;
constexpr const char* kKnownHosts = "/Library/Preferences/com.kestrel.lobby.known_hosts";
constexpr const char* kFuseUnmount = "/usr/bin/fusermount3";

// What children do, in the way of a process right after its fork.
int lookAtFolder(const char* path)
{
    struct stat facts {
    };
    if (::stat(path, &facts) != 0) return errno;
    return S_ISDIR(facts.st_mode) ? 0 : ENOTDIR;
}

int unmount(const char* path)
{
    return ::umount2(path, UMOUNT_NOFOLLOW) == 0 ? 0 : errno;
}

int unmountByForce(const char* path)
{
    // Also away from those who still have something open there.
    return ::umount2(path, MNT_FORCE | MNT_DETACH | UMOUNT_NOFOLLOW) == 0 ? 0 : errno;
}

ChildJob unmountJob(const std::string& path, bool byForce)
{
    ChildJob job;
    job.identity.uid = ::geteuid();
    job.identity.gid = ::getegid();
    if (::geteuid() == 0) {
        job.body = byForce ? unmountByForce : unmount;
        job.path = path;
    } else {
        job.program = kFuseUnmount;
        job.arguments = byForce ? std::vector<std::string>{"-u", "-z", path} : std::vector<std::string>{"-u", path};
    }
    return job;
}

/// What the client said, for the log: on one line, and never with a password in it.
std::string quoted(std::string text, std::string_view password)
{
    if (!password.empty() && text.find(password) != std::string::npos) return "(not shown)";
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    if (text.size() > kLongestQuote) text = "…" + text.substr(text.size() - kLongestQuote);
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, '|');
    return text;
}

/// Which known hosts the administrator has put down for shares; "" when there are none. A list of files is written with
/// blanks between them.
std::string knownHosts()
{
    auto path = platform::systemPath(kKnownHosts);
    const bool isUsable = ::access(path.c_str(), R_OK) == 0 && path.find_first_of(" ,\\\"") == std::string::npos;
    return isUsable ? path : std::string();
}

} // namespace

void Shares::advance(Share& share)
{
    if (share.work != Work::None) return;
    const bool isWanted = !share.waiting.empty();
    if (isWanted) return share.isMounted ? startProbe(share) : startMount(share);
    if (!share.holds.empty() || share.isStuck) return;
    if (share.isMounted && !share.isFolder) return startUnmount(share, false);
    std::erase_if(mShares, [&](const auto& known) { return known.get() == &share; });
}

void Shares::run(Share& share, Work work, const ChildJob& job, std::function<void(const ChildEnd&)> ended)
{
    share.work = work;
    share.child = std::make_unique<ChildTask>(job, [&share, ended = std::move(ended)](const ChildEnd& end) {
        const auto child = std::move(share.child); // which is just calling
        share.childLimit = {};
        share.work = Work::None;
        ended(end);
    });
}

/// A child that hangs in the kernel is killed and left behind.
void Shares::limit(Share& share, std::function<void()> late)
{
    share.childLimit = mWorld.runLoop.after(platform::seconds(kChildSeconds), [this, &share, late = std::move(late)] {
        share.child->abandon();
        std::erase_if(mAbandoned, [](const auto& child) { return child->hasEnded(); });
        mAbandoned.push_back(std::move(share.child));
        share.work = Work::None;
        late();
    });
}

void Shares::startMount(Share& share)
{
    auto& first = share.waiting.front();
    const auto& place = first.place;
    auto& way = first.ways.at(first.nextWay++);
    const auto wish = place.path == "/" ? place.host : roamer::lastPathComponent(place.path);
    const auto made = mWorld.volumes.makeMountPoint(wish, runsAsUser(place) ? share.user : ::geteuid());
    if (const auto* error = std::get_if<int>(&made)) return mountFailed(share, {*error, "no mount point can be made"});
    share.name = std::get<std::string>(made);
    remember(share);

    const Credentials credentials{.user = first.userName,
                                  .password = way.password ? way.password->view() : std::string_view(),
                                  .hasPassword = way.password.has_value(),
                                  .ticketCache = way.ticketCache};
    const auto& identity = first.account.identity;
    const MountPlaces places{
        .mountPoint = mWorld.volumes.realPath(share.name),
        .logFile = runsAsUser(place) ? mWorld.volumes.makeLog(share.name, identity.uid, identity.gid) : "",
        .knownHosts = knownHosts()};
    run(share, Work::Mounting, mountCommand(place, first.account, credentials, places, mWorld.clients),
        [this, &share](const ChildEnd& end) { clientEnded(share, end); });
}

void Shares::clientEnded(Share& share, const ChildEnd& end)
{
    ChildEnd whole = end;
    whole.output += mWorld.volumes.readLog(share.name);
    auto& first = share.waiting.front();
    share.entry = mWorld.volumes.mounted(share.name);
    if (end.status == 0 && share.entry && first.dropped == 0) {
        mWorld.volumes.closeBeneath(share.name);
        share.isMounted = true;
        share.mountAt = std::string(Volumes::kPath) + "/" + share.name;
        roamer::DebugLog(1, "lobbyd: mounted %s at \"%s\" for user %u", share.url.c_str(), share.mountAt.c_str(),
                         share.user);
        remember(share);
        return answerAll(share, 0);
    }
    const auto& way = first.ways.at(first.nextWay - 1);
    const auto job = mountCommand(first.place, first.account, {}, {}, mWorld.clients);
    auto failure = first.dropped == ETIMEDOUT ? MountFailure{ETIMEDOUT, "it took too long"}
                   : first.dropped != 0       ? MountFailure{first.dropped, "cancelled"}
                   : end.status == 0          ? MountFailure{EIO, "the client ended well, but nothing is mounted"}
                                              : failureOf(whole, job.program);
    const auto quote = quoted(whole.output, way.password ? way.password->view() : std::string_view());
    if (!quote.empty()) failure.words += " (" + quote + ")";
    mountFailed(share, failure);
}

/// Tells the asker, or has the next way tried for a refused password, once the half-made mount is gone.
void Shares::mountFailed(Share& share, const MountFailure& failure)
{
    auto& first = share.waiting.front();
    roamer::DebugLog(1, "lobbyd: %s for user %u was not mounted, error %d: %s", share.url.c_str(), share.user,
                     failure.code, failure.words.c_str());
    if (failure.code != EACCES || first.nextWay >= first.ways.size()) {
        auto answered = std::move(first);
        share.waiting.pop_front();
        // The mount point is to be gone when the asker hears of it.
        if (!share.entry) clearAway(share);
        answered.answer(failure.code, {});
    }
    if (share.entry) return startUnmount(share, true);
    clearAway(share);
    advance(share);
}

void Shares::startProbe(Share& share)
{
    ChildJob job;
    job.body = lookAtFolder;
    job.path = share.isFolder ? platform::systemPath(share.mountAt) : mWorld.volumes.realPath(share.name);
    job.identity = share.waiting.front().account.identity;
    run(share, Work::Probing, job, [this, &share](const ChildEnd& end) { probeEnded(share, end.status); });
    limit(share, [this, &share] { probeEnded(share, kLate); });
}

void Shares::probeEnded(Share& share, int status)
{
    if (status == kLate) return answerAll(share, ETIMEDOUT);
    const bool answers = status == 0 || status == EACCES || status == EPERM;
    if (share.isFolder) return answerAll(share, status);
    if (answers) return answerAll(share, 0);
    // A server that is away may come back to those who work there; a mount without its server's end never does.
    const bool isOver = status == ENOTCONN || status == ESTALE;
    if (!isOver && !share.holds.empty()) return answerAll(share, status);
    roamer::DebugLog(1, "lobbyd: %s at \"%s\" is dead (error %d); mounting it anew", share.url.c_str(),
                     share.mountAt.c_str(), status);
    startUnmount(share, true);
}

void Shares::answerAll(Share& share, int error)
{
    auto answered = std::exchange(share.waiting, {});
    for (auto& waiting : answered) {
        if (error == 0) addHold(share, waiting.caller, 1);
        waiting.answer(error, error == 0 ? share.mountAt : std::string());
    }
    advance(share);
}

void Shares::startUnmount(Share& share, bool byForce)
{
    const auto mounted = mWorld.volumes.mounted(share.name);
    if (!mounted || mounted != share.entry) {
        if (mounted) {
            roamer::DebugLog(1, "lobbyd: what is mounted at \"%s\" is not %s; left alone", share.name.c_str(),
                             share.url.c_str());
        }
        clearAway(share);
        return advance(share);
    }
    run(share, Work::Unmounting, unmountJob(mWorld.volumes.realPath(share.name), byForce),
        [this, &share, byForce](const ChildEnd& /*end*/) { unmountEnded(share, byForce); });
    limit(share, [this, &share, byForce] { unmountEnded(share, byForce); });
}

void Shares::unmountEnded(Share& share, bool byForce)
{
    const auto mounted = mWorld.volumes.mounted(share.name);
    if (mounted && mounted == share.entry) {
        if (!byForce) return startUnmount(share, true);
        roamer::DebugLog(1, "lobbyd: %s at \"%s\" cannot be unmounted", share.url.c_str(), share.name.c_str());
        share.isStuck = true;
        // Whoever waits for it must not wait for ever.
        return answerAll(share, EBUSY);
    }
    roamer::DebugLog(1, "lobbyd: unmounted %s", share.url.c_str());
    clearAway(share);
    advance(share);
}

void Shares::clearAway(Share& share)
{
    share.entry.reset();
    share.isMounted = false;
    share.mountAt.clear();
    if (share.name.empty()) return;
    // Fails where something else is mounted, or lies; that is not ours to take away.
    mWorld.volumes.removeMountPoint(share.name);
    mWorld.volumes.forget(share.name);
    share.name.clear();
}

} // namespace lobby
