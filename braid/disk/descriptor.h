#pragma once

#include <utility>

namespace braid
{

namespace disk
{
void close(int descriptor);
}

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
        if (mNumber >= 0) disk::close(std::exchange(mNumber, -1));
    }

private:
    int mNumber = -1;
};

} // namespace braid
