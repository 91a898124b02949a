#include "password.h"

#include <cstring>
#include <sys/mman.h>

namespace roamer::pam
{

Password::Password(std::string_view text)
{
    if (text.empty()) return;
    void* memory = mmap(nullptr, text.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    mlock(memory, text.size());
    madvise(memory, text.size(), MADV_DONTDUMP);
    mMemory = static_cast<char*>(memory);
    mLength = text.size();
    std::memcpy(mMemory, text.data(), mLength);
}

Password::~Password()
{
    if (mMemory == nullptr) return;
    explicit_bzero(mMemory, mLength);
    munmap(mMemory, mLength);
}

} // namespace roamer::pam
