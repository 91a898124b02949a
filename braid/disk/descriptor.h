#pragma once

#include <unistd.h>

#include <utility>

namespace braid
{

/// An open file descriptor that closes itself.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int number) : mNumber(number) {}
    Descriptor(Descriptor&& other) noexcept : mNumber(std::exchange(other.mNumber, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) {
            reset();
            mNumber = std::exchange(other.mNumber, -1);
        }
        return *this;
    }
    ~Descriptor() { reset(); }

    int number() const { return mNumber; }
    explicit operator bool() const { return mNumber >= 0; }
    void reset()
    {
        if (mNumber >= 0) ::close(std::exchange(mNumber, -1));
    }

private:
    int mNumber = -1;
};

} // namespace braid
