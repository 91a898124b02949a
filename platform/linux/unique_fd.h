#pragma once

#include <unistd.h>
#include <utility>

namespace platform
{

/// Owns a file descriptor; below 0 it is none.
class UniqueFd
{
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : mFd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other) {
            reset();
            mFd = other.release();
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    bool isOpen() const { return mFd >= 0; }
    int get() const { return mFd; }
    int release() { return std::exchange(mFd, -1); }

private:
    void reset()
    {
        if (mFd >= 0) close(mFd);
        mFd = -1;
    }

    int mFd = -1;
};

} // namespace platform
