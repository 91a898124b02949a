#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

namespace braid::agent
{

/// "One BraidAgent for a local home": two locks in a file of the home's marker folder, freed by the kernel when the
/// process ends. The first says that a login's engine is at work or wants to be, the second who serves the home. A
/// session's engine takes the second only while nobody has the first, so that it never comes between a login's engine
/// and the home.
class AgentPlace
{
public:
    enum class Kind {
        Login,   ///< Asks who has the place to leave it.
        Session, ///< Waits for it.
    };
    enum class Attempt {
        Taken,
        Busy,
        Impossible, ///< The marker folder cannot be used; whyImpossible() says why.
    };

    /// Asks the holder to leave; a session's engine comes back when the place is free, a login's ends.
    static constexpr int kLeaveSignal = 10; // SIGUSR1

    AgentPlace(std::filesystem::path localHome, Kind kind) : mHome(std::move(localHome)), mKind(kind) {}
    ~AgentPlace() { leave(); }
    AgentPlace(const AgentPlace&) = delete;
    AgentPlace& operator=(const AgentPlace&) = delete;

    /// Does not wait. Once taken it stays so.
    Attempt tryToTake();
    const std::string& whyImpossible() const { return mReason; }

    /// A login's engine works here, or waits to. For a session's engine.
    bool loginIsAtWork();

    /// Sends the holder, if there is one, the signal; once for each holder.
    void askHolderToLeave();

    void leave();

private:
    bool open();
    bool lock(off_t byte);
    void unlock(off_t byte);
    bool lockIsHeldByOther(off_t byte);
    std::optional<pid_t> holder();

    std::filesystem::path mHome;
    Kind mKind;
    std::string mReason;
    int mFile = -1;
    pid_t mAsked = 0;
    bool mIsTaken = false;
};

} // namespace braid::agent
