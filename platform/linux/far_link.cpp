#include "far_link.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "far_protocol.h"
#include "far_worker.h"
#include "mount_table.h"
#include "platform/system_root.h"
#include "util/debug_log.h"

namespace platform
{

using far::Ending;
using roamer::DebugLog;
using roamer::Dictionary;

struct FarLink::Worker {
    std::uint64_t number = 0;
    Started process;
};

struct FarLink::Mount {
    std::string point;
    std::optional<Worker> worker;
    std::optional<far::Clock::time_point> silentUntil; ///< Still set, and past, until it answers again.
};

FarLink::FarLink(PropertyListCodec& codec) : FarLink(codec, Limits()) {}

FarLink::FarLink(PropertyListCodec& codec, Limits limits)
    : FarLink(codec,
              {.startWorker = startFarWorker,
               .mountOf = [](const std::string& path) { return MountTable::read().farMountOf(systemPath(path)); },
               .now = far::Clock::now},
              limits)
{
}

FarLink::FarLink(PropertyListCodec& codec, Parts parts, Limits limits)
    : mCodec(codec), mParts(std::move(parts)), mLimits(limits)
{
}

FarLink::~FarLink()
{
    for (auto& [point, mount] : mMounts)
        giveUp(*mount);
}

bool FarLink::isSilent(const std::string& mount) const
{
    const auto found = mMounts.find(mount);
    return found != mMounts.end() && found->second->silentUntil && mParts.now() < *found->second->silentUntil;
}

std::uint64_t FarLink::workerOf(const std::string& mount) const
{
    const auto found = mMounts.find(mount);
    return found != mMounts.end() && found->second->worker ? found->second->worker->number : 0;
}

std::optional<Dictionary> FarLink::ask(const std::string& point, Dictionary question)
{
    auto& mount = mMounts[point];
    if (mount == nullptr) mount = std::make_unique<Mount>(Mount{point, {}, {}});
    const std::string call = far::valueOf<std::string>(question, far::kCall);
    if (isSilent(point)) {
        DebugLog(1, "FarLink: %s left out, \"%s\" did not answer a short while ago", call.c_str(), point.c_str());
        return std::nullopt;
    }
    question[far::kUser] = std::int64_t{geteuid()};
    Dictionary answer;
    const Ending ending = converse(*mount, question, answer);
    if (ending == Ending::Done) {
        mount->silentUntil.reset();
        return answer;
    }
    giveUp(*mount);
    mount->silentUntil = mParts.now() + mLimits.silence;
    DebugLog(1, "FarLink: %s: %s \"%s\", going on without it", call.c_str(),
             ending == Ending::Late ? "no answer from the file system at" : "there is no worker for", point.c_str());
    return std::nullopt;
}

/// One question and its answer.
Ending FarLink::converse(Mount& mount, const Dictionary& question, Dictionary& answer)
{
    const auto deadline = far::Clock::now() + (mount.silentUntil ? mLimits.answerAfterSilence : mLimits.answer);
    const bool isOldWorker = mount.worker.has_value();
    Ending sent = send(mount, question, deadline);
    if (sent == Ending::Broken && isOldWorker) {
        // It ended unnoticed some time ago; a new one can still do what that one has not seen.
        giveUp(mount);
        sent = send(mount, question, deadline);
    }
    return sent == Ending::Done ? far::receiveFrame(mount.worker->process.socket, mCodec, answer, deadline) : sent;
}

/// Starts the worker where none runs.
Ending FarLink::send(Mount& mount, const Dictionary& question, far::Clock::time_point deadline)
{
    if (!mount.worker) {
        auto started = mParts.startWorker();
        if (started.pid < 0) return Ending::Broken;
        mount.worker.emplace(Worker{++mLastWorker, std::move(started)});
    }
    return far::sendFrame(mount.worker->process.socket, mCodec, question, deadline);
}

/// A worker that waits for a file system for ever cannot even be killed; it is then left behind.
void FarLink::giveUp(Mount& mount)
{
    if (const auto worker = std::exchange(mount.worker, std::nullopt)) {
        kill(worker->process.pid, SIGKILL);
        mGivenUp.push_back(worker->process.pid);
    }
    std::erase_if(mGivenUp, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
}

} // namespace platform
