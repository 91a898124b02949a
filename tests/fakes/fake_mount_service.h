#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/mount_service.h"

namespace fakes
{

/// Holds mount requests until a test answers them.
class FakeMountService final : public platform::MountService
{
public:
    struct Asked {
        std::string url;
        std::string userName;
        std::optional<std::string> password;
        std::uint32_t flags;
        bool operator==(const Asked&) const = default;
    };
    std::vector<Asked> asked;
    std::vector<RequestRef> cancelled;
    std::int32_t startError = 0;
    std::int32_t cancelError = 0; ///< Not 0: a cancelled request goes on.

    Started mountURLAsync(const std::string& url, const std::string& userName,
                          const std::optional<std::string>& password, std::uint32_t flags,
                          Completion completion) override
    {
        asked.push_back({url, userName, password, flags});
        if (startError != 0) return {.error = startError};
        const RequestRef request = asked.size();
        mPending[request] = std::move(completion);
        return {.error = 0, .request = request};
    }
    std::int32_t cancel(RequestRef request) override
    {
        cancelled.push_back(request);
        if (cancelError == 0) mPending.erase(request);
        return cancelError;
    }

    /// Ends a request (counted from 1) if it is still there. No shares: a null list.
    void answer(RequestRef request, std::int32_t status, const std::optional<std::vector<std::string>>& shares = {})
    {
        auto pending = mPending.extract(request);
        if (pending.empty()) return;
        pending.mapped()(status, shares ? &*shares : nullptr);
    }

private:
    std::map<RequestRef, Completion> mPending;
};

} // namespace fakes
