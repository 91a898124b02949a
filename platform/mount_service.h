#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform
{

/// Mounts network shares asynchronously; used on the main thread.
class MountService
{
public:
    using RequestRef = std::uint64_t;
    /// Called once on the main run loop, never inside mountURLAsync; not after a successful cancel. On status 0 the
    /// list begins with the local path of the share; otherwise it is null.
    using Completion = std::function<void(std::int32_t status, const std::vector<std::string>* mountedShares)>;
    struct Started {
        std::int32_t error = 0; ///< 0: under way, the completion will come.
        RequestRef request = 0;
    };
    virtual ~MountService() = default;

    /// `password` is wiped by the service after use and appears in no argument list, environment or log.
    virtual Started mountURLAsync(const std::string& url, const std::string& userName,
                                  const std::optional<std::string>& password, std::uint32_t flags,
                                  Completion completion) = 0;

    /// 0 when the request is ended and its completion will not come.
    virtual std::int32_t cancel(RequestRef request) = 0;
};

} // namespace platform
