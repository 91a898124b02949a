#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "sim_system.h"

/// What the calls of the simulated system are made of.
namespace braid::sim
{

inline constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
inline constexpr std::size_t kBlock = 4096;
inline constexpr std::size_t kMaxName = 255;

/// The kernel's way to tell: -1 and errno.
template <class Result>
Result told(std::int64_t answer)
{
    if (answer >= 0) return static_cast<Result>(answer);
    errno = static_cast<int>(-answer);
    return -1;
}

/// Blocks of zeros take no room.
inline bool isHole(const std::string& data, std::size_t block)
{
    const std::size_t from = block * kBlock;
    return data.find_first_not_of('\0', from) >= std::min(from + kBlock, data.size());
}

/// Gives one text or list of names out as the kernel does: the size alone where there is no room to fill.
inline std::int64_t fill(const std::string& text, char* room, std::size_t size)
{
    if (size == 0) return static_cast<std::int64_t>(text.size());
    if (text.size() > size) return -ERANGE;
    std::memcpy(room, text.data(), text.size());
    return static_cast<std::int64_t>(text.size());
}

template <class Work>
SimSystem::Answer SimSystem::call(const char* what, int descriptor, const char* name, Work work)
{
    const std::lock_guard lock{mMutex};
    const auto open = mOpen.find(descriptor);
    if (const int code = enter(what, name, open == mOpen.end() ? nullptr : open->second.disk)) return -code;
    if (descriptor != AT_FDCWD && !mOpen.contains(descriptor)) return -EBADF;
    const Answer answer = work();
    if (mLosesAnswer) {
        mLosesAnswer = false;
        return -mMishap.code;
    }
    return answer;
}

template <class Edit>
int SimSystem::edit(const char* what, int folder, const char* name, Edit edit)
{
    return told<int>(call(what, folder, name, [&]() -> Answer {
        Place place = at(folder);
        if (*name) {
            if (const Answer answer = find(at(folder), name, place); answer < 0) return answer;
        }
        if (const Answer answer = edit(*place.disk, place.disk->change(place.inode)); answer < 0) return answer;
        place.disk->node(place.inode).item.ctime = place.disk->stamp(mClock);
        return 0;
    }));
}

} // namespace braid::sim
