#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/effective_user.h"
#include "platform/process_launcher.h"
#include "platform/run_loop.h"
#include "platform/sync_engine.h"

namespace roamer
{

/// The sync engine's agent that a login starts for itself and stops again. From its start to its stop no other engine
/// is started by this process. Main thread only.
class MirrorAgent
{
public:
    /// Borrows everything.
    MirrorAgent(platform::ProcessLauncher& launcher, platform::EffectiveUser& user, platform::SyncManager& manager,
                platform::RunLoop& runLoop);

    /// Runs a program as the user, with the first 20 arguments. The process id, negative when there is no process.
    int launchTool(const std::string& path, std::vector<std::string> arguments, const std::string& userName,
                   std::uint32_t uid, std::uint32_t gid);

    /// The engine's process id; 0 when it could not be started, which was reported; negative as from launchTool. While
    /// a login inside another one's wait asks for it, both share one engine.
    int launchMirrorAgentAsUser(const std::string& userName, std::uint32_t uid, std::uint32_t gid);

    /// Asks the engine to end and runs the main run loop until it has, without a time limit but for the few seconds
    /// that a process has which is itself about to end. The last of those who share an engine stops it.
    void killMirrorAgent(int pid);

private:
    int launchDirectly(const std::vector<std::string>& arguments);
    /// One user less of the engine; true when others stay, who will stop it.
    bool leaveToOthers(int pid);
    void waitForEnd(int pid);

    platform::ProcessLauncher& mLauncher;
    platform::EffectiveUser& mUser;
    platform::SyncManager& mManager;
    platform::RunLoop& mRunLoop;
    int mPid = 0;   ///< The engine to share; 0: none.
    int mUsers = 0; ///< Who shares it.
    std::shared_ptr<void> mStartHold;
};

} // namespace roamer
