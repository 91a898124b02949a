#include "problem.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace braid
{

namespace
{

struct ErrorWords {
    int code;
    std::string_view words;
};

constexpr auto kErrorWords = std::to_array<ErrorWords>({
    {EACCES, "the permissions do not allow it"},
    {EPERM, "the permissions do not allow it"},
    {ENOSPC, "there is no room left on the disk"},
    {EDQUOT, "the disk quota is used up"},
    {EROFS, "the disk is read-only"},
    {EIO, "the disk reported a read or write error"},
    {ENAMETOOLONG, "the name is too long for this disk"},
    {EFBIG, "the file is too large for this disk"},
    {ENOTCONN, "the connection to the file server is gone"},
    {ECONNABORTED, "the connection to the file server is gone"},
    {ESTALE, "the file server no longer knows this folder"},
    {ETIMEDOUT, "the file server did not answer in time"},
    {EHOSTDOWN, "the file server does not answer"},
    {ENOENT, "it is no longer there"},
    {ENOTDIR, "a part of its path is no folder"},
    {EXDEV, "another disk is mounted there"},
    {EBUSY, "it is in use"},
    {ETXTBSY, "it is in use as a program"},
    {ELOOP, "a link stands where a folder was expected"},
    {EILSEQ, "this disk cannot hold such a name"},
    {EINVAL, "this disk cannot hold such a name or item"},
    {EBADMSG, "the file server does not take such a name or item"},
    {ENOTSUP, "this disk cannot hold such an item"},
    {ENOSYS, "this disk cannot hold such an item"},
    {EUCLEAN, "it is damaged"},
    {EAGAIN, "it keeps changing; the next pass takes it up"},
});

} // namespace

std::string errorWords(int code)
{
    for (const ErrorWords& row : kErrorWords) {
        if (row.code == code) return std::string{row.words};
    }
    std::array<char, 128> buffer{};
    return strerror_r(code, buffer.data(), buffer.size());
}

bool isFull(int code)
{
    return code == ENOSPC || code == EDQUOT;
}

std::string Problem::words() const
{
    return "Could not " + call + ": " + errorWords(code) + ".";
}

} // namespace braid
