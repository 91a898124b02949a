#include "mount_service.h"

#include <cerrno>
#include <map>
#include <utility>

#include "share_url.h"
#include "util/debug_log.h"

namespace platform
{

namespace
{

class SchemeMountService final : public MountService
{
public:
    SchemeMountService(RunLoop& runLoop, ShareHolds& holds) : mRunLoop(runLoop), mHolds(holds) {}

    Started mountURLAsync(const std::string& url, const std::string& /*userName*/,
                          const std::optional<std::string>& /*password*/, std::uint32_t /*flags*/,
                          Completion completion) override
    {
        // Only the scheme is named: the rest of a URL may hold a password.
        const std::string scheme = schemeOf(url);
        if (scheme != "file") {
            roamer::DebugLog(1, "MountService: shares of the kind \"%s\" cannot be mounted yet, only \"file\"",
                             scheme.c_str());
            return {EPROTONOSUPPORT, 0};
        }
        const RequestRef request = ++mLastRequest;
        auto& waiting = mRequests[request];
        waiting.completion = std::move(completion);
        waiting.timer = mRunLoop.after({}, [this, request, url] { finish(request, openFileShare(url)); });
        return {0, request};
    }

    std::int32_t cancel(RequestRef request) override { return mRequests.erase(request) == 1 ? 0 : ENOENT; }

private:
    struct Waiting {
        Completion completion;
        Timer timer;
    };

    void finish(RequestRef request, const FileShare& share)
    {
        // Out of the table first: the completion may start the next mount.
        const auto waiting = mRequests.extract(request);
        if (waiting.empty()) return;
        if (share.error != 0) {
            waiting.mapped().completion(share.error, nullptr);
            return;
        }
        mHolds.hold(share.folder);
        const std::vector<std::string> shares = {share.folder};
        waiting.mapped().completion(0, &shares);
    }

    RunLoop& mRunLoop;
    ShareHolds& mHolds;
    std::map<RequestRef, Waiting> mRequests;
    RequestRef mLastRequest = 0;
};

} // namespace

std::unique_ptr<MountService> makeMountService(RunLoop& runLoop, ShareHolds& holds)
{
    return std::make_unique<SchemeMountService>(runLoop, holds);
}

} // namespace platform
