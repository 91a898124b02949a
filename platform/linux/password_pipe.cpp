#include "password_pipe.h"

#include <array>
#include <climits>
#include <fcntl.h>
#include <unistd.h>

#include "lobby_protocol.h"

namespace platform
{

// What one write puts into an empty pipe without waiting.
static_assert(kLobbyLongestPassword + 1 <= PIPE_BUF);

std::optional<PasswordPipe> PasswordPipe::make(std::string_view password)
{
    if (password.size() > kLobbyLongestPassword || password.find('\0') != std::string_view::npos) return std::nullopt;
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
    PasswordPipe made{UniqueFd(ends[0]), UniqueFd(ends[1])};
    const char end = '\0';
    const auto length = static_cast<ssize_t>(password.size());
    if (length > 0 && ::write(ends[1], password.data(), password.size()) != length) return std::nullopt;
    if (::write(ends[1], &end, 1) != 1) return std::nullopt;
    return made;
}

} // namespace platform
