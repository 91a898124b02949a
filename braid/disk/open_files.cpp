#include "open_files.h"

#include <sys/resource.h>

#include <algorithm>

namespace braid::disk
{

std::size_t mostOpenFiles()
{
    rlimit limit{};
    return ::getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : 0;
}

void allowOpenFiles(std::size_t number)
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= number) return;
    limit.rlim_cur = std::min<rlim_t>(number, limit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace braid::disk
