// The least that any comparison of two folders must do: list every folder of both and stat every item, one thread to
// a tree. What a pass takes beyond this is what it adds.
//
//     stat_walk FOLDER FOLDER

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <thread>
#include <vector>

namespace
{

std::uint64_t walk(int folder)
{
    DIR* directory = ::fdopendir(folder);
    if (!directory) return 0;
    std::uint64_t count = 0;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string_view name{entry->d_name};
        if (name == "." || name == "..") continue;
        struct statx facts {
        };
        const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
        if (::statx(::dirfd(directory), entry->d_name, flags, STATX_BASIC_STATS, &facts) < 0) continue;
        ++count;
        if (!S_ISDIR(facts.stx_mode)) continue;
        const int next = ::openat(::dirfd(directory), entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next >= 0) count += walk(next);
    }
    ::closedir(directory);
    return count;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::uint64_t> counts(static_cast<std::size_t>(argc));
    {
        std::vector<std::jthread> threads;
        for (int i = 1; i < argc; ++i) {
            threads.emplace_back([argv, i, &count = counts[static_cast<std::size_t>(i)]] {
                const int top = ::open(argv[i], O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                if (top >= 0) count = walk(top);
            });
        }
    }
    for (int i = 1; i < argc; ++i)
        std::printf("%llu\n", static_cast<unsigned long long>(counts[static_cast<std::size_t>(i)]));
}
