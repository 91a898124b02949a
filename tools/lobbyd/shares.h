#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include <QSocketNotifier>

#include "child_task.h"
#include "mount_command.h"
#include "platform/linux/share_url.h"
#include "platform/run_loop.h"
#include "secret.h"
#include "volumes.h"

namespace lobby
{

/// Who asks, as the bus knows it.
struct Caller {
    uid_t uid = 0;
    pid_t pid = 0;
    std::shared_ptr<platform::UniqueFd> process; ///< A pidfd of that process.
};

/// What somebody wants mounted.
struct MountWish {
    std::string url;
    std::string userName;           ///< On the server; "" for the account's own name.
    std::optional<Secret> password; ///< None: the credentials of the login.
    bool hasTimeLimit = false;      ///< The asker waits for so long and no longer.
};

/// How Shares looks outside. All borrowed or copied; the functions are those of the machine, or a test's.
struct SharesWorld {
    platform::RunLoop& runLoop;
    Volumes& volumes;
    ClientFolder clients;
    std::string ticketFolder = "/tmp";
    /// The password of that user's login for this URL, if it may go to that server.
    std::function<std::optional<Secret>(uid_t, const std::string& url)> loginPassword;
};

/// The shares that are mounted, who holds them, and who waits for them. A share is mounted once for each user (and name
/// on the server), stays as long as a process holds it, and is unmounted after that. Main thread.
class Shares
{
public:
    using Answer = std::function<void(int error, const std::string& mountAt)>;
    using Ticket = std::uint64_t;

    static constexpr double kTimeLimitSeconds = 18; ///< The agent's wait is 20 seconds long.

    explicit Shares(SharesWorld world);
    ~Shares();

    /// Takes up what an earlier process of this kind had mounted, and unmounts what nobody holds any more.
    void recover();

    /// Answers once, now or later: 0 and where the share is, held for the caller, or an errno value.
    Ticket mount(const Caller& caller, MountWish wish, Answer answer);
    /// The asker does not want it any more; ECANCELED is the answer. Nothing happens when it has been answered.
    void cancel(Ticket ticket);

    /// One more hold on the caller's user's share that has this path in it; where that share is, or nothing.
    std::optional<std::string> hold(const Caller& caller, const std::string& path);
    bool isHeld(const Caller& caller, const std::string& path) const;
    bool giveUp(const Caller& caller, const std::string& path);

private:
    enum class Work { None, Mounting, Probing, Unmounting };
    struct Way;
    struct Waiting;
    struct Hold;
    struct Share;

    Share& shareFor(const std::string& key, const std::string& url, uid_t user);
    Share* mountedShare(uid_t user, const std::string& path, bool exactly) const;
    int findWays(Waiting& waiting, const std::string& url) const;
    void drop(Ticket ticket, int error);

    // Each of these is the last thing that its caller does with the share, which may be gone afterwards.
    void advance(Share& share);
    void startMount(Share& share);
    void clientEnded(Share& share, const ChildEnd& end);
    void mountFailed(Share& share, const MountFailure& failure);
    void startProbe(Share& share);
    void probeEnded(Share& share, int status);
    void startUnmount(Share& share, bool byForce);
    void unmountEnded(Share& share, bool byForce);
    void clearAway(Share& share);

    void run(Share& share, Work work, const ChildJob& job, std::function<void(const ChildEnd&)> ended);
    void limit(Share& share, std::function<void()> late);
    void answerAll(Share& share, int error);
    void addHold(Share& share, const Caller& caller, std::int64_t count);
    void dropHold(Share& share, pid_t pid);
    void remember(const Share& share) const;

    SharesWorld mWorld;
    std::list<std::unique_ptr<Share>> mShares;
    std::vector<std::unique_ptr<ChildTask>> mAbandoned; ///< Children that hang in the kernel.
    Ticket mLastTicket = 0;
};

} // namespace lobby
