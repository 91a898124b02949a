#pragma once

#include <optional>
#include <string_view>

#include "unique_fd.h"

namespace platform
{

/// A pipe that holds a password and the NUL behind it. Nobody reads it but who gets the read end; the write end stays
/// open as long as this lives, and its closing tells the reader that the request is off.
class PasswordPipe
{
public:
    /// Nothing for a password that is too long or has a NUL in it, and when there is no pipe to be had.
    static std::optional<PasswordPipe> make(std::string_view password);

    int readEnd() const { return mReadEnd.get(); }
    void closeReadEnd() { mReadEnd = {}; }

private:
    PasswordPipe(UniqueFd readEnd, UniqueFd writeEnd) : mReadEnd(std::move(readEnd)), mWriteEnd(std::move(writeEnd)) {}

    UniqueFd mReadEnd;
    UniqueFd mWriteEnd;
};

} // namespace platform
