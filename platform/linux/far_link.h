#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "far_frame.h"
#include "platform/property_list_codec.h"
#include "unique_fd.h"
#include "values/property_list.h"

namespace platform
{

/// Touches file systems that may stop answering through workers: processes that can be given up.
///
/// Each mount that is asked about has a worker of its own, which lives until it fails to answer in time, or this
/// process ends (whichever way that happens); what it holds open is then closed. A mount without an answer is not asked
/// again for a while: every question about it fails at once. Main thread only; blocks, but never longer than the limits
/// say.
class FarLink
{
public:
    struct Limits {
        std::chrono::milliseconds answer{8'000};             ///< For an answer.
        std::chrono::milliseconds answerAfterSilence{2'000}; ///< The same for the first one after a silence.
        std::chrono::milliseconds silence{60'000};           ///< How long a mount that did not answer is left alone.
    };

    /// A worker that runs, and the socket to it.
    struct Started {
        pid_t pid = -1; ///< Negative: none could be started.
        UniqueFd socket;
    };

    /// What the link is made of; tests put in their own.
    struct Parts {
        std::function<Started()> startWorker;
        /// The far mount that the product path leads into, null for none.
        std::function<std::optional<std::string>(const std::string& path)> mountOf;
        std::function<far::Clock::time_point()> now;
    };

    /// Workers are this program again, see runFarWorker. Borrows the codec.
    explicit FarLink(PropertyListCodec& codec);
    FarLink(PropertyListCodec& codec, Limits limits);
    FarLink(PropertyListCodec& codec, Parts parts, Limits limits);
    ~FarLink();
    FarLink(const FarLink&) = delete;
    FarLink& operator=(const FarLink&) = delete;

    std::optional<std::string> mountOf(const std::string& path) const { return mParts.mountOf(path); }

    /// Whether the mount is left alone at the moment.
    bool isSilent(const std::string& mount) const;

    /// The answer of the mount's worker, which does the work as this process's effective user; null when there is none,
    /// which is logged.
    std::optional<roamer::Dictionary> ask(const std::string& mount, roamer::Dictionary question);

    /// Names the worker that runs for the mount, as long as it does; 0 when none runs. What one worker has open, the
    /// next has not.
    std::uint64_t workerOf(const std::string& mount) const;

private:
    struct Worker;
    struct Mount;

    far::Ending converse(Mount& mount, const roamer::Dictionary& question, roamer::Dictionary& answer);
    far::Ending send(Mount& mount, const roamer::Dictionary& question, far::Clock::time_point deadline);
    void giveUp(Mount& mount);

    PropertyListCodec& mCodec;
    Parts mParts;
    Limits mLimits;
    std::map<std::string, std::unique_ptr<Mount>> mMounts;
    std::vector<pid_t> mGivenUp; ///< Killed, and not seen to end yet.
    std::uint64_t mLastWorker = 0;
};

} // namespace platform
