#include "mirror_agent.h"

#include <algorithm>

#include "platform/failure.h"
#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/report.h"

namespace roamer
{

namespace
{

constexpr const char* kMirrorAgent = "/System/Library/Hearth/BraidAgent.app/Contents/ZilOS/BraidAgent";
constexpr std::size_t kMostArguments = 20;
constexpr double kSliceSeconds = 0.1;
/// A pass that hangs on its server does not end when asked to; a process that was told to end does not wait for that.
constexpr double kLongestWaitAtTheEnd = 5.0;

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const auto& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

} // namespace

MirrorAgent::MirrorAgent(platform::ProcessLauncher& launcher, platform::EffectiveUser& user,
                         platform::SyncManager& manager, platform::RunLoop& runLoop)
    : mLauncher(launcher), mUser(user), mManager(manager), mRunLoop(runLoop)
{
}

int MirrorAgent::launchTool(const std::string& path, std::vector<std::string> arguments, const std::string& userName,
                            std::uint32_t uid, std::uint32_t gid)
{
    arguments.resize(std::min(arguments.size(), kMostArguments));
    const int pid = mLauncher.launchAsUser(path, arguments, {.name = userName, .uid = uid, .gid = gid});
    if (pid < 0) DebugLog(1, "Could not fork task for launch");
    return pid;
}

int MirrorAgent::launchMirrorAgentAsUser(const std::string& userName, std::uint32_t uid, std::uint32_t gid)
{
    DebugLog(2, "Pavo.launchMirrorAgentAsUser");
    if (mUser.effectiveUid() == 0) DebugLog(1, "Pavo.launchMirrorAgentAsUser CURRENT euid IS ROOT");
    if (mUsers > 0 && !mLauncher.hasEnded(mPid)) {
        ++mUsers;
        return mPid;
    }

    // Before the start: whoever asks for the set from now on waits for this engine.
    mStartHold = mManager.holdStarts();
    const std::vector<std::string> arguments{"-uid", formatText("%d", static_cast<int>(uid))};
    const int pid =
        mUser.realUid() == uid ? launchDirectly(arguments) : launchTool(kMirrorAgent, arguments, userName, uid, gid);
    if (pid == 0) report("Pavo.launchMirrorAgentAsUser failed to launch file sync agent");
    mPid = pid;
    mUsers = pid > 0 ? 1 : 0;
    if (pid > 0) {
        mManager.expectSyncAgent(pid);
    } else {
        mStartHold.reset();
    }
    return pid;
}

int MirrorAgent::launchDirectly(const std::vector<std::string>& arguments)
{
    const auto words = joined(arguments);
    try {
        const int pid = mLauncher.launchTask(kMirrorAgent, arguments);
        DebugLog(2, "Pavo.launchMirrorAgentAsUser() launched \"%s %s\"", kMirrorAgent, words.c_str());
        return pid;
    } catch (const platform::Failure&) {
        report(formatText("Pavo.launchMirrorAgentAsUser() launch of \"%s %s\" failed", kMirrorAgent, words.c_str()));
        return 0;
    }
}

void MirrorAgent::killMirrorAgent(int pid)
{
    DebugLog(2, "Pavo.killMirrorAgent pid = %d", pid);
    if (pid == 0 || leaveToOthers(pid)) return;
    const int status = mLauncher.terminate(pid);
    DebugLog(2, "Pavo.killMirrorAgent: kill status = %d", status);
    waitForEnd(pid);
    // A login that came in a slice of the wait may have an engine of its own by now.
    if (mUsers > 0) return;
    mManager.expectSyncAgent(0);
    mStartHold.reset();
}

bool MirrorAgent::leaveToOthers(int pid)
{
    if (pid != mPid || mUsers == 0) return false;
    return --mUsers > 0;
}

void MirrorAgent::waitForEnd(int pid)
{
    const auto start = mRunLoop.now();
    while (!mLauncher.hasEnded(pid) && mManager.syncAgentIsRunning()) {
        if (mRunLoop.waitsShallEnd() && mRunLoop.now() - start > platform::seconds(kLongestWaitAtTheEnd)) return;
        mRunLoop.runFor(platform::seconds(kSliceSeconds));
    }
}

} // namespace roamer
