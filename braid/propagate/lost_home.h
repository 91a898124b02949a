#pragma once

#include <cerrno>

namespace braid
{

/// The errno value of a file server that is gone; every further item would only fail the same way.
constexpr bool meansLostHome(int code)
{
    return code == ENOTCONN || code == ECONNABORTED || code == ESTALE || code == EHOSTDOWN || code == ETIMEDOUT ||
           code == ENODEV;
}

} // namespace braid
