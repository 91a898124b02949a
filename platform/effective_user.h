#pragma once

#include <functional>
#include <utility>

namespace platform
{

/// Who the process acts as.
class EffectiveUser
{
public:
    /// Puts the former effective user back when it goes.
    class Guard
    {
    public:
        Guard() = default;
        explicit Guard(std::function<void()> restore) : mRestore(std::move(restore)) {}
        ~Guard()
        {
            if (mRestore) mRestore();
        }
        Guard(Guard&& other) noexcept : mRestore(std::exchange(other.mRestore, nullptr)) {}
        Guard& operator=(Guard&&) = delete;
        Guard(const Guard&) = delete;

    private:
        std::function<void()> mRestore;
    };
    virtual ~EffectiveUser() = default;
    virtual unsigned effectiveUid() = 0;
    virtual unsigned realUid() = 0;
    /// Switches the effective user until the guard goes. A switch that the process may not make is logged, and the work
    /// goes on as the present user.
    [[nodiscard]] virtual Guard switchTo(unsigned uid) = 0;
};

} // namespace platform
