#include "mount_service.h"

#include <cerrno>
#include <map>
#include <string_view>
#include <utility>

#include "file_system.h"
#include "lobby_mount.h"
#include "share_url.h"

namespace platform
{

namespace
{

class SchemeMountService final : public MountService
{
public:
    SchemeMountService(RunLoop& runLoop, ShareHolds& holds, FileSystem& files)
        : mRunLoop(runLoop), mHolds(holds), mFiles(files)
    {
    }
    SchemeMountService(RunLoop& runLoop, ShareHolds& holds, std::unique_ptr<FileSystem> files)
        : mRunLoop(runLoop), mHolds(holds), mOwnFiles(std::move(files)), mFiles(*mOwnFiles)
    {
    }

    Started mountURLAsync(const std::string& url, const std::string& userName,
                          const std::optional<std::string>& password, std::uint32_t flags,
                          Completion completion) override
    {
        const RequestRef request = ++mLastRequest;
        Waiting waiting;
        if (schemeOf(url) == "file") {
            waiting.timer =
                mRunLoop.after({}, [this, request, url] { fileShareOpened(request, openFileShare(url, mFiles)); });
        } else {
            const auto server = parseServerShare(url);
            if (const auto* error = std::get_if<std::int32_t>(&server)) return {*error, 0};
            // Not value_or, which would leave a copy of the password behind.
            const auto secret = password ? std::string_view(*password) : std::string_view();
            auto started = LobbyMount::start(url, userName, secret, flags,
                                             [this, request](const LobbyReply& reply) { mounted(request, reply); });
            if (const auto* error = std::get_if<std::int32_t>(&started)) return {*error, 0};
            waiting.mount = std::move(std::get<std::unique_ptr<LobbyMount>>(started));
        }
        waiting.completion = std::move(completion);
        mRequests[request] = std::move(waiting);
        return {0, request};
    }

    std::int32_t cancel(RequestRef request) override
    {
        auto waiting = mRequests.extract(request);
        if (waiting.empty()) return ENOENT;
        if (waiting.mapped().mount) LobbyMount::cancel(std::move(waiting.mapped().mount));
        return 0;
    }

private:
    struct Waiting {
        Completion completion;
        Timer timer;
        std::unique_ptr<LobbyMount> mount;
    };

    void fileShareOpened(RequestRef request, const FileShare& share)
    {
        if (share.error == 0 && mRequests.contains(request)) mHolds.hold(share.folder);
        finish(request, share.error, share.folder);
    }

    void mounted(RequestRef request, const LobbyReply& reply)
    {
        // A success that does not say where would lead to a folder below wherever this process happens to be.
        const bool isNowhere = reply.error == 0 && !reply.mountAt.starts_with('/');
        finish(request, isNowhere ? EIO : reply.error, reply.mountAt);
    }

    void finish(RequestRef request, std::int32_t error, const std::string& folder)
    {
        // Out of the table first: the completion may start the next mount.
        const auto waiting = mRequests.extract(request);
        if (waiting.empty()) return;
        const std::vector<std::string> shares = {folder};
        waiting.mapped().completion(error, error == 0 ? &shares : nullptr);
    }

    RunLoop& mRunLoop;
    ShareHolds& mHolds;
    std::unique_ptr<FileSystem> mOwnFiles;
    FileSystem& mFiles;
    std::map<RequestRef, Waiting> mRequests;
    RequestRef mLastRequest = 0;
};

} // namespace

std::unique_ptr<MountService> makeMountService(RunLoop& runLoop, ShareHolds& holds, FileSystem& files)
{
    return std::make_unique<SchemeMountService>(runLoop, holds, files);
}

std::unique_ptr<MountService> makeMountService(RunLoop& runLoop, ShareHolds& holds)
{
    return std::make_unique<SchemeMountService>(runLoop, holds, makeFileSystem());
}

} // namespace platform
