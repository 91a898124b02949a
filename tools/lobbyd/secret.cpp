#include "secret.h"

#include <cstring>
#include <new>
#include <utility>

#include <sys/mman.h>

namespace lobby
{

Secret::Secret(std::string_view text)
{
    if (!append(text)) throw std::bad_alloc();
}

Secret::~Secret()
{
    if (mMemory == nullptr) return;
    ::explicit_bzero(mMemory, kCapacity);
    ::munmap(mMemory, kCapacity);
}

Secret::Secret(Secret&& other) noexcept
    : mMemory(std::exchange(other.mMemory, nullptr)), mSize(std::exchange(other.mSize, 0))
{
}

Secret& Secret::operator=(Secret&& other) noexcept
{
    std::swap(mMemory, other.mMemory);
    std::swap(mSize, other.mSize);
    return *this;
}

bool Secret::append(std::string_view text)
{
    if (mSize + text.size() > kCapacity) return false;
    if (mMemory == nullptr) {
        void* memory = ::mmap(nullptr, kCapacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        ::mlock(memory, kCapacity);
        ::madvise(memory, kCapacity, MADV_DONTDUMP);
        ::madvise(memory, kCapacity, MADV_WIPEONFORK);
        mMemory = static_cast<char*>(memory);
    }
    if (!text.empty()) std::memcpy(mMemory + mSize, text.data(), text.size());
    mSize += text.size();
    return true;
}

} // namespace lobby
